// Value: one dynamic value for property lists, user defaults, strings tables and JSON.
//
// Booleans, integers and reals stay distinct kinds, because typed settings depend on the
// difference (an Info.plist Integer 1 is not a Boolean true). Dictionaries keep their keys
// sorted, which also gives JSON with sorted keys.
//
// Example:
//   Value info = Value::Dictionary{{"TolvanaHost", "https://example.org"}, {"TolvanaLogGetString", true}};
//   if (const Value* host = info.find("TolvanaHost"); host && host->isString()) use(host->asString());
//
// A Value is a plain value type: copies are deep, and it is safe to read one from several
// threads as long as none writes it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tolvana/Export.h"

namespace tolvana {

class TOLVANA_EXPORT Value {
 public:
  using Array = std::vector<Value>;
  using Dictionary = std::map<std::string, Value, std::less<>>;
  using Data = std::vector<std::uint8_t>;
  // A point in time, in seconds since 1970-01-01 UTC.
  struct Date {
    double secondsSince1970 = 0;
    bool operator==(const Date&) const = default;
  };
  enum class Type { Null, Boolean, Integer, Real, String, Data, Date, Array, Dictionary };

  Value() = default;
  Value(std::nullptr_t) {}
  Value(bool b) : v_(b) {}
  Value(int i) : v_(static_cast<std::int64_t>(i)) {}
  Value(long i) : v_(static_cast<std::int64_t>(i)) {}
  Value(long long i) : v_(static_cast<std::int64_t>(i)) {}
  Value(unsigned i) : v_(static_cast<std::int64_t>(i)) {}
  Value(unsigned long i) : v_(static_cast<std::int64_t>(i)) {}
  Value(unsigned long long i) : v_(static_cast<std::int64_t>(i)) {}
  Value(double d) : v_(d) {}
  Value(const char* s) : v_(std::string(s)) {}
  Value(std::string s) : v_(std::move(s)) {}
  Value(std::string_view s) : v_(std::string(s)) {}
  Value(Data d) : v_(std::move(d)) {}
  Value(Date d) : v_(d) {}
  Value(Array a) : v_(std::move(a)) {}
  Value(Dictionary d) : v_(std::move(d)) {}

  Type type() const { return static_cast<Type>(v_.index()); }
  bool isNull() const { return type() == Type::Null; }
  bool isBoolean() const { return type() == Type::Boolean; }
  bool isInteger() const { return type() == Type::Integer; }
  bool isReal() const { return type() == Type::Real; }
  // Any number, a Boolean included (as 0 or 1), like a platform number object.
  bool isNumber() const { return isBoolean() || isInteger() || isReal(); }
  bool isString() const { return type() == Type::String; }
  bool isData() const { return type() == Type::Data; }
  bool isDate() const { return type() == Type::Date; }
  bool isArray() const { return type() == Type::Array; }
  bool isDictionary() const { return type() == Type::Dictionary; }

  // Unchecked accessors: the caller has tested the kind.
  bool asBoolean() const { return std::get<bool>(v_); }
  std::int64_t asInteger() const { return std::get<std::int64_t>(v_); }
  double asReal() const { return std::get<double>(v_); }
  const std::string& asString() const { return std::get<std::string>(v_); }
  const Data& asData() const { return std::get<Data>(v_); }
  Date asDate() const { return std::get<Date>(v_); }
  const Array& asArray() const { return std::get<Array>(v_); }
  Array& asArray() { return std::get<Array>(v_); }
  const Dictionary& asDictionary() const { return std::get<Dictionary>(v_); }
  Dictionary& asDictionary() { return std::get<Dictionary>(v_); }

  // Numeric readings of any number kind (Boolean as 0/1); nullopt for other kinds.
  std::optional<double> numberAsDouble() const;
  std::optional<std::int64_t> numberAsInteger() const;
  // The platform's boolValue: numbers are true when non-zero; strings when they start with
  // Y, y, T, t or a digit 1-9 after optional blanks, sign and zeros; everything else false.
  bool boolValue() const;

  // Dictionary member, or null when this is no dictionary or lacks the key.
  const Value* find(std::string_view key) const;
  // Text as the platform's description would give it (numbers in decimal, "1"/"0" for Booleans).
  std::string description() const;

  bool operator==(const Value& other) const = default;

 private:
  std::variant<std::monostate, bool, std::int64_t, double, std::string, Data, Date, Array, Dictionary> v_;
};

}  // namespace tolvana
