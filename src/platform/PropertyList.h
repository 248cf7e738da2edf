// Reading and writing property lists (XML and binary) as Values, through libplist.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tolvana/Value.h"

namespace tolvana::plist {

enum class Format { Xml, Binary };

// Parses XML or binary property-list bytes; nullopt (and a reason in error) when they are neither.
std::optional<Value> parse(const std::vector<std::uint8_t>& bytes, std::string* error = nullptr);
// Empty (and a reason in error) for a null value, or when a key or string anywhere in the
// tree is not UTF-8 text without NUL: such text would not read back as it was. Parsing
// refuses such text too.
std::vector<std::uint8_t> serialize(const Value& value, Format format, std::string* error = nullptr);
// True when every key and string in the tree can be written (see serialize).
bool hasWritableText(const Value& value);
// The same rule for one text, such as a dictionary key.
bool isWritableText(std::string_view text);

// Reads a whole file; nullopt with a reason when it is missing, unreadable or malformed.
std::optional<Value> readFile(const std::string& path, std::string* error = nullptr);
// Writes through a temporary file in the same directory and a rename, so a reader sees the
// old file or the new one, never a part. False with a reason on failure.
bool writeFileAtomically(const std::string& path, const Value& value, Format format, std::string* error = nullptr);

}  // namespace tolvana::plist
