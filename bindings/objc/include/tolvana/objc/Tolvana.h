// Tolvana for Objective-C hosts on GNUstep Foundation.
//
// Linking libtolvana-objc is all an app needs: when the library loads it answers every
// -[NSBundle localizedStringForKey:value:table:] of the main bundle (what NSLocalizedString
// calls) from the local translation stores, and reads its configuration from the main
// bundle's Info.plist, the app's user defaults and the preferred languages, as Foundation
// reports them. The class Tolvana below is for apps that want more: texts with arguments and
// plural forms, a forced language, updates on demand, the review tools.
//
//   #import <tolvana/objc/Tolvana.h>
//
//   NSString *title = NSLocalizedString(@"welcome.title", @"");
//   NSString *hello = [Tolvana localizedStringForKey:@"welcome.hello" withDefaultValue:@"Hello %{name}!"
//                                       andArguments:@{@"name" : user.name}];
//   [Tolvana updateWithCompletionHandler:^(BOOL success) { ... }];   // on the main queue
//
// Placeholders are a percent sign and a name in braces: %{name}. Plural rules are 0 zero,
// 1 one, 2 two, 3 few, 4 many, 5 other. Completion handlers are blocks, so the methods that
// take one are declared only to compilers with blocks (clang -fblocks); the rest needs none.
//
// Thread contract: every method may be called from any thread. Completion handlers of
// updates run on the main queue: the main thread's run loop once the app runs one, else a
// thread of the library's own.
#import <Foundation/Foundation.h>

#if defined(__GNUC__)
#define TOLVANA_OBJC_EXPORT __attribute__((visibility("default")))
#else
#define TOLVANA_OBJC_EXPORT
#endif

#if defined(__BLOCKS__)
/// Told whether the server answered and its answer was taken.
typedef void (^TolvanaCompletionHandler)(BOOL success);
#endif

/// Implemented by an app that knows better than the library where its strings are on screen.
@protocol TolvanaScreenshotInterface <NSObject>
#if defined(__BLOCKS__)
/// Asked when a screenshot is captured; call completion once, from any thread, with a JSON
/// text {"TLStringPositions": [{"key", "value", "x", "y", "width", "height"}, ...]}.
- (void)getStringPositions:(void (^)(NSString *positions))completion;
#endif
@end

/// Class methods only; never instantiated.
TOLVANA_OBJC_EXPORT
@interface Tolvana : NSObject

#if defined(__BLOCKS__)
/// Asks the server for what is new in the default groups and languages.
+ (void)updateWithCompletionHandler:(TolvanaCompletionHandler)completion;
/// The same for the given groups and languages (nil for the defaults).
+ (void)updateGroups:(NSArray *)groups
          andLanguages:(NSArray *)languages
    withCompletionHandler:(TolvanaCompletionHandler)completion;
#endif

/// The text for the key in the current language; the key when nothing has one.
+ (NSString *)localizedStringForKey:(NSString *)key;
/// The same, with the default text shown (and reported as missing) where the store lacks it.
+ (NSString *)localizedStringForKey:(NSString *)key withDefaultValue:(NSString *)defaultValue;
/// The text with its placeholders replaced (values that are no strings by their description).
+ (NSString *)localizedStringForKey:(NSString *)key
                   withDefaultValue:(NSString *)defaultValue
                       andArguments:(NSDictionary *)arguments;
+ (NSString *)localizedStringForKey:(NSString *)key withArguments:(NSDictionary *)arguments;
/// The plural form of the rule ("key[one]"), with its placeholders replaced.
+ (NSString *)localizedStringForKey:(NSString *)key
                   withDefaultValue:(NSString *)defaultValue
                       andArguments:(NSDictionary *)arguments
                      andPluralRule:(NSInteger)pluralRule;
+ (NSString *)localizedStringForKey:(NSString *)key
                      withArguments:(NSDictionary *)arguments
                      andPluralRule:(NSInteger)pluralRule;
/// The plural rule of a quantity in the current device language.
+ (NSInteger)pluralRuleForQuantity:(NSUInteger)quantity;

/// Every key of the language's store with its text.
+ (NSDictionary *)localizedStringsForLanguage:(NSString *)language;
/// The tables of the base, short and long device language merged; the long one wins.
+ (NSDictionary *)localizedStringsForCurrentLanguage;
/// Language → key → default text in, language → key → text out, without fall-backs to
/// other languages.
+ (NSDictionary *)localizeMap:(NSDictionary *)map;

/// Captures the app's window in draft mode and uploads it under the screen tag.
+ (void)captureScreenshotWithTag:(NSString *)tag andIDs:(NSArray *)keys;
+ (void)captureScreenshotWithTag:(NSString *)tag andIDs:(NSArray *)keys useOcr:(BOOL)useOcr;
#if defined(__BLOCKS__)
+ (void)captureScreenshotWithTag:(NSString *)tag
                          andIDs:(NSArray *)keys
           withCompletionHandler:(TolvanaCompletionHandler)completion;
+ (void)captureScreenshotWithTag:(NSString *)tag
                          andIDs:(NSArray *)keys
                          useOcr:(BOOL)useOcr
           withCompletionHandler:(TolvanaCompletionHandler)completion;
#endif
/// Asks for the draft-mode key; nothing when the app or the project does not allow draft mode.
+ (void)showDraftModeDialog;
/// Shows or hides the review tools' overlay; NO (and nothing changes) outside draft mode.
+ (BOOL)setScreenShotMenuVisible:(BOOL)visible;

/// Forces the app language ("pt_br", "de"); nil returns to the device's languages. NO when the
/// project does not offer the language. Kept in the app's user defaults.
+ (BOOL)setLanguage:(NSString *)language;
/// Switches the engine off (look-ups then come from the bundle's own tables) or on; kept
/// across launches.
+ (void)setEnabled:(BOOL)enabled;
+ (BOOL)enabled;
/// Whether the app allows draft mode at all; both spellings do the same.
+ (void)setDraftModelEnabled:(BOOL)enabled;
+ (void)setDraftModeEnabled:(BOOL)enabled;
/// Shows keys instead of texts until switched off or the process ends.
+ (void)setShowIdModeEnabled:(BOOL)enabled;
/// The provider of string positions for screenshots, held weakly: keep it alive while it is
/// set. An object whose class does not declare TolvanaScreenshotInterface (or nil) is refused
/// with an error line, and the current provider stays.
+ (void)setScreenshotInterface:(id<TolvanaScreenshotInterface>)provider;

/// Drops the engine, erases the app's user defaults and starts again.
+ (void)reset;
/// The library's version; needs no running engine.
+ (NSString *)sdkVersion;

@end

/// The key a text was looked up by, where the engine tags its results (in draft mode and
/// while UI tests run); nil on other strings. Kept beside the string without keeping it alive.
@interface NSString (Tolvana)
- (NSString *)tolvanaKey;
- (void)setTolvanaKey:(NSString *)key;
@end

/// The bundle look-up hook.
@interface NSBundle (Tolvana)
/// Exchanges -localizedStringForKey:value:table: for the engine's look-up; nothing when the
/// Info.plist turns "TolvanaEnableAutostart" off. Called when the library loads.
+ (void)loadTolvana;
/// Updates all groups and languages and returns when the update has ended, testing once a
/// second; the update needs nothing of the calling thread, which may be the main thread.
+ (void)updateTolvana;
/// Installs the look-up hook now if it was not installed when the library loaded.
- (void)ensureBundleSwizzleActive;
/// YES once the look-up hook is installed.
- (BOOL)TL_swizzleActive;
@end
