// SafeName: the forms a name must have before it becomes part of a file path.
//
// Language codes and app ids arrive from the translation server, the settings archive and
// files in the data directory, none of which is trusted. A name that passes here cannot
// climb out of its folder, name a hidden or special file, or carry a NUL that would cut the
// path short at the system call.
#pragma once

#include <cstddef>
#include <string_view>

namespace tolvana {

class SafeName {
 public:
  static constexpr std::size_t kMaxLanguageCodeLength = 35;
  static constexpr std::size_t kMaxAppIdLength = 128;
  static constexpr std::size_t kMaxGroupNameLength = 128;

  // Letters, digits, "-" and "_", 1 to 35 of them: "de", "zh-Hans", "pt_BR".
  static bool isLanguageCode(std::string_view name);
  // One folder name: not empty, at most 128 bytes, no "/", no "..", no NUL, not ".".
  static bool isAppId(std::string_view name);
  // A group name as a page or a setting may give it: 1 to 128 bytes, no control characters.
  static bool isGroupName(std::string_view name);
};

}  // namespace tolvana
