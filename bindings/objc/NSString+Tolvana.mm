#import "tolvana/objc/Tolvana.h"

#import "AssociatedObjects.h"

namespace {
const char kTolvanaKey = 0;
}  // namespace

@implementation NSString (Tolvana)

- (NSString*)tolvanaKey {
  return tolvana::objc::associatedObject(self, &kTolvanaKey);
}

- (void)setTolvanaKey:(NSString*)key {
  NSString* copy = [key copy];
  tolvana::objc::setAssociatedObject(self, &kTolvanaKey, copy);
  [copy release];
}

@end
