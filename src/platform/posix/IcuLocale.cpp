#include "platform/posix/IcuLocale.h"

#include <unicode/uloc.h>

#include <cstdlib>

namespace tolvana {

namespace {

// ICU's part readers, as ICU 72 behaves: both "-" and "_" separate parts; the language is
// lower-cased and a three-letter code with a two-letter equivalent is shortened ("deu" ->
// "de"), but no alias is applied ("fil" and "tl" stay apart, "iw" stays "iw"); "und" reads
// as no language; the script is title-cased, the region and the variant upper-cased
// ("sl-rozaj" -> variant "ROZAJ"); a POSIX codeset or modifier ends the identifier.
using PartReader = int32_t (*)(const char*, char*, int32_t, UErrorCode*);

std::string readPart(PartReader reader, const std::string& identifier) {
  char buffer[ULOC_FULLNAME_CAPACITY];
  UErrorCode status = U_ZERO_ERROR;
  int32_t length = reader(identifier.c_str(), buffer, sizeof buffer, &status);
  if (U_FAILURE(status) || status == U_STRING_NOT_TERMINATED_WARNING) return {};
  return std::string(buffer, static_cast<std::size_t>(length));
}

// "de_AT.UTF-8@euro" -> "de-AT". The glibc modifiers that name a script become the script,
// since "sr_RS@latin" means Serbian in Latin letters, not the Cyrillic default.
std::optional<std::string> posixToLanguageTag(std::string posix) {
  std::string modifier;
  if (auto at = posix.find('@'); at != std::string::npos) {
    modifier = posix.substr(at + 1);
    posix.erase(at);
  }
  if (auto dot = posix.find('.'); dot != std::string::npos) posix.erase(dot);
  if (posix.empty() || posix == "C" || posix == "POSIX") return std::nullopt;
  for (char& c : posix) {
    if (c == '_') c = '-';
  }
  const char* script = modifier == "latin" ? "Latn" : modifier == "cyrillic" ? "Cyrl" : nullptr;
  if (script) {
    auto dash = posix.find('-');
    posix.insert(dash == std::string::npos ? posix.size() : dash, std::string("-") + script);
  }
  return posix;
}

constexpr const char* kLocaleVariables[] = {"LC_ALL", "LC_MESSAGES", "LANG"};

class IcuLocale final : public Locale {
 public:
  IcuLocale(std::shared_ptr<UserDefaults> defaults, EnvironmentFn environment)
      : defaults_(std::move(defaults)), environment_(environment ? std::move(environment) : processEnvironment) {}

  std::vector<std::string> preferredLanguages() const override {
    if (auto languages = appLanguages(); !languages.empty()) return languages;
    std::vector<std::string> languages;
    if (auto list = environment_("LANGUAGE")) {
      std::string_view rest = *list;
      while (!rest.empty()) {
        auto colon = rest.find(':');
        if (auto tag = posixToLanguageTag(std::string(rest.substr(0, colon)))) languages.push_back(*tag);
        rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1);
      }
    }
    if (languages.empty()) {
      if (auto tag = localeVariableTag()) languages.push_back(*tag);
    }
    if (languages.empty()) languages.push_back("en");
    return languages;
  }

  std::optional<std::string> currentRegion() const override {
    auto tag = localeVariableTag();
    if (!tag) return std::nullopt;
    std::string region = icuLocaleComponents(*tag).region;
    if (region.empty()) return std::nullopt;
    return region;
  }

  LocaleComponents componentsFromLocaleIdentifier(std::string_view identifier) const override {
    return icuLocaleComponents(identifier);
  }

 private:
  std::vector<std::string> appLanguages() const {
    std::vector<std::string> languages;
    if (!defaults_) return languages;
    auto value = defaults_->objectForKey("AppleLanguages");
    if (!value || !value->isArray()) return languages;
    for (const Value& item : value->asArray()) {
      if (item.isString() && !item.asString().empty()) languages.push_back(item.asString());
    }
    return languages;
  }

  // The first locale variable that names a language, as a language tag. "C" and "POSIX"
  // name none, so a later variable may still say what the user reads.
  std::optional<std::string> localeVariableTag() const {
    for (const char* name : kLocaleVariables) {
      if (auto value = environment_(name)) {
        if (auto tag = posixToLanguageTag(*value)) return tag;
      }
    }
    return std::nullopt;
  }

  // Constant after construction.
  const std::shared_ptr<UserDefaults> defaults_;
  const EnvironmentFn environment_;
};

}  // namespace

LocaleComponents icuLocaleComponents(std::string_view identifier) {
  std::string id(identifier);
  return LocaleComponents{readPart(uloc_getLanguage, id), readPart(uloc_getScript, id), readPart(uloc_getCountry, id),
                          readPart(uloc_getVariant, id)};
}

std::shared_ptr<Locale> makeIcuLocale(std::shared_ptr<UserDefaults> defaults, EnvironmentFn environment) {
  return std::make_shared<IcuLocale>(std::move(defaults), std::move(environment));
}

}  // namespace tolvana
