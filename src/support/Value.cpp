#include "tolvana/Value.h"

#include <cctype>
#include <charconv>
#include <cmath>

namespace tolvana {

std::optional<double> Value::numberAsDouble() const {
  switch (type()) {
    case Type::Boolean: return asBoolean() ? 1.0 : 0.0;
    case Type::Integer: return static_cast<double>(asInteger());
    case Type::Real: return asReal();
    default: return std::nullopt;
  }
}

std::optional<std::int64_t> Value::numberAsInteger() const {
  switch (type()) {
    case Type::Boolean: return asBoolean() ? 1 : 0;
    case Type::Integer: return asInteger();
    case Type::Real: {
      double d = asReal();
      if (!std::isfinite(d)) return 0;
      if (d >= 9.2e18) return INT64_MAX;
      if (d <= -9.2e18) return INT64_MIN;
      return static_cast<std::int64_t>(d);
    }
    default: return std::nullopt;
  }
}

bool Value::boolValue() const {
  if (auto n = numberAsDouble()) return *n != 0.0;
  if (!isString()) return false;
  const std::string& s = asString();
  std::size_t i = 0;
  while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i]))) ++i;
  if (i < s.size() && (s[i] == 'Y' || s[i] == 'y' || s[i] == 'T' || s[i] == 't')) return true;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
  while (i < s.size() && s[i] == '0') ++i;
  return i < s.size() && s[i] >= '1' && s[i] <= '9';
}

const Value* Value::find(std::string_view key) const {
  if (!isDictionary()) return nullptr;
  const Dictionary& d = asDictionary();
  auto it = d.find(key);
  return it == d.end() ? nullptr : &it->second;
}

namespace {

std::string realText(double d) {
  if (std::isfinite(d) && d == std::floor(d) && std::fabs(d) < 1e15) {
    return std::to_string(static_cast<long long>(d));
  }
  char buffer[64];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, d);
  return std::string(buffer, result.ptr);
}

}  // namespace

std::string Value::description() const {
  switch (type()) {
    case Type::Null: return "(null)";
    case Type::Boolean: return asBoolean() ? "1" : "0";
    case Type::Integer: return std::to_string(asInteger());
    case Type::Real: return realText(asReal());
    case Type::String: return asString();
    case Type::Date: return realText(asDate().secondsSince1970);
    case Type::Data: return "<" + std::to_string(asData().size()) + " bytes>";
    case Type::Array: {
      std::string out = "(";
      for (std::size_t i = 0; i < asArray().size(); ++i) {
        out += (i ? ", " : "") + asArray()[i].description();
      }
      return out + ")";
    }
    case Type::Dictionary: {
      std::string out = "{";
      for (const auto& [k, v] : asDictionary()) out += k + " = " + v.description() + "; ";
      return out + "}";
    }
  }
  return {};
}

}  // namespace tolvana
