// TextChanges: what an update wrote into the local stores.
//
// A server answers with every language of the project, most of them with nothing newer
// than what the app holds, so "the answer was taken" says little. This record says what
// was written: per language, each group the answer brought a newer version of, with its
// version before and after and the number of entries written.
//
//   for (const auto& [language, groups] : changes)
//     for (const auto& group : groups)
//       printf("%s: %s v%lld -> v%lld\n", language.c_str(), group.group.c_str(), ...);
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tolvana {

/// One group an update wrote into a language's store.
struct GroupChange {
  std::string group;
  std::int64_t versionBefore = -1;  ///< -1 when the store did not have the group
  std::int64_t versionAfter = -1;
  std::size_t entriesWritten = 0;
};

/// Language → the groups written into its store, in the order the answer listed them. Empty
/// when nothing was newer (or nothing could be written).
using TextChanges = std::map<std::string, std::vector<GroupChange>>;

}  // namespace tolvana
