#import <Foundation/Foundation.h>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  ::testing::InitGoogleTest(&argc, argv);
  int status = RUN_ALL_TESTS();
  [pool release];
  return status;
}
