#include "support/Json.h"

#include <nlohmann/json.hpp>

namespace tolvana::json {

namespace {

Value fromJson(const nlohmann::json& j) {
  switch (j.type()) {
    case nlohmann::json::value_t::null: return Value();
    case nlohmann::json::value_t::boolean: return Value(j.get<bool>());
    case nlohmann::json::value_t::number_integer: return Value(j.get<std::int64_t>());
    case nlohmann::json::value_t::number_unsigned: {
      auto u = j.get<std::uint64_t>();
      return u > static_cast<std::uint64_t>(INT64_MAX) ? Value(static_cast<double>(u)) : Value(static_cast<std::int64_t>(u));
    }
    case nlohmann::json::value_t::number_float: return Value(j.get<double>());
    case nlohmann::json::value_t::string: return Value(j.get<std::string>());
    case nlohmann::json::value_t::array: {
      Value::Array a;
      a.reserve(j.size());
      for (const auto& e : j) a.push_back(fromJson(e));
      return a;
    }
    case nlohmann::json::value_t::object: {
      Value::Dictionary d;
      for (const auto& [k, v] : j.items()) d.emplace(k, fromJson(v));
      return d;
    }
    default: return Value();
  }
}

std::string base64(const Value::Data& data) {
  static constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  for (std::size_t i = 0; i < data.size(); i += 3) {
    std::uint32_t n = data[i] << 16 | (i + 1 < data.size() ? data[i + 1] << 8 : 0) | (i + 2 < data.size() ? data[i + 2] : 0);
    out += kAlphabet[n >> 18 & 63];
    out += kAlphabet[n >> 12 & 63];
    out += i + 1 < data.size() ? kAlphabet[n >> 6 & 63] : '=';
    out += i + 2 < data.size() ? kAlphabet[n & 63] : '=';
  }
  return out;
}

nlohmann::json toJson(const Value& v) {
  switch (v.type()) {
    case Value::Type::Null: return nullptr;
    case Value::Type::Boolean: return v.asBoolean();
    case Value::Type::Integer: return v.asInteger();
    case Value::Type::Real: return v.asReal();
    case Value::Type::String: return v.asString();
    case Value::Type::Data: return base64(v.asData());
    case Value::Type::Date: return v.asDate().secondsSince1970;
    case Value::Type::Array: {
      nlohmann::json a = nlohmann::json::array();
      for (const auto& e : v.asArray()) a.push_back(toJson(e));
      return a;
    }
    case Value::Type::Dictionary: {
      nlohmann::json o = nlohmann::json::object();
      for (const auto& [k, e] : v.asDictionary()) o[k] = toJson(e);
      return o;
    }
  }
  return nullptr;
}

}  // namespace

std::optional<Value> parse(std::string_view text, std::string* error) {
  auto j = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (j.is_discarded()) {
    if (error) *error = "not valid JSON";
    return std::nullopt;
  }
  return fromJson(j);
}

std::string serialize(const Value& value) {
  // Invalid UTF-8 must not throw out of the library; it is replaced instead.
  return toJson(value).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace tolvana::json
