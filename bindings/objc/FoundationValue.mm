#import "FoundationValue.h"

namespace tolvana::objc {

namespace {

Class booleanNumberClass() {
  static Class cls = [[NSNumber numberWithBool:YES] class];
  return cls;
}

Value numberValue(NSNumber* number) {
  if ([number isKindOfClass:booleanNumberClass()]) return Value([number boolValue] == YES);
  switch ([number objCType][0]) {
    case 'f':
    case 'd':
      return Value([number doubleValue]);
    default:
      return Value(static_cast<long long>([number longLongValue]));
  }
}

}  // namespace

NSString* toNSString(std::string_view text) {
  return [[[NSString alloc] initWithBytes:text.data() length:text.size() encoding:NSUTF8StringEncoding] autorelease];
}

NSString* toNSStringOrNil(const std::optional<std::string>& text) { return text ? toNSString(*text) : nil; }

std::optional<std::string> toOptionalString(NSString* text) {
  if (!text) return std::nullopt;
  const char* bytes = [text UTF8String];
  return std::string(bytes ? bytes : "");
}

std::string toString(id object) {
  if (!object) return {};
  return toOptionalString([object isKindOfClass:[NSString class]] ? object : [object description]).value_or("");
}

Value toValue(id object) {
  if (!object) return Value();
  if ([object isKindOfClass:[NSString class]]) return Value(toString(object));
  if ([object isKindOfClass:[NSNumber class]]) return numberValue(object);
  if ([object isKindOfClass:[NSData class]]) {
    const auto* bytes = static_cast<const std::uint8_t*>([object bytes]);
    return Value(Value::Data(bytes, bytes + [object length]));
  }
  if ([object isKindOfClass:[NSDate class]]) return Value(Value::Date{[object timeIntervalSince1970]});
  if ([object isKindOfClass:[NSArray class]]) {
    Value::Array array;
    for (id element in object) array.push_back(toValue(element));
    return Value(std::move(array));
  }
  if ([object isKindOfClass:[NSDictionary class]]) {
    Value::Dictionary dictionary;
    for (id key in object) dictionary.emplace(toString(key), toValue([object objectForKey:key]));
    return Value(std::move(dictionary));
  }
  return Value();
}

id toObject(const Value& value) {
  switch (value.type()) {
    case Value::Type::Null:
      return nil;
    case Value::Type::Boolean:
      return [NSNumber numberWithBool:value.asBoolean()];
    case Value::Type::Integer:
      return [NSNumber numberWithLongLong:value.asInteger()];
    case Value::Type::Real:
      return [NSNumber numberWithDouble:value.asReal()];
    case Value::Type::String:
      return toNSString(value.asString());
    case Value::Type::Data:
      return [NSData dataWithBytes:value.asData().data() length:value.asData().size()];
    case Value::Type::Date:
      return [NSDate dateWithTimeIntervalSince1970:value.asDate().secondsSince1970];
    case Value::Type::Array: {
      NSMutableArray* array = [NSMutableArray arrayWithCapacity:value.asArray().size()];
      for (const Value& element : value.asArray()) {
        if (id object = toObject(element)) [array addObject:object];
      }
      return array;
    }
    case Value::Type::Dictionary: {
      NSMutableDictionary* dictionary = [NSMutableDictionary dictionaryWithCapacity:value.asDictionary().size()];
      for (const auto& [key, element] : value.asDictionary()) {
        id object = toObject(element);
        NSString* name = toNSString(key);
        if (object && name) [dictionary setObject:object forKey:name];
      }
      return dictionary;
    }
  }
  return nil;
}

// A host that passes another kind of object gets the neutral answer, not an exception.
std::vector<std::string> toStrings(NSArray* array) {
  std::vector<std::string> strings;
  if (![array isKindOfClass:[NSArray class]]) return strings;
  for (id element in array) strings.push_back(toString(element));
  return strings;
}

NSArray* toNSArray(const std::vector<std::string>& strings) {
  NSMutableArray* array = [NSMutableArray arrayWithCapacity:strings.size()];
  for (const auto& text : strings) {
    if (NSString* string = toNSString(text)) [array addObject:string];
  }
  return array;
}

std::map<std::string, std::string> toStringMap(NSDictionary* dictionary) {
  std::map<std::string, std::string> map;
  if (![dictionary isKindOfClass:[NSDictionary class]]) return map;
  for (id key in dictionary) map[toString(key)] = toString([dictionary objectForKey:key]);
  return map;
}

NSDictionary* toNSDictionary(const std::map<std::string, std::string>& map) {
  NSMutableDictionary* dictionary = [NSMutableDictionary dictionaryWithCapacity:map.size()];
  for (const auto& [key, text] : map) {
    NSString* name = toNSString(key);
    NSString* string = toNSString(text);
    if (name && string) [dictionary setObject:string forKey:name];
  }
  return dictionary;
}

}  // namespace tolvana::objc
