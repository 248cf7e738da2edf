// A Foundation tool with no line of Tolvana in it: it prints the texts of its first screen
// the way any GNUstep or Cocoa program gets them, through NSLocalizedString, and is built
// with GCC's Objective-C like any GNUstep program. Linked with libtolvana-objc, the texts come
// from the app's translation stores, kept current from the translation server.
#import <Foundation/Foundation.h>

#include <stdio.h>

int main(int argc, const char* argv[]) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  NSArray* screen = [NSArray arrayWithObjects:@"welcome.title", @"onboarding.step1", @"settings.title", nil];
  NSEnumerator* keys = [screen objectEnumerator];
  NSString* key;
  while ((key = [keys nextObject])) {
    printf("%-18s %s\n", [key UTF8String], [NSLocalizedString(key, @"") UTF8String]);
  }
  [pool release];
  return 0;
}
