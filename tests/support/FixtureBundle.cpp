#include "tests/support/FixtureBundle.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace tolvana::testing {

namespace {

namespace fs = std::filesystem;

std::string quotedText(std::string_view text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    out += c == '\n' ? std::string("\\n") : std::string(1, c);
  }
  return out + "\"";
}

std::string toUtf16(std::string_view utf8, bool bigEndian) {
  std::string out = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
  auto put = [&](char16_t unit) {
    char hi = static_cast<char>(unit >> 8), lo = static_cast<char>(unit & 0xFF);
    out += bigEndian ? hi : lo;
    out += bigEndian ? lo : hi;
  };
  for (std::size_t i = 0; i < utf8.size();) {
    auto b = static_cast<unsigned char>(utf8[i]);
    int extra = b < 0x80 ? 0 : b < 0xE0 ? 1 : b < 0xF0 ? 2 : 3;
    char32_t c = extra == 0 ? b : b & (0x3F >> extra);
    for (int k = 1; k <= extra && i + k < utf8.size(); ++k) c = (c << 6) | (utf8[i + k] & 0x3F);
    i += extra + 1;
    if (c >= 0x10000) {
      put(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
      put(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
    } else {
      put(static_cast<char16_t>(c));
    }
  }
  return out;
}

// The language folder a table lives in; tables without a language sit at the top.
std::string lproj(const std::string& language) { return language.empty() ? "" : language + ".lproj/"; }

std::string asString(const std::vector<std::uint8_t>& bytes) { return std::string(bytes.begin(), bytes.end()); }

void writeFile(const fs::path& path, const std::string& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("cannot write fixture file " + path.string());
}

}  // namespace

FixtureBundle::FixtureBundle(std::string path) : path_(std::move(path)) {}

FixtureBundle& FixtureBundle::info(std::string key, Value value) {
  info_.insert_or_assign(std::move(key), std::move(value));
  return *this;
}

FixtureBundle& FixtureBundle::infoFormat(plist::Format format) {
  infoFormat_ = format;
  return *this;
}

FixtureBundle& FixtureBundle::rawInfo(std::string bytes) {
  rawInfo_ = std::move(bytes);
  return *this;
}

std::string FixtureBundle::encodeStrings(const Entries& entries, StringsEncoding encoding) {
  if (encoding == StringsEncoding::XmlPlist || encoding == StringsEncoding::BinaryPlist) {
    Value::Dictionary table;
    for (const auto& [key, text] : entries) table.insert_or_assign(key, Value(text));
    auto format = encoding == StringsEncoding::XmlPlist ? plist::Format::Xml : plist::Format::Binary;
    return asString(plist::serialize(Value(std::move(table)), format));
  }
  std::string text = "/* written by the test fixture */\n";
  for (const auto& [key, value] : entries) text += quotedText(key) + " = " + quotedText(value) + ";\n";
  switch (encoding) {
    case StringsEncoding::Utf8Bom: return "\xEF\xBB\xBF" + text;
    case StringsEncoding::Utf16Le: return toUtf16(text, false);
    case StringsEncoding::Utf16Be: return toUtf16(text, true);
    default: return text;
  }
}

FixtureBundle& FixtureBundle::strings(const std::string& language, const std::string& table, const Entries& entries,
                                      StringsEncoding encoding) {
  return resource(lproj(language) + table + ".strings", encodeStrings(entries, encoding));
}

FixtureBundle& FixtureBundle::stringsdict(const std::string& language, const std::string& table,
                                          Value::Dictionary entries) {
  return resource(lproj(language) + table + ".stringsdict",
                  asString(plist::serialize(Value(std::move(entries)), plist::Format::Xml)));
}

FixtureBundle& FixtureBundle::resource(const std::string& relativePath, std::string bytes) {
  files_.insert_or_assign(relativePath, std::move(bytes));
  return *this;
}

FixtureBundle& FixtureBundle::nested(const std::string& relativePath) {
  for (auto& [relative, child] : children_) {
    if (relative == relativePath) return child;
  }
  return children_.emplace_back(std::piecewise_construct, std::forward_as_tuple(relativePath),
                                std::forward_as_tuple(path_ + "/" + relativePath))
      .second;
}

FixtureBundle& FixtureBundle::framework(const std::string& name) { return nested("Frameworks/" + name + ".framework"); }

FixtureBundle& FixtureBundle::plugIn(const std::string& name) { return nested("PlugIns/" + name); }

void FixtureBundle::write() const {
  fs::create_directories(path_);
  if (rawInfo_) {
    writeFile(fs::path(path_) / "Info.plist", *rawInfo_);
  } else if (!info_.empty()) {
    writeFile(fs::path(path_) / "Info.plist", asString(plist::serialize(Value(info_), infoFormat_)));
  }
  for (const auto& [relative, bytes] : files_) writeFile(fs::path(path_) / relative, bytes);
  for (const auto& [relative, child] : children_) child.write();
}

}  // namespace tolvana::testing
