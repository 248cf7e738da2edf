// The method exchanges by which the library inserts itself into a host, for hooks of the
// host's own or of other toolkits.
//
// After an exchange, calling the replacement's own selector from inside the replacement
// reaches the original implementation; that is how a hook calls through.
//
// Thread contract: exchange at load time or before other threads send the messages involved;
// the runtime does not make an exchange atomic for a thread that is inside the method.
#import <Foundation/Foundation.h>

#import "tolvana/objc/Tolvana.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Makes the instance method original of cls answer with replacement's implementation and
/// replacement with original's. A class that only inherits original gets a method of its own,
/// so its superclass keeps answering as before.
TOLVANA_OBJC_EXPORT void TL_swizzleInstanceMethod(Class cls, SEL original, SEL replacement);
/// Exchanges the implementations of the class methods original and replacement of cls.
TOLVANA_OBJC_EXPORT void TL_swizzleClassMethod(Class cls, SEL original, SEL replacement);
/// The exchange for a class and method known by name only, with the replacement taken from
/// source; NO when the class or the selector is unknown or the class cannot take the method.
TOLVANA_OBJC_EXPORT BOOL TL_swizzleNamedInstanceMethod(NSString *className, NSString *selectorName, Class source,
                                                       SEL replacement);

#ifdef __cplusplus
}
#endif

TOLVANA_OBJC_EXPORT
@interface TLSwizzle : NSObject
/// Makes sure the hooked classes and their categories are loaded and the bundle hook is in
/// place; the engine's start calls it.
+ (void)swizzle;
@end
