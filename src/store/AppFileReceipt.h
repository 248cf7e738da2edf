// AppFileReceipt: what the last start wrote from the app file into the stores.
//
// Every start writes the app file's strings into their stores again, although mostly the file
// and the stores are the ones the last start left. The receipt holds a digest of the file and
// a fingerprint of every store written from it; when the next start finds the same file and
// stores that no one has written since, rewriting them would leave every row as it is, and
// the start takes only the file's top-level fields, which the receipt keeps too, so that the
// file is not decoded at all. A store written since (an update, another process) or a
// different file sends the start down the full path, which writes a new receipt.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tolvana {

class AppFileReceipt {
 public:
  using StorePath = std::function<std::string(std::string_view language)>;

  static std::string digestOf(std::string_view appFile);
  // Nullopt when there is none or it cannot be read as one.
  static std::optional<AppFileReceipt> read(const std::string& path);
  // The receipt of the stores of these languages, as they are now. settings: the file's
  // top-level members but its strings, as JSON on one line.
  static AppFileReceipt of(std::string digest, std::string settings, const std::vector<std::string>& languages,
                           const StorePath& storePath);

  // Written through a temporary file, so a crash leaves the old receipt or the new one.
  bool write(const std::string& path) const;
  static void remove(const std::string& path);

  const std::string& digest() const { return digest_; }
  const std::string& settings() const { return settings_; }
  // True when every store it names is still the one it saw.
  bool storesUnchanged(const StorePath& storePath) const;

 private:
  static std::string fingerprintOf(const std::string& storePath);

  std::string digest_;
  std::string settings_;
  std::map<std::string, std::string> fingerprints_;  // language -> fingerprint
};

}  // namespace tolvana
