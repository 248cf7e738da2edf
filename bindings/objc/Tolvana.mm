#import "tolvana/objc/Tolvana.h"

#include <Block.h>
#include <objc/runtime.h>
#include <stdlib.h>
#include <string.h>

#import "FoundationScope.h"
#import "FoundationValue.h"
#import "ScreenshotProvider.h"
#import "tolvana/objc/TLSwizzle.h"
#include "tolvana/Tolvana.h"

namespace {

using Engine = tolvana::Tolvana;
using namespace tolvana::objc;

// The engine may run a handler on a thread Foundation does not know, and what the host's
// block raises must not reach the engine.
Engine::CompletionHandler handlerFor(TolvanaCompletionHandler completion) {
  if (!completion) return [](bool) {};
  auto block = std::shared_ptr<void>(_Block_copy((const void*)completion), [](void* copy) { _Block_release(copy); });
  return [block](bool success) {
    guarded("a completion handler", 0, [&] {
      ((TolvanaCompletionHandler)block.get())(success ? YES : NO);
      return 0;
    });
  };
}

bool includesProtocol(Protocol* protocol, const char* name) {
  if (strcmp(protocol_getName(protocol), name) == 0) return true;
  unsigned int count = 0;
  Protocol** inherited = protocol_copyProtocolList(protocol, &count);
  bool found = false;
  for (unsigned int i = 0; i < count && !found; ++i) found = includesProtocol(inherited[i], name);
  free(inherited);
  return found;
}

// What the class (or a superclass) declares, by the protocol's name: each module of this
// runtime has a protocol object of its own, so the one the app compiled in is not this one.
bool declaresProtocol(Class cls, const char* name) {
  for (; cls; cls = class_getSuperclass(cls)) {
    unsigned int count = 0;
    Protocol** protocols = class_copyProtocolList(cls, &count);
    bool found = false;
    for (unsigned int i = 0; i < count && !found; ++i) found = includesProtocol(protocols[i], name);
    free(protocols);
    if (found) return true;
  }
  return false;
}

// The engine answers the key where it has nothing; nil only where the key was nil.
NSString* textOrKey(const std::string& text, NSString* key) {
  NSString* result = toNSString(text);
  return result ? result : key;
}

Engine::LanguageMap toLanguageMap(NSDictionary* map) {
  Engine::LanguageMap languages;
  if (![map isKindOfClass:[NSDictionary class]]) return languages;
  for (id language in map) {
    id keys = [map objectForKey:language];
    if ([keys isKindOfClass:[NSDictionary class]]) languages[toString(language)] = toStringMap(keys);
  }
  return languages;
}

NSDictionary* toNSLanguageMap(const Engine::LanguageMap& languages) {
  NSMutableDictionary* map = [NSMutableDictionary dictionaryWithCapacity:languages.size()];
  for (const auto& [language, texts] : languages) {
    if (NSString* name = toNSString(language)) [map setObject:toNSDictionary(texts) forKey:name];
  }
  return map;
}

}  // namespace

@implementation Tolvana

// The engine starts on the first call of the facade, and its start makes sure the hooks are in.
+ (void)initialize {
  if (self == [Tolvana class]) [TLSwizzle swizzle];
}

+ (void)updateWithCompletionHandler:(TolvanaCompletionHandler)completion {
  Engine::updateWithCompletionHandler(handlerFor(completion));
}

+ (void)updateGroups:(NSArray*)groups
           andLanguages:(NSArray*)languages
    withCompletionHandler:(TolvanaCompletionHandler)completion {
  Engine::updateGroups(toStrings(groups), toStrings(languages), handlerFor(completion));
}

+ (NSString*)localizedStringForKey:(NSString*)key {
  return [self localizedStringForKey:key withDefaultValue:nil];
}

+ (NSString*)localizedStringForKey:(NSString*)key withDefaultValue:(NSString*)defaultValue {
  if (!key) return nil;
  return textOrKey(Engine::localizedStringForKey(toString(key), toOptionalString(defaultValue)), key);
}

+ (NSString*)localizedStringForKey:(NSString*)key
                  withDefaultValue:(NSString*)defaultValue
                      andArguments:(NSDictionary*)arguments {
  if (!key) return nil;
  return textOrKey(Engine::localizedStringForKey(toString(key), toOptionalString(defaultValue), toStringMap(arguments)),
                   key);
}

