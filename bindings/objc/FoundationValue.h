// FoundationValue: Foundation's property-list objects and strings to the library's values and
// back. Booleans stay Booleans: Foundation keeps them in a number class of their own, which is
// what tells an Info.plist <true/> from an <integer>1</integer>.
//
// Thread contract: any thread, inside a FoundationScope (results are autoreleased).
#pragma once

#import <Foundation/Foundation.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tolvana/Value.h"

namespace tolvana::objc {

// nil for nullopt; invalid UTF-8 becomes nil as well.
NSString* toNSString(std::string_view text);
NSString* toNSStringOrNil(const std::optional<std::string>& text);
// UTF-8; nil is nullopt.
std::optional<std::string> toOptionalString(NSString* text);
// Any object by its description, so that a number serves where a text is wanted; "" for nil.
std::string toString(id object);

// Null for nil and for objects that are no property-list value.
Value toValue(id object);
// nil for Null.
id toObject(const Value& value);

// The strings of an array; other elements by their description. Empty for nil and for objects
// of another class (the same for dictionaries).
std::vector<std::string> toStrings(NSArray* array);
NSArray* toNSArray(const std::vector<std::string>& strings);
std::map<std::string, std::string> toStringMap(NSDictionary* dictionary);
NSDictionary* toNSDictionary(const std::map<std::string, std::string>& map);

}  // namespace tolvana::objc
