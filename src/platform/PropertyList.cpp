#include "platform/PropertyList.h"

#include <plist/plist.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string_view>

#include "support/Files.h"
#include "support/StringUtil.h"

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

// Text is UTF-8 without NUL in both directions: libplist writes other bytes into a binary
// list garbled or cut short (so it would not read back as written), and drops everything
// after a NUL.
bool isPlainText(std::string_view text) { return isValidUtf8(text) && text.find('\0') == std::string_view::npos; }

bool allTextIsPlain(const Value& value, int depth = 0) {
  if (depth > kMaxDepth) return false;
  if (value.isString()) return isPlainText(value.asString());
  if (value.isArray()) {
    for (const Value& item : value.asArray()) {
      if (!allTextIsPlain(item, depth + 1)) return false;
    }
  } else if (value.isDictionary()) {
    for (const auto& [key, item] : value.asDictionary()) {
      if (!isPlainText(key) || !allTextIsPlain(item, depth + 1)) return false;
    }
  }
  return true;
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
      std::string text(s ? s : "", s ? length : 0);
      if (!isPlainText(text)) return std::nullopt;
      return Value(std::move(text));
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
        if (!value || (key && !isValidUtf8(key.get()))) return std::nullopt;
        dict.insert_or_assign(std::string(key ? key.get() : ""), std::move(*value));
      }
      return Value(std::move(dict));
    }
    default:
      return std::nullopt;
  }
}

// The binary reader hands out a dictionary key through a call that aborts the process when
// the key holds a NUL (a UTF-16 key with U+0000 passes the reader and trips it later), and
// an ASCII key with a NUL would be cut short silently. So a binary list is walked first, on
// its own offsets: any dictionary key that holds a NUL, and anything that does not add up
// on the way, refuses the whole list before the library sees it.
class BinaryKeyCheck {
 public:
  explicit BinaryKeyCheck(std::string_view bytes) : b_(bytes) {}

