#include "platform/PropertyList.h"

#include <plist/plist.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>

#include "support/Files.h"

namespace tolvana::plist {

namespace {

// Property-list dates count from 2001-01-01, Value dates from 1970-01-01.
constexpr double kSecondsFrom1970To2001 = 978307200.0;

// Deeper trees than this come only from hostile files; refusing them keeps the recursion
// below from exhausting the stack.
constexpr int kMaxDepth = 512;

struct NodeDeleter {
  void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using Node = std::unique_ptr<void, NodeDeleter>;

struct MallocDeleter {
  void operator()(void* p) const { std::free(p); }
};

void setError(std::string* error, std::string message) {
  if (error) *error = std::move(message);
}

std::optional<Value> toValue(plist_t node, int depth) {
  if (depth > kMaxDepth) return std::nullopt;
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      uint8_t b = 0;
      plist_get_bool_val(node, &b);
      return Value(b != 0);
    }
    case PLIST_UINT: {
      // The library keeps every integer in an unsigned slot; negative numbers come back as
      // their two's complement.
      uint64_t u = 0;
      plist_get_uint_val(node, &u);
      return Value(static_cast<long long>(static_cast<std::int64_t>(u)));
    }
    case PLIST_REAL: {
      double d = 0;
      plist_get_real_val(node, &d);
      return Value(d);
    }
    case PLIST_STRING: {
      uint64_t length = 0;
      const char* s = plist_get_string_ptr(node, &length);
      return Value(std::string(s ? s : "", s ? length : 0));
    }
    case PLIST_DATA: {
      uint64_t length = 0;
      const char* p = plist_get_data_ptr(node, &length);
      const auto* bytes = reinterpret_cast<const std::uint8_t*>(p);
      return Value(Value::Data(bytes, bytes + (p ? length : 0)));
    }
    case PLIST_DATE: {
      int32_t sec = 0, usec = 0;
      plist_get_date_val(node, &sec, &usec);
      return Value(Value::Date{sec + usec / 1e6 + kSecondsFrom1970To2001});
    }
    case PLIST_UID: {
      // Object references of archived object graphs; nothing here follows them, so the
      // index is all that is kept.
      uint64_t uid = 0;
      plist_get_uid_val(node, &uid);
      return Value(static_cast<unsigned long long>(uid));
    }
    case PLIST_ARRAY: {
      Value::Array array;
      uint32_t n = plist_array_get_size(node);
      array.reserve(n);
      for (uint32_t i = 0; i < n; ++i) {
        auto item = toValue(plist_array_get_item(node, i), depth + 1);
        if (!item) return std::nullopt;
        array.push_back(std::move(*item));
      }
      return Value(std::move(array));
    }
    case PLIST_DICT: {
      Value::Dictionary dict;
      plist_dict_iter it = nullptr;
      plist_dict_new_iter(node, &it);
      std::unique_ptr<void, MallocDeleter> iterOwner(it);
      for (;;) {
        char* rawKey = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(node, it, &rawKey, &item);
        std::unique_ptr<char, MallocDeleter> key(rawKey);
        if (!item) break;
        auto value = toValue(item, depth + 1);
        if (!value) return std::nullopt;
        dict.insert_or_assign(std::string(key ? key.get() : ""), std::move(*value));
      }
      return Value(std::move(dict));
    }
    default:
      return std::nullopt;
  }
}

// Null has no property-list form: it gives no node, and containers leave such members out.
plist_t toNode(const Value& value) {
  switch (value.type()) {
    case Value::Type::Null:
      return nullptr;
    case Value::Type::Boolean:
      return plist_new_bool(value.asBoolean() ? 1 : 0);
    case Value::Type::Integer:
      return plist_new_uint(static_cast<uint64_t>(value.asInteger()));
    case Value::Type::Real:
      return plist_new_real(value.asReal());
    case Value::Type::String:
      return plist_new_string(value.asString().c_str());
    case Value::Type::Data: {
      const auto& data = value.asData();
      return plist_new_data(reinterpret_cast<const char*>(data.data()), data.size());
    }
    case Value::Type::Date: {
      double since2001 = value.asDate().secondsSince1970 - kSecondsFrom1970To2001;
      double whole = std::floor(since2001);
      auto usec = static_cast<int32_t>(std::lround((since2001 - whole) * 1e6));
      if (usec >= 1000000) {
        whole += 1;
        usec -= 1000000;
      }
      // The library's date holds 32-bit seconds; clamp rather than wrap to a random year.
      whole = std::clamp(whole, double(std::numeric_limits<int32_t>::min()), double(std::numeric_limits<int32_t>::max()));
      return plist_new_date(static_cast<int32_t>(whole), usec);
    }
    case Value::Type::Array: {
      plist_t array = plist_new_array();
      for (const Value& item : value.asArray()) {
        if (plist_t node = toNode(item)) plist_array_append_item(array, node);
      }
      return array;
    }
    case Value::Type::Dictionary: {
      plist_t dict = plist_new_dict();
      for (const auto& [key, item] : value.asDictionary()) {
        if (plist_t node = toNode(item)) plist_dict_set_item(dict, key.c_str(), node);
      }
      return dict;
    }
  }
  return nullptr;
}

}  // namespace

std::optional<Value> parse(const std::vector<std::uint8_t>& bytes, std::string* error) {
  if (bytes.empty()) {
    setError(error, "empty property list");
    return std::nullopt;
  }
  if (bytes.size() >= std::numeric_limits<uint32_t>::max()) {
    setError(error, "property list too large");
    return std::nullopt;
  }
  // Editors put a byte-order mark before XML that the reader does not expect.
  std::size_t skip = bytes.size() >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF ? 3 : 0;
  // The XML reader is safest with a terminated buffer; the terminator is not part of the length.
  std::vector<char> buffer(bytes.begin() + skip, bytes.end());
  buffer.push_back('\0');
  plist_t raw = nullptr;
  plist_from_memory(buffer.data(), static_cast<uint32_t>(buffer.size() - 1), &raw);
  Node root(raw);
  if (!root) {
    setError(error, "not a property list");
    return std::nullopt;
  }
  auto value = toValue(root.get(), 0);
  if (!value) setError(error, "unsupported or too deeply nested property list");
  return value;
}

std::vector<std::uint8_t> serialize(const Value& value, Format format) {
  Node root(toNode(value));
  if (!root) return {};
  char* out = nullptr;
  uint32_t length = 0;
  if (format == Format::Binary) {
    plist_to_bin(root.get(), &out, &length);
  } else {
    plist_to_xml(root.get(), &out, &length);
  }
  std::vector<std::uint8_t> bytes(out, out + (out ? length : 0));
  if (format == Format::Binary) {
    plist_to_bin_free(out);
  } else {
    plist_to_xml_free(out);
  }
  return bytes;
}

std::optional<Value> readFile(const std::string& path, std::string* error) {
  auto text = readWholeFile(path, error);
  if (!text) return std::nullopt;
  std::vector<std::uint8_t> bytes(text->begin(), text->end());
  std::string reason;
  auto value = parse(bytes, &reason);
  if (!value) setError(error, path + ": " + reason);
  return value;
}

bool writeFileAtomically(const std::string& path, const Value& value, Format format, std::string* error) {
  std::vector<std::uint8_t> bytes = serialize(value, format);
  if (bytes.empty()) {
    setError(error, path + ": a null value has no property-list form");
    return false;
  }
  return replaceFileAtomically(path, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()),
                               error);
}

}  // namespace tolvana::plist
