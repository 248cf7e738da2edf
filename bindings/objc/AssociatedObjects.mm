#import "AssociatedObjects.h"

#include <objc/runtime.h>

#include <map>
#include <mutex>
#include <set>
#include <unordered_map>
#include <vector>

namespace tolvana::objc {

namespace {

struct Table {
  std::mutex mutex;
  std::unordered_map<const void*, std::map<const void*, id>> values;  // guarded by mutex
  std::set<Class> watchingClasses;                                    // guarded by mutex
  std::map<Class, Class> watchingClassOf;                             // guarded by mutex
};

// Never destroyed: objects may be deallocated while the process exits.
Table& table() {
  static auto* t = new Table;
  return *t;
}

void releaseAll(const std::vector<id>& values) {
  for (id value : values) [value release];
}

// The values go before the object's memory does, outside the lock: releasing one may
// deallocate further objects that have values of their own.
void forget(id object) {
  std::vector<id> released;
  {
    Table& t = table();
    std::lock_guard lock(t.mutex);
    auto found = t.values.find(object);
    if (found == t.values.end()) return;
    for (auto& [key, value] : found->second) released.push_back(value);
    t.values.erase(found);
  }
  releaseAll(released);
}

// The watching class somewhere above the object's class (another runtime trick, such as
// key-value observing, may have put a subclass of its own in between).
Class watchingClassAbove(Class cls) {
  Table& t = table();
  std::lock_guard lock(t.mutex);
  while (cls && !t.watchingClasses.count(cls)) cls = class_getSuperclass(cls);
  return cls;
}

void watchedDealloc(id self, SEL selector) {
  forget(self);
  Class original = class_getSuperclass(watchingClassAbove(object_getClass(self)));
  auto dealloc = reinterpret_cast<void (*)(id, SEL)>(class_getMethodImplementation(original, selector));
  dealloc(self, selector);
}

Class watchedClass(id self, SEL) { return class_getSuperclass(watchingClassAbove(object_getClass(self))); }

// Called with the table's lock held.
Class watchingClassFor(Table& t, Class cls) {
  auto known = t.watchingClassOf.find(cls);
  if (known != t.watchingClassOf.end()) return known->second;
  NSString* name = [NSString stringWithFormat:@"%s_TolvanaWatched", class_getName(cls)];
  Class watching = objc_allocateClassPair(cls, [name UTF8String], 0);
  if (!watching) return Nil;
  class_addMethod(watching, @selector(dealloc), reinterpret_cast<IMP>(watchedDealloc), "v@:");
  class_addMethod(watching, @selector(class), reinterpret_cast<IMP>(watchedClass), "#@:");
  objc_registerClassPair(watching);
  t.watchingClasses.insert(watching);
  t.watchingClassOf[cls] = watching;
  return watching;
}

bool isImmortal(id object) { return [object isKindOfClass:[NSConstantString class]]; }

// Called with the table's lock held.
void watch(Table& t, id object) {
  Class cls = object_getClass(object);
  for (Class above = cls; above; above = class_getSuperclass(above)) {
    if (t.watchingClasses.count(above)) return;
  }
  if (Class watching = watchingClassFor(t, cls)) object_setClass(object, watching);
}

}  // namespace

void setAssociatedObject(id object, const void* key, id value) {
  if (!object) return;
  bool immortal = isImmortal(object);
  [value retain];
  id previous = nil;
  {
    Table& t = table();
    std::lock_guard lock(t.mutex);
    if (value) {
      if (!immortal) watch(t, object);
      id& slot = t.values[object][key];
      previous = slot;
      slot = value;
    } else if (auto found = t.values.find(object); found != t.values.end()) {
      if (auto entry = found->second.find(key); entry != found->second.end()) {
        previous = entry->second;
        found->second.erase(entry);
      }
      if (found->second.empty()) t.values.erase(found);
    }
  }
  [previous release];
}

id associatedObject(id object, const void* key) {
  id value = nil;
  {
    Table& t = table();
    std::lock_guard lock(t.mutex);
    auto found = t.values.find(object);
    if (found == t.values.end()) return nil;
    auto entry = found->second.find(key);
    if (entry == found->second.end()) return nil;
    value = [entry->second retain];
  }
  return [value autorelease];
}

bool hasAssociatedObjects(const void* objectAddress) {
  Table& t = table();
  std::lock_guard lock(t.mutex);
  return t.values.count(objectAddress) > 0;
}

}  // namespace tolvana::objc
