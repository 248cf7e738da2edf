// The entries of the host benchmarks' app, shared by the program that writes the app and the
// one that measures it (and writes the same entries as a gettext catalogue).
#pragma once

#include <string>
#include <vector>

namespace tolvana::bench {

struct HostEntry {
  std::string key, value;
};

inline constexpr const char* kHostMissKey = "no_such_key";
inline constexpr const char* kHostIdentifier = "io.tolvana.bench.host";

// A key halfway through the table's entries.
inline std::string hostHitIndex(int keys) { return std::to_string(keys / 4); }

// keys entries and their "[one]" variants, half of them each; the texts carry a placeholder.
inline std::vector<HostEntry> hostEntries(const std::string& language, int keys) {
  std::vector<HostEntry> rows;
  rows.reserve(keys);
  for (int i = 0; i < keys / 2; ++i) {
    std::string n = std::to_string(i);
    rows.push_back({"key_" + n, language + " text " + n + " for %{n} items"});
    rows.push_back({"key_" + n + "[one]", language + " one " + n + " for %{n} item"});
  }
  return rows;
}

}  // namespace tolvana::bench
