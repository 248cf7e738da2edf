#import "FoundationBundle.h"

#include <algorithm>

#import "FoundationScope.h"
#import "FoundationValue.h"

namespace tolvana::objc {

namespace {

const std::optional<std::string> kNone;

NSString* orNil(std::string_view text) { return text.empty() ? nil : toNSString(text); }

std::vector<std::string> sortedStrings(NSArray* array) {
  std::vector<std::string> strings = toStrings(array);
  std::sort(strings.begin(), strings.end());
  return strings;
}

class FoundationBundle final : public Bundle {
 public:
  explicit FoundationBundle(NSBundle* bundle) : bundle_([bundle retain]) {}
  ~FoundationBundle() override { [bundle_ release]; }

  std::string bundlePath() const override {
    return guarded("bundlePath", std::string(), [&] { return toString([bundle_ bundlePath]); });
  }
  std::optional<std::string> bundleIdentifier() const override {
    return guarded("bundleIdentifier", kNone, [&] { return toOptionalString([bundle_ bundleIdentifier]); });
  }
  std::optional<std::string> executablePath() const override {
    return guarded("executablePath", kNone, [&] { return toOptionalString([bundle_ executablePath]); });
  }
  std::optional<Value> objectForInfoDictionaryKey(std::string_view key) const override {
    return guarded("objectForInfoDictionaryKey", std::optional<Value>(), [&]() -> std::optional<Value> {
      id object = [bundle_ objectForInfoDictionaryKey:toNSString(key)];
      if (!object) return std::nullopt;
      return toValue(object);
    });
  }
  std::optional<std::string> pathForResource(std::string_view name, std::string_view type) const override {
    return guarded("pathForResource", kNone,
                   [&] { return toOptionalString([bundle_ pathForResource:toNSString(name) ofType:orNil(type)]); });
  }
  std::optional<std::string> pathForResource(std::string_view name, std::string_view type,
                                             std::string_view directory) const override {
    return guarded("pathForResource", kNone, [&] {
      return toOptionalString([bundle_ pathForResource:toNSString(name) ofType:orNil(type) inDirectory:orNil(directory)]);
    });
  }
  std::vector<std::string> pathsForResourcesOfType(std::string_view type, std::string_view directory,
                                                   std::string_view localization) const override {
    return guarded("pathsForResourcesOfType", std::vector<std::string>(), [&] {
      return sortedStrings([bundle_ pathsForResourcesOfType:orNil(type)
                                                inDirectory:orNil(directory)
                                            forLocalization:orNil(localization)]);
    });
  }
  std::vector<std::string> localizations() const override {
    return guarded("localizations", std::vector<std::string>(), [&] { return sortedStrings([bundle_ localizations]); });
  }
  // Foundation here leaves the development localization unset; the Info.plist names it.
  std::optional<std::string> developmentLocalization() const override {
    return guarded("developmentLocalization", kNone, [&] {
      NSString* development = [bundle_ developmentLocalization];
      id region = [bundle_ objectForInfoDictionaryKey:@"CFBundleDevelopmentRegion"];
      if (!development && [region isKindOfClass:[NSString class]]) development = region;
      return toOptionalString(development);
    });
  }
  std::string localizedStringForKey(std::string_view key, std::optional<std::string_view> value,
                                    std::optional<std::string_view> table) const override {
    return guarded("localizedStringForKey", std::string(key), [&] {
      NSString* text = platformLocalizedString(bundle_, toNSString(key), value ? toNSString(*value) : nil,
                                               table ? orNil(*table) : nil);
      return text ? toString(text) : std::string(key);
    });
  }

 private:
  NSBundle* bundle_;
};

// GNUstep's libraries keep their resources in bundles of their own, which are no part of the
// app: their tables must not be imported as the app's.
bool belongsToTheApp(NSBundle* bundle) {
  return [[bundle bundlePath] rangeOfString:@"/GNUstep/Libraries/"].location == NSNotFound;
}

// The frameworks Foundation has loaded, and those the app carries in its Frameworks folder.
NSArray* frameworkBundles() {
  NSMutableDictionary* byPath = [NSMutableDictionary dictionary];
  for (NSBundle* framework in [NSBundle allFrameworks]) {
    if (belongsToTheApp(framework)) [byPath setObject:framework forKey:[framework bundlePath]];
  }
  NSString* folder = [[NSBundle mainBundle] privateFrameworksPath];
  for (NSString* name in [[NSFileManager defaultManager] contentsOfDirectoryAtPath:folder error:NULL]) {
    if (![[name pathExtension] isEqualToString:@"framework"]) continue;
    NSBundle* framework = [NSBundle bundleWithPath:[folder stringByAppendingPathComponent:name]];
    if (framework) [byPath setObject:framework forKey:[framework bundlePath]];
  }
  NSMutableArray* frameworks = [NSMutableArray array];
  for (NSString* path in [[byPath allKeys] sortedArrayUsingSelector:@selector(compare:)]) {
    [frameworks addObject:[byPath objectForKey:path]];
  }
  return frameworks;
}

class FoundationBundles final : public Bundles {
 public:
  std::shared_ptr<const Bundle> mainBundle() override {
    FoundationScope scope;
    return wrapBundle([NSBundle mainBundle]);
  }
  std::vector<std::shared_ptr<const Bundle>> allBundles() override {
    return guarded("allBundles", std::vector<std::shared_ptr<const Bundle>>(), [&] {
      NSBundle* main = [NSBundle mainBundle];
      std::vector<std::shared_ptr<const Bundle>> bundles{wrapBundle(main)};
      for (NSBundle* bundle in [NSBundle allBundles]) {
        if (bundle != main && belongsToTheApp(bundle)) bundles.push_back(wrapBundle(bundle));
      }
      return bundles;
    });
  }
  std::vector<std::shared_ptr<const Bundle>> allFrameworks() override {
    return guarded("allFrameworks", std::vector<std::shared_ptr<const Bundle>>(), [&] {
      std::vector<std::shared_ptr<const Bundle>> bundles;
      for (NSBundle* framework in frameworkBundles()) bundles.push_back(wrapBundle(framework));
      return bundles;
    });
  }
  std::shared_ptr<const Bundle> bundleWithIdentifier(std::string_view identifier) override {
    return guarded("bundleWithIdentifier", std::shared_ptr<const Bundle>(), [&]() -> std::shared_ptr<const Bundle> {
      NSString* wanted = toNSString(identifier);
      if (!wanted) return nullptr;
      if (NSBundle* bundle = [NSBundle bundleWithIdentifier:wanted]) return wrapBundle(bundle);
      for (NSBundle* framework in frameworkBundles()) {
        if ([[framework bundleIdentifier] isEqualToString:wanted]) return wrapBundle(framework);
      }
      return nullptr;
    });
  }
};

}  // namespace

std::shared_ptr<const Bundle> wrapBundle(NSBundle* bundle) { return std::make_shared<FoundationBundle>(bundle); }

std::shared_ptr<Bundles> makeFoundationBundles() { return std::make_shared<FoundationBundles>(); }

}  // namespace tolvana::objc
