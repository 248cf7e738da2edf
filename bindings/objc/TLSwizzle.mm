#import "tolvana/objc/TLSwizzle.h"

#include <objc/runtime.h>
#include <stdlib.h>

#import "AppKitHooks.h"

namespace {

// The class's own method for the selector, not one it inherits.
Method ownMethod(Class cls, SEL selector) {
  unsigned int count = 0;
  Method* methods = class_copyMethodList(cls, &count);
  Method found = NULL;
  for (unsigned int i = 0; i < count && !found; ++i) {
    if (sel_isEqual(method_getName(methods[i]), selector)) found = methods[i];
  }
  free(methods);
  return found;
}

// Gives the class its own method with the implementation. This runtime's class_replaceMethod
// would change an inherited method in the superclass instead, and with it every other
// subclass.
void replaceMethod(Class cls, SEL selector, IMP implementation, const char* types) {
  if (class_addMethod(cls, selector, implementation, types)) return;
  if (Method own = ownMethod(cls, selector)) method_setImplementation(own, implementation);
}

}  // namespace

extern "C" void TL_swizzleInstanceMethod(Class cls, SEL original, SEL replacement) {
  Method originalMethod = class_getInstanceMethod(cls, original);
  Method replacementMethod = class_getInstanceMethod(cls, replacement);
  if (!originalMethod || !replacementMethod) return;
  // A class that only inherits the method gets one of its own, so that its superclass, and
  // the superclass's other subclasses, keep answering as before.
  if (class_addMethod(cls, original, method_getImplementation(replacementMethod),
                      method_getTypeEncoding(replacementMethod))) {
    replaceMethod(cls, replacement, method_getImplementation(originalMethod), method_getTypeEncoding(originalMethod));
  } else {
    method_exchangeImplementations(originalMethod, replacementMethod);
  }
}

extern "C" void TL_swizzleClassMethod(Class cls, SEL original, SEL replacement) {
  Method originalMethod = class_getClassMethod(cls, original);
  Method replacementMethod = class_getClassMethod(cls, replacement);
  if (originalMethod && replacementMethod) method_exchangeImplementations(originalMethod, replacementMethod);
}

extern "C" BOOL TL_swizzleNamedInstanceMethod(NSString* className, NSString* selectorName, Class source,
                                              SEL replacement) {
  Class target = className ? objc_getClass([className UTF8String]) : Nil;
  SEL original = selectorName ? sel_registerName([selectorName UTF8String]) : NULL;
  Method originalMethod = target && original ? class_getInstanceMethod(target, original) : NULL;
  Method replacementMethod = source ? class_getInstanceMethod(source, replacement) : NULL;
  if (!originalMethod || !replacementMethod) return NO;
  IMP originalImplementation = method_getImplementation(originalMethod);
  const char* originalTypes = method_getTypeEncoding(originalMethod);
  if (class_addMethod(target, original, method_getImplementation(replacementMethod),
                      method_getTypeEncoding(replacementMethod))) {
    replaceMethod(target, replacement, originalImplementation, originalTypes);
    return YES;
  }
  if (!class_addMethod(target, replacement, originalImplementation, originalTypes)) return NO;
  method_exchangeImplementations(originalMethod, replacementMethod);
  return YES;
}

@implementation TLSwizzle

+ (void)swizzle {
  [TLSwizzle class];
  [NSBundle class];
  [[NSBundle mainBundle] ensureBundleSwizzleActive];
  [NSString class];
  [NSObject class];
  tolvana::objc::installAppKitHooks();
}

@end
