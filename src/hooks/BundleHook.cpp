#include "hooks/BundleHook.h"

#include "config/ProcessState.h"
#include "config/TLSettings.h"
#include "localization/TLPluralRule.h"
#include "support/StringUtil.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

bool searchAllBundles() {
  return ProcessState::get().searchAllBundles.get([] {
    auto value = TLSettings::objectForInfoDictionaryKey("TolvanaSearchIDsInAllBundles");
    return value ? value->boolValue() : Value("FALSE").boolValue();
  });
}

std::string frameworkName(const Bundle& bundle) {
  return deletingPathExtension(lastPathComponent(bundle.bundlePath()));
}

// Where the engine had nothing, the toolkit's other sources must get their turn. With the
// engine off, the bundle's own table answered unless the text is the default or the key.
bool engineAnswered(const TLLocalizedString& result, std::string_view key, std::optional<std::string_view> value) {
  switch (result.source) {
    case TLLookupSource::language:
    case TLLookupSource::bundleTable:
      return true;
    case TLLookupSource::engineOff:
      return result.text != key && (!value || result.text != *value);
    default:
      return false;
  }
}

}  // namespace

std::shared_ptr<const Bundle> BundleHook::servedBundle(std::string_view context) {
  Bundles& bundles = Platform::Current().bundles();
  std::size_t separator = context.find("::");
  if (separator != std::string_view::npos && separator > 0) {
    std::string_view prefix = context.substr(0, separator);
    for (auto& framework : bundles.allFrameworks()) {
      std::string name = frameworkName(*framework);
      if (name != prefix) continue;
      return servesOtherBundle(*framework) ? framework : nullptr;
    }
  }
  return bundles.mainBundle();
}

bool BundleHook::servesOtherBundle(const Bundle& bundle) {
  return searchAllBundles() || TLSettings::additionalFrameworks().count(frameworkName(bundle)) > 0;
}

std::optional<TLLocalizedString> BundleHook::lookUp(std::string_view key, std::optional<std::string_view> value,
                                                    std::string_view context) {
  auto bundle = servedBundle(context);
  if (!bundle || key.empty()) return std::nullopt;
  TLLocalizedString result = TLInternal::sharedInstance()->localizedStringForKey(key, value, std::nullopt, bundle);
  if (!engineAnswered(result, key, value)) return std::nullopt;
  return result;
}

std::optional<TLLocalizedString> BundleHook::lookUpPlural(std::string_view key, std::optional<std::string_view> value,
                                                          std::string_view context, std::uint64_t quantity) {
  auto word = pluralRuleWord(TLPluralRuleForQuantity(quantity));
  if (!word || key.empty()) return std::nullopt;
  std::string variant = std::string(key) + "[" + std::string(*word) + "]";
  auto result = lookUp(variant, value, context);
  if (!result) return std::nullopt;
  std::map<std::string, std::string> arguments{{"count", std::to_string(quantity)}};
  result->text = TLInternal::formatString(result->text, &arguments).value_or(result->text);
  return result;
}

}  // namespace tolvana
