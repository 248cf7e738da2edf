// An AppKit app with no line of Tolvana in it: a window whose labels it fills through
// NSLocalizedString once the app has finished launching, as AppKit apps do. It prints the
// labels' texts, and with "-screenshot FILE" writes the window's picture, then quits.
#import <AppKit/AppKit.h>

#include <stdio.h>

@interface SampleDelegate : NSObject {
  NSWindow* window;
  NSMutableArray* labels;
}
@end

@implementation SampleDelegate

- (NSTextField*)labelAt:(CGFloat)y {
  NSTextField* label = [[[NSTextField alloc] initWithFrame:NSMakeRect(16, y, 368, 24)] autorelease];
  [label setEditable:NO];
  [label setBezeled:NO];
  [label setDrawsBackground:NO];
  [[window contentView] addSubview:label];
  [labels addObject:label];
  return label;
}

- (void)applicationDidFinishLaunching:(NSNotification*)notification {
  window = [[NSWindow alloc] initWithContentRect:NSMakeRect(0, 0, 400, 140)
                                       styleMask:NSTitledWindowMask
                                         backing:NSBackingStoreBuffered
                                           defer:NO];
  labels = [NSMutableArray new];
  [window setTitle:NSLocalizedString(@"settings.title", @"")];
  [[self labelAt:96] setStringValue:NSLocalizedString(@"welcome.title", @"")];
  [[self labelAt:64] setStringValue:NSLocalizedString(@"onboarding.step1", @"")];
  [[self labelAt:32] setStringValue:NSLocalizedString(@"settings.title", @"")];
  [window makeKeyAndOrderFront:nil];
  [self performSelector:@selector(finish) withObject:nil afterDelay:0.5];
}

- (void)finish {
  NSEnumerator* each = [labels objectEnumerator];
  NSTextField* label;
  while ((label = [each nextObject])) printf("%s\n", [[label stringValue] UTF8String]);
  NSString* file = [[NSUserDefaults standardUserDefaults] stringForKey:@"screenshot"];
  if (file) {
    NSView* view = [window contentView];
    NSBitmapImageRep* picture = [view bitmapImageRepForCachingDisplayInRect:[view bounds]];
    [view cacheDisplayInRect:[view bounds] toBitmapImageRep:picture];
    [[picture representationUsingType:NSPNGFileType properties:nil] writeToFile:file atomically:YES];
  }
  fflush(stdout);
  [NSApp terminate:nil];
}

@end

int main(int argc, const char* argv[]) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  [NSApplication sharedApplication];
  [NSApp setDelegate:[SampleDelegate new]];
  [NSApp run];
  [pool release];
  return 0;
}
