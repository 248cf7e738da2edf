// InputRules: the forms that names and texts from outside must have. Everything a device or
// an admin script sends is untrusted; a value that fails here is refused with 400 before
// it reaches the database, and names that pass are also safe as file names when a project
// is exported to a directory.
#pragma once

#include <cstddef>
#include <string_view>

namespace tolvana::server {

class InputRules {
 public:
  static constexpr std::size_t kMaxKeyBytes = 997;  // what the library uploads at most
  static constexpr std::size_t kMaxGroupBytes = 200;
  static constexpr std::size_t kMaxTextBytes = 64 * 1024;
  static constexpr std::size_t kMaxTagBytes = 200;

  // "de", "zh-Hans", "pt_BR": letters, digits, "-" and "_", at most 35.
  static bool isLanguageCode(std::string_view name);
  // A folder name of at most 128 bytes, and nothing that needs quoting in a URL path.
  static bool isProjectId(std::string_view name);
  // UTF-8 without control characters or "/", not starting with ".", at most 200 bytes.
  static bool isGroupName(std::string_view name);
  // UTF-8 without NUL, 1 to 997 bytes.
  static bool isKey(std::string_view key);
  // UTF-8 without NUL, at most `maxBytes`.
  static bool isText(std::string_view text, std::size_t maxBytes = kMaxTextBytes);
};

}  // namespace tolvana::server