  bool safe() {
    static constexpr char kMagic[] = "bplist";
    if (b_.substr(0, 6) != kMagic) return true;  // not binary
    if (b_.size() < 8 + 32) return false;
    std::size_t trailer = b_.size() - 32;
    offsetSize_ = uint8(trailer + 6);
    refSize_ = uint8(trailer + 7);
    objects_ = big(trailer + 8, 8);
    std::uint64_t table = big(trailer + 24, 8);
    if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8) return false;
    if (table < 8 || table > trailer || objects_ > (trailer - table) / offsetSize_) return false;
    table_ = static_cast<std::size_t>(table);
    checked_.assign(static_cast<std::size_t>(objects_), false);
    for (std::uint64_t i = 0; i < objects_; ++i) {
      std::size_t at = 0;
      if (!objectAt(i, &at)) return false;
      if ((uint8(at) >> 4) != 0xD) continue;
      std::uint64_t count = 0;
      std::size_t refs = 0;
      if (!counted(at, &count, &refs) || count > (b_.size() - refs) / refSize_) return false;
      for (std::uint64_t k = 0; k < count; ++k) {
        if (!keyHasNoNul(big(refs + k * refSize_, refSize_))) return false;
      }
    }
    return true;
  }

 private:
  unsigned uint8(std::size_t at) const { return static_cast<unsigned char>(b_[at]); }
  std::uint64_t big(std::size_t at, std::size_t n) const {
    std::uint64_t v = 0;
    for (std::size_t k = 0; k < n; ++k) v = (v << 8) | uint8(at + k);
    return v;
  }
  bool objectAt(std::uint64_t index, std::size_t* at) const {
    if (index >= objects_) return false;
    std::uint64_t offset = big(table_ + index * offsetSize_, offsetSize_);
    if (offset < 8 || offset >= table_) return false;
    *at = static_cast<std::size_t>(offset);
    return true;
  }
  // The element count of the object at `at` (in its marker, or in the integer after it when
  // the marker says 0xF) and where its contents start.
  bool counted(std::size_t at, std::uint64_t* count, std::size_t* contents) const {
    *count = uint8(at) & 0xF;
    *contents = at + 1;
    if (*count != 0xF) return true;
    if (at + 2 > table_ || (uint8(at + 1) >> 4) != 0x1) return false;
    std::size_t width = std::size_t{1} << (uint8(at + 1) & 0xF);
    if (width > 8 || at + 2 + width > table_) return false;
    *count = big(at + 2, width);
    *contents = at + 2 + width;
    return true;
  }
  // Each key object is read once, however many dictionaries share it.
  bool keyHasNoNul(std::uint64_t index) {
    if (index < objects_ && checked_[index]) return true;
    std::size_t at = 0;
    std::uint64_t count = 0;
    std::size_t text = 0;
    if (!objectAt(index, &at) || !counted(at, &count, &text)) return false;
    unsigned kind = uint8(at) >> 4;
    if (kind != 0x5 && kind != 0x6) return true;  // not a string: the reader refuses it itself
    std::uint64_t width = kind == 0x6 ? 2 : 1;
    if (count > (table_ - text) / width) return false;
    for (std::uint64_t k = 0; k < count; ++k) {
      if (big(text + k * width, width) == 0) return false;
    }
    checked_[index] = true;
    return true;
  }

  std::string_view b_;
  std::vector<bool> checked_;
  std::size_t offsetSize_ = 0, refSize_ = 0, table_ = 0;
  std::uint64_t objects_ = 0;
};

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
      // The library's date holds 32-bit seconds; clamp rather than wrap to a random year,
      // a second inside the range, since its binary reader also turns the whole date
      // (seconds and fraction) back into 32-bit seconds.
      double since2001 = std::clamp(value.asDate().secondsSince1970 - kSecondsFrom1970To2001,
                                    std::numeric_limits<int32_t>::min() + 1.0, std::numeric_limits<int32_t>::max() - 1.0);
      if (std::isnan(since2001)) since2001 = 0;
      // Its binary reader also loses the sign of a fraction before 2001 (-5.5 comes back as
      // -5 and +0.5), so such dates keep whole seconds only.
      if (since2001 < 0) since2001 = std::round(since2001);
      double whole = std::floor(since2001);
      auto usec = static_cast<int32_t>(std::lround((since2001 - whole) * 1e6));
      if (usec >= 1000000) {
        whole += 1;
        usec -= 1000000;
      }
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
  if (!BinaryKeyCheck(std::string_view(buffer.data(), buffer.size() - 1)).safe()) {
    setError(error, "malformed binary property list (a dictionary key holds a NUL, or an offset is out of range)");
    return std::nullopt;
  }
  plist_t raw = nullptr;
  plist_from_memory(buffer.data(), static_cast<uint32_t>(buffer.size() - 1), &raw);
  Node root(raw);
  if (!root) {
    setError(error, "not a property list");
    return std::nullopt;
  }
  auto value = toValue(root.get(), 0);
  if (!value) setError(error, "unsupported or too deeply nested property list, or text that is not UTF-8 without NUL");
  return value;
}

bool hasWritableText(const Value& value) { return allTextIsPlain(value); }
bool isWritableText(std::string_view text) { return isPlainText(text); }

std::vector<std::uint8_t> serialize(const Value& value, Format format, std::string* error) {
  if (!allTextIsPlain(value)) {
    setError(error, "a key or string is not UTF-8 text without NUL");
    return {};
  }
  Node root(toNode(value));
  if (!root) {
    setError(error, "a null value has no property-list form");
    return {};
  }
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
  std::string reason;
  std::vector<std::uint8_t> bytes = serialize(value, format, &reason);
  if (bytes.empty()) {
    setError(error, path + ": " + reason);
    return false;
  }
  return replaceFileAtomically(path, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()),
                               error);
}

}  // namespace tolvana::plist
