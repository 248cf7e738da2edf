// AssociatedObjects: values kept beside Objective-C objects, for a runtime that has no
// associated objects of its own.
//
// A value is retained until it is replaced, removed, or its object is deallocated; the object
// itself is not kept alive. To learn of the deallocation, an object that gets its first value
// is moved to a subclass of its class made for the purpose (one per class, with no state of
// its own), whose -dealloc drops the object's values and then deallocates as its class does;
// -class still answers the original class. Constant strings are never deallocated and keep
// their class.
//
// Thread contract: any thread; an object must not be deallocated while another thread sets
// or reads its values (as with any use of an object that another thread may free).
#pragma once

#import <Foundation/Foundation.h>

namespace tolvana::objc {

// Keeps value (retained) beside object under key; nil removes it.
void setAssociatedObject(id object, const void* key, id value);
// The value, retained and autoreleased for the caller; nil when there is none.
id associatedObject(id object, const void* key);
// Whether the object has any value, for tests of the clean-up.
bool hasAssociatedObjects(const void* objectAddress);

}  // namespace tolvana::objc
