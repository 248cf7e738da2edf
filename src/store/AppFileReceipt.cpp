#include "store/AppFileReceipt.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>

#include "support/FileSignature.h"
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

// Besides what stat tells, SQLite's change counter (bytes 24 to 27 of the header), which every
// commit moves on: a write in the same clock tick as the last one, leaving the size, changes
// no time stamp.
std::string AppFileReceipt::fingerprintOf(const std::string& storePath) {
  FileSignature signature = FileSignature::of(storePath);
  if (signature.size < 0) return "absent";
  unsigned char counter[4] = {};
  if (int fd = ::open(storePath.c_str(), O_RDONLY | O_CLOEXEC); fd >= 0) {
    if (::pread(fd, counter, sizeof counter, 24) != sizeof counter) std::fill(std::begin(counter), std::end(counter), 0);
    ::close(fd);
  }
  std::ostringstream text;
  text << signature.device << ':' << signature.inode << ':' << signature.size << ':' << signature.modified.tv_sec
       << '.' << signature.modified.tv_nsec << ':'
       << ((unsigned{counter[0]} << 24) | (unsigned{counter[1]} << 16) | (unsigned{counter[2]} << 8) | counter[3]);
  return text.str();
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
