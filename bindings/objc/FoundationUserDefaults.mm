// The app's defaults are Foundation's standard user defaults, so the engine's flags sit beside
// the app's own values and a defaults tool sees them.
#import "FoundationPorts.h"

#import "FoundationScope.h"
#import "FoundationValue.h"

namespace tolvana::objc {

namespace {

class FoundationUserDefaults final : public UserDefaults {
 public:
  std::optional<Value> objectForKey(std::string_view key) const override {
    return guarded("objectForKey", std::optional<Value>(), [&]() -> std::optional<Value> {
      id object = [[NSUserDefaults standardUserDefaults] objectForKey:toNSString(key)];
      if (!object) return std::nullopt;
      return toValue(object);
    });
  }
  void setObject(std::string_view key, Value value) override {
    guarded("setObject", 0, [&] {
      NSString* name = toNSString(key);
      id object = toObject(value);
      if (!name) return 0;
      NSUserDefaults* defaults = [NSUserDefaults standardUserDefaults];
      // Foundation keeps the stored object when the new one is equal to it, and a Boolean
      // YES equals the Integer 1: the kind would stay the old one.
      id stored = [defaults objectForKey:name];
      if (!object || ([stored isEqual:object] && [stored class] != [object class])) [defaults removeObjectForKey:name];
      if (object) [defaults setObject:object forKey:name];
      return 0;
    });
  }
  void removeObject(std::string_view key) override {
    guarded("removeObject", 0, [&] {
      if (NSString* name = toNSString(key)) [[NSUserDefaults standardUserDefaults] removeObjectForKey:name];
      return 0;
    });
  }
  bool synchronize() override {
    return guarded("synchronize", false, [&] {
      if ([[NSUserDefaults standardUserDefaults] synchronize]) return true;
      NSLog(@"Tolvana: the user defaults could not be written");
      return false;
    });
  }
  // Foundation names the app's own domain after the process, not after the bundle.
  void removePersistentDomain() override {
    guarded("removePersistentDomain", 0, [&] {
      NSUserDefaults* defaults = [NSUserDefaults standardUserDefaults];
      [defaults removePersistentDomainForName:[[NSProcessInfo processInfo] processName]];
      [defaults synchronize];
      return 0;
    });
  }
};

}  // namespace

std::shared_ptr<UserDefaults> makeFoundationUserDefaults() { return std::make_shared<FoundationUserDefaults>(); }

}  // namespace tolvana::objc
