// Reading string tables: ".strings" files in the old-style text form (UTF-8, or UTF-16 with
// a byte-order mark) or as XML/binary property lists, and any property-list dictionary file.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tolvana/Value.h"

namespace tolvana::strings {

// Parses the old-style text form: "key" = "value"; pairs with C comments, \n \t \" \\ \U1234
// escapes, unquoted words, and the short form "key"; (value equals key). Nullopt with a
// reason (naming the line) on a syntax error.
std::optional<Value::Dictionary> parseText(std::string_view utf8, std::string* error = nullptr);

// Reads a dictionary file in any of the forms above (binary or XML property list, or text in
// UTF-8 or UTF-16 with BOM); nullopt with a reason when missing, unreadable or malformed.
// This is the platform's "dictionary with contents of file".
std::optional<Value::Dictionary> readDictionaryFile(const std::string& path, std::string* error = nullptr);

}  // namespace tolvana::strings
