#import "FoundationPorts.h"

#include <algorithm>

#import "FoundationScope.h"
#import "FoundationValue.h"

namespace tolvana::objc {

namespace {

std::string bcp47(std::string identifier) {
  std::replace(identifier.begin(), identifier.end(), '_', '-');
  return identifier;
}

class FoundationLocale final : public Locale {
 public:
  // "AppleLanguages" is the app's own override of the user's choice, which Foundation here
  // does not know by that name.
  std::vector<std::string> preferredLanguages() const override {
    std::vector<std::string> languages = guarded("preferredLanguages", std::vector<std::string>(), [] {
      id chosen = [[NSUserDefaults standardUserDefaults] objectForKey:@"AppleLanguages"];
      NSArray* list = [chosen isKindOfClass:[NSArray class]] && [chosen count] ? chosen : [NSLocale preferredLanguages];
      std::vector<std::string> result;
      for (id language in list) {
        if ([language isKindOfClass:[NSString class]] && [language length]) result.push_back(bcp47(toString(language)));
      }
      return result;
    });
    if (languages.empty()) languages.push_back("en");
    return languages;
  }
  std::optional<std::string> currentRegion() const override {
    return guarded("currentRegion", std::optional<std::string>(), [] {
      id region = [[NSLocale currentLocale] objectForKey:NSLocaleCountryCode];
      return [region isKindOfClass:[NSString class]] && [region length] ? toOptionalString(region) : std::nullopt;
    });
  }
  LocaleComponents componentsFromLocaleIdentifier(std::string_view identifier) const override {
    return guarded("componentsFromLocaleIdentifier", LocaleComponents(), [&] {
      LocaleComponents components;
      NSString* name = toNSString(identifier);
      if (!name) return components;
      NSDictionary* parts = [NSLocale componentsFromLocaleIdentifier:name];
      components.language = toString([parts objectForKey:NSLocaleLanguageCode]);
      components.script = toString([parts objectForKey:NSLocaleScriptCode]);
      components.region = toString([parts objectForKey:NSLocaleCountryCode]);
      components.variant = toString([parts objectForKey:NSLocaleVariantCode]);
      return components;
    });
  }
};

}  // namespace

std::shared_ptr<Locale> makeFoundationLocale() { return std::make_shared<FoundationLocale>(); }

}  // namespace tolvana::objc
