#include "store/AppFileReceipt.h"

#include <cstdio>
#include <sstream>

#include "store/StoreFingerprint.h"
#include "support/Files.h"
#include "support/SafeName.h"

namespace tolvana {

namespace {
constexpr std::string_view kHeader = "tolvana app file receipt 2";
}  // namespace

std::string AppFileReceipt::digestOf(std::string_view appFile) {
  char digest[48];
  std::snprintf(digest, sizeof digest, "%zu-%016zx", appFile.size(), std::hash<std::string_view>{}(appFile));
  return digest;
}

std::string AppFileReceipt::fingerprintOf(const std::string& storePath) {
  return storeFingerprint(storePath, FileSignature::of(storePath));
}

AppFileReceipt AppFileReceipt::of(std::string digest, std::string settings, const std::vector<std::string>& languages,
                                  const StorePath& storePath) {
  AppFileReceipt receipt;
  receipt.digest_ = std::move(digest);
  receipt.settings_ = std::move(settings);
  for (const auto& language : languages) receipt.fingerprints_[language] = fingerprintOf(storePath(language));
  return receipt;
}

std::optional<AppFileReceipt> AppFileReceipt::read(const std::string& path) {
  auto text = readWholeFile(path);
  if (!text) return std::nullopt;
  std::istringstream lines(*text);
  std::string line;
  AppFileReceipt receipt;
  if (!std::getline(lines, line) || line != kHeader || !std::getline(lines, receipt.digest_) ||
      !std::getline(lines, receipt.settings_)) {
    return std::nullopt;
  }
  while (std::getline(lines, line)) {
    auto space = line.find(' ');
    std::string language = line.substr(0, space);
    // The names become paths; the file is ours, but whatever is on disk may have been changed.
    if (space == std::string::npos || !SafeName::isLanguageCode(language)) return std::nullopt;
    receipt.fingerprints_[language] = line.substr(space + 1);
  }
  return receipt;
}

bool AppFileReceipt::write(const std::string& path) const {
  std::string text = std::string(kHeader) + "\n" + digest_ + "\n" + settings_ + "\n";
  for (const auto& [language, fingerprint] : fingerprints_) text += language + " " + fingerprint + "\n";
  return replaceFileAtomically(path, text);
}

void AppFileReceipt::remove(const std::string& path) { std::remove(path.c_str()); }

bool AppFileReceipt::storesUnchanged(const StorePath& storePath) const {
  for (const auto& [language, fingerprint] : fingerprints_) {
    if (fingerprintOf(storePath(language)) != fingerprint) return false;
  }
  return true;
}

}  // namespace tolvana