+ (NSString*)localizedStringForKey:(NSString*)key withArguments:(NSDictionary*)arguments {
  return [self localizedStringForKey:key withDefaultValue:nil andArguments:arguments];
}

+ (NSString*)localizedStringForKey:(NSString*)key
                  withDefaultValue:(NSString*)defaultValue
                      andArguments:(NSDictionary*)arguments
                     andPluralRule:(NSInteger)pluralRule {
  if (!key) return nil;
  return textOrKey(Engine::localizedStringForKey(toString(key), toOptionalString(defaultValue), toStringMap(arguments),
                                                 pluralRule),
                   key);
}

+ (NSString*)localizedStringForKey:(NSString*)key
                     withArguments:(NSDictionary*)arguments
                     andPluralRule:(NSInteger)pluralRule {
  return [self localizedStringForKey:key withDefaultValue:nil andArguments:arguments andPluralRule:pluralRule];
}

+ (NSInteger)pluralRuleForQuantity:(NSUInteger)quantity {
  return static_cast<NSInteger>(Engine::pluralRuleForQuantity(quantity));
}

+ (NSDictionary*)localizedStringsForLanguage:(NSString*)language {
  return toNSDictionary(Engine::localizedStringsForLanguage(toString(language)));
}

+ (NSDictionary*)localizedStringsForCurrentLanguage {
  return toNSDictionary(Engine::localizedStringsForCurrentLanguage());
}

+ (NSDictionary*)localizeMap:(NSDictionary*)map {
  return toNSLanguageMap(Engine::localizeMap(toLanguageMap(map)));
}

+ (void)captureScreenshotWithTag:(NSString*)tag andIDs:(NSArray*)keys {
  Engine::captureScreenshotWithTag(toString(tag), toStrings(keys));
}

+ (void)captureScreenshotWithTag:(NSString*)tag andIDs:(NSArray*)keys useOcr:(BOOL)useOcr {
  Engine::captureScreenshotWithTag(toString(tag), toStrings(keys), useOcr == YES);
}

+ (void)captureScreenshotWithTag:(NSString*)tag
                          andIDs:(NSArray*)keys
           withCompletionHandler:(TolvanaCompletionHandler)completion {
  Engine::captureScreenshotWithTag(toString(tag), toStrings(keys), handlerFor(completion));
}

+ (void)captureScreenshotWithTag:(NSString*)tag
                          andIDs:(NSArray*)keys
                          useOcr:(BOOL)useOcr
           withCompletionHandler:(TolvanaCompletionHandler)completion {
  Engine::captureScreenshotWithTag(toString(tag), toStrings(keys), useOcr == YES, handlerFor(completion));
}

+ (void)showDraftModeDialog {
  Engine::showDraftModeDialog();
}

+ (BOOL)setScreenShotMenuVisible:(BOOL)visible {
  return Engine::setScreenShotMenuVisible(visible == YES) ? YES : NO;
}

+ (BOOL)setLanguage:(NSString*)language {
  return Engine::setLanguage(toOptionalString(language)) ? YES : NO;
}

+ (void)setEnabled:(BOOL)enabled {
  Engine::setEnabled(enabled == YES);
}

+ (BOOL)enabled {
  return Engine::enabled() ? YES : NO;
}

+ (void)setDraftModelEnabled:(BOOL)enabled {
  Engine::setDraftModelEnabled(enabled == YES);
}

+ (void)setDraftModeEnabled:(BOOL)enabled {
  Engine::setDraftModeEnabled(enabled == YES);
}

+ (void)setShowIdModeEnabled:(BOOL)enabled {
  Engine::setShowIdModeEnabled(enabled == YES);
}

+ (void)setScreenshotInterface:(id<TolvanaScreenshotInterface>)provider {
  // Only what the class declares counts: an object that merely has the method is refused.
  if (provider && declaresProtocol([provider class], "TolvanaScreenshotInterface")) {
    Engine::setScreenshotInterface(screenshotProviderFor(provider));
  } else {
    Engine::setScreenshotInterface(std::shared_ptr<tolvana::TolvanaScreenshotInterface>());
  }
}

+ (void)reset {
  Engine::reset();
}

+ (NSString*)sdkVersion {
  return toNSString(Engine::sdkVersion());
}

@end
