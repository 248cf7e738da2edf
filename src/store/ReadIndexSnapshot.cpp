#include "store/ReadIndexSnapshot.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "support/Files.h"
#include "support/TLLog.h"

namespace tolvana::ReadIndexSnapshot {

namespace {

constexpr std::string_view kHeader = "tolvana read index 1\n";

std::string pathFor(const std::string& storePath) { return storePath + ".index"; }

}  // namespace

std::optional<TLReadIndex> load(const std::string& storePath, std::string_view fingerprint) {
  auto bytes = readWholeFile(pathFor(storePath));
  if (!bytes) return std::nullopt;
  std::string_view rest(*bytes);
  if (!rest.starts_with(kHeader)) return std::nullopt;
  rest.remove_prefix(kHeader.size());
  if (!rest.starts_with(fingerprint) || rest.substr(fingerprint.size(), 1) != "\n") return std::nullopt;
  rest.remove_prefix(fingerprint.size() + 1);
  return TLReadIndex::fromBytes(rest);
}

void save(const std::string& storePath, std::string_view fingerprint, const TLReadIndex& index) {
  std::string bytes;
  bytes.append(kHeader).append(fingerprint).append("\n");
  index.appendTo(bytes);
  std::string error;
  if (!replaceCacheFile(pathFor(storePath), bytes, &error)) logError("Could not save the store's index: %@", error);
}

void remove(const std::string& storePath) { std::remove(pathFor(storePath).c_str()); }

}  // namespace tolvana::ReadIndexSnapshot
