#include "hooks/PageRequests.h"

#include <algorithm>
#include <cctype>
#include <cstdint>

#include "core/TLInternal.h"
#include "localization/TLPluralRule.h"
#include "support/Json.h"
#include "support/SafeName.h"
#include "support/StringUtil.h"
#include "support/TLLog.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

// An update a page asks for names groups and languages that go into the request to the
// server: only as many and only of the form any name from outside may have.
bool namesAreFit(std::vector<std::string>& names, const char* kind, bool (*fits)(std::string_view)) {
  std::erase(names, std::string());
  if (names.size() > PageRequests::kMaxNamesPerUpdate) {
    logError("Page update refused: more than %lu %@ names.", static_cast<unsigned long>(PageRequests::kMaxNamesPerUpdate), kind);
    return false;
  }
  if (!std::all_of(names.begin(), names.end(), fits)) {
    // Not echoed: the name is the page's and may hold anything.
    logError("Page update refused: a %@ name it gives cannot be one.", kind);
    return false;
  }
  return true;
}

}  // namespace

std::optional<std::string> PageRequests::text(const Value* value) {
  if (!value || value->isNull()) return std::nullopt;
  if (value->isString()) return value->asString();
  return value->description();
}

std::int64_t PageRequests::integer(const Value& value) {
  if (value.isNumber()) {
    double number = *value.numberAsDouble();
    // Out of range reads as the nearest end; converting it would be undefined.
    if (number != number) return 0;
    if (number <= -9.2e18) return INT64_MIN;
    if (number >= 9.2e18) return INT64_MAX;
    return static_cast<std::int64_t>(number);
  }
  if (!value.isString()) return 0;
  const std::string& s = value.asString();
  std::size_t i = 0;
  while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i]))) ++i;
  bool negative = i < s.size() && s[i] == '-';
  if (i < s.size() && (s[i] == '-' || s[i] == '+')) ++i;
  std::int64_t result = 0;
  for (; i < s.size() && std::isdigit(static_cast<unsigned char>(s[i])); ++i) {
    if (result > (INT64_MAX - 9) / 10) return negative ? INT64_MIN : INT64_MAX;
    result = result * 10 + (s[i] - '0');
  }
  return negative ? -result : result;
}

std::string PageRequests::lookUp(const Lookup& lookup) {
  if (!lookup.key) return "";
  auto engine = TLInternal::sharedInstance();
  const auto value = lookup.defaultValue ? std::optional<std::string_view>(*lookup.defaultValue) : std::nullopt;
  if (lookup.pluralRule || lookup.pluralQuantity) {
    std::int64_t rule = lookup.pluralRule
                            ? engine->pluralRuleFromString(*lookup.pluralRule)
                            : TLPluralRuleForQuantity(static_cast<std::uint64_t>(integer(*lookup.pluralQuantity)));
    return engine->localizedStringForKeyWithArgumentsAndPluralRule(*lookup.key, &lookup.arguments, rule, value).text;
  }
  if (!lookup.arguments.empty()) {
    return engine->localizedStringForKeyWithArguments(*lookup.key, &lookup.arguments, value).text;
  }
  return engine->localizedStringForKey(*lookup.key, value).text;
}

std::optional<std::string> PageRequests::pluralRuleWordForQuantity(const Value& quantity) {
  auto rule = TLPluralRuleForQuantity(static_cast<std::uint64_t>(integer(quantity)));
  return TLInternal::sharedInstance()->pluralRuleToString(rule);
}

std::string PageRequests::literal(std::string_view text) { return json::serialize(Value(std::string(text))); }

std::vector<std::string> PageRequests::splitTrimmed(std::string_view text, std::string_view separator) {
  std::vector<std::string> parts;
  if (separator.empty()) return {trimWhitespace(text)};
  for (std::size_t start = 0;;) {
    std::size_t end = text.find(separator, start);
    parts.push_back(trimWhitespace(text.substr(start, end == std::string_view::npos ? end : end - start)));
    if (end == std::string_view::npos) return parts;
    start = end + separator.size();
  }
}

void PageRequests::updateGroups(const std::optional<std::string>& groups, const std::optional<std::string>& languages,
                                std::string_view separator, std::function<void(bool)> completion) {
  // Languages are always comma-separated, whatever separator the groups came with.
  auto groupList = groups ? splitTrimmed(*groups, separator) : std::vector<std::string>();
  auto languageList = languages ? splitTrimmed(*languages, ",") : std::vector<std::string>();
  if (!namesAreFit(groupList, "group", &SafeName::isGroupName) ||
      !namesAreFit(languageList, "language", &SafeName::isLanguageCode)) {
    Platform::Current().dispatch().mainAsync([completion = std::move(completion)] { completion(false); });
    return;
  }
  TLInternal::sharedInstance()->updateGroups(std::move(groupList), std::move(languageList), true,
                                             std::move(completion));
}

}  // namespace tolvana
