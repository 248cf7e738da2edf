#include "store/TLArchive.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

#include "config/TLDeviceUtil.h"
#include "store/TLDatabase.h"
#include "support/Files.h"
#include "support/TLLog.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace fs = std::filesystem;

namespace {

using Block = std::array<char, TLArchive::kBlockSize>;

constexpr std::size_t kNameOffset = 0;
constexpr std::size_t kNameLength = 100;
constexpr std::size_t kSizeOffset = 124;
constexpr std::size_t kSizeLength = 12;
constexpr std::size_t kTypeOffset = 156;
constexpr std::string_view kGzipSuffix = TLArchive::kGzipSuffix;

constexpr const char* kOutOfSpaceMessage =
    "Device memory is too low to extract the latest translations. Please free up some space by deleting some "
    "apps, music or images and restart the app for the best app experience.";

signed char headerType(const Block& header) { return static_cast<signed char>(header[kTypeOffset]); }

std::string headerName(const Block& header) {
  const char* begin = header.data() + kNameOffset;
  const void* nul = std::memchr(begin, '\0', kNameLength);
  return std::string(begin, nul ? static_cast<const char*>(nul) - begin : kNameLength);
}

// Octal digits, NUL- or blank-terminated; leading blanks are how old writers padded it.
std::optional<std::uint64_t> headerSize(const Block& header) {
  std::size_t i = kSizeOffset;
  const std::size_t end = kSizeOffset + kSizeLength;
  while (i < end && header[i] == ' ') ++i;
  std::uint64_t size = 0;
  for (; i < end && header[i] != '\0' && header[i] != ' '; ++i) {
    if (header[i] < '0' || header[i] > '7') return std::nullopt;
    size = size * 8 + static_cast<std::uint64_t>(header[i] - '0');
  }
  return size;
}

std::optional<Block> readHeader(int fd, std::uint64_t offset) {
  Block header;
  if (!TLArchive::dataForFile(fd, offset, header)) return std::nullopt;
  return header;
}

std::string withoutLeadingDotSlash(std::string name) {
  if (name.starts_with("./")) name.erase(0, 2);
  return name;
}

std::string withoutGzipSuffix(std::string_view path) {
  return std::string(path.ends_with(kGzipSuffix) ? path.substr(0, path.size() - kGzipSuffix.size()) : path);
}

// The archive comes from the app bundle, but a name that climbs out of the data directory
// must not be able to overwrite anything else the app owns.
bool staysInsideDestination(std::string_view name) {
  if (name.starts_with('/')) return false;
  std::size_t start = 0;
  while (start <= name.size()) {
    std::size_t slash = name.find('/', start);
    if (slash == std::string_view::npos) slash = name.size();
    if (name.substr(start, slash - start) == "..") return false;
    start = slash + 1;
  }
  return true;
}

// "<appId>/de.sqlite.gz" → "de".
std::string languageOfMember(std::string_view name) {
  std::size_t slash = name.find('/');
  if (slash == std::string_view::npos) return {};
  std::string_view component = name.substr(slash + 1);
  component = component.substr(0, component.find('/'));
  return std::string(component.substr(0, component.find('.')));
}

std::string describe(std::string_view what, std::string_view path, int error) {
  return std::string(what) + " " + std::string(path) + ": " + std::strerror(error);
}

bool writeEmptyFileAtomically(const std::string& path, std::string* error) {
  std::error_code ec;
  if (isPlainFile(path) && fs::file_size(path, ec) == 0 && !ec) return true;
  ReplacementFile file(path);
  std::string reason;
  if (!file.open(&reason) || !file.commit(false, &reason)) {
    *error = "Could not create file " + reason;
    return false;
  }
  return true;
}

// A store that is half unpacked is worse than none: the engine would serve it as complete.
// Wiping makes the next start unpack from scratch once there is room again. Only the folder
// being unpacked goes: other apps' folders sit beside it.
void reportOutOfSpace(const std::string& destination) {
  logError("Error 103a - Settingsfile could not be successfully unpacked, no memory left");
  TLArchive::wipeUnzippedSettingsfile(destination);
  if (TLDeviceUtil::isAppExtension()) return;
  Platform& platform = Platform::Current();
  auto ui = platform.ports().ui;
  platform.dispatch().mainAsync([ui] {
    ui->presentAlert(Alert{"Not enough space", kOutOfSpaceMessage, {}, {AlertAction{"OK", {}}}});
  });
}

// What a member found to be a deleted language's store does: the unpacked store goes, and
// the member is not written.
void removeDeletedLanguageStore(const std::string& language, const std::string& unpackedPath) {
  std::error_code ec;
  if (!fs::exists(fs::symlink_status(unpackedPath, ec))) return;
  if (fs::remove(unpackedPath, ec)) {
    logVerbose("File lang %@ is marked for  deletion, removing it now", language);
  } else {
    Platform::Current().logSink().writeLine(format("Error removing file at path: %@", ec.message()));
  }
}

// Only a store that is a file of its own counts as there: a link planted in its place is
// replaced by the archive's member, not kept and not written through.
bool storeIsThere(const std::string& path) {
  if (isPlainFile(path)) return true;
  std::error_code ec;
  if (fs::is_symlink(fs::symlink_status(path, ec))) logError("Store %@ is a link; the archive's store replaces it", path);
  return false;
}

bool skipsMember(const std::string& name, const std::string& target, bool skipExisting) {
  if (!skipExisting || name.find('/') == std::string::npos) return name.starts_with('.');
  const bool compressed = name.ends_with(kGzipSuffix);
  bool skip = storeIsThere(target) || (compressed && storeIsThere(withoutGzipSuffix(target)));
  if (compressed) {
    std::string language = languageOfMember(name);
    if (TLDatabase::isLanguageDeleted(language)) {
      removeDeletedLanguageStore(language, withoutGzipSuffix(target));
      skip = true;
    }
  }
  return skip;
}

bool unpackDirectory(std::string name, const std::string& destination, std::string* error) {
  if (name == "./" || name == ".") return true;
  name = withoutLeadingDotSlash(std::move(name));
  if (!staysInsideDestination(name)) {
    logError("Archive member outside destination: %@", name);
    return false;
  }
  std::string reason;
  if (!makeDirectoriesBelow(destination, name, &reason)) {
    *error = "Could not create directory " + reason;
    return false;
  }
  return true;
}

// Unpacks the member whose header is at offset and returns how many blocks it spans, or
// nullopt when the unpacking must stop.
std::optional<std::uint64_t> unpackFile(const Block& header, int fd, std::uint64_t offset, std::uint64_t size,
                                        const std::string& destination, std::string* error, bool skipExisting) {
  std::string name = withoutLeadingDotSlash(headerName(header));
  auto memberSize = headerSize(header);
  if (!memberSize) {
    logError("Archive invalid size field for %@", name);
    return std::nullopt;
  }
  if (*memberSize > size - offset - TLArchive::kBlockSize) {
    logError("Archive truncated: member %@ runs past the end", name);
    return std::nullopt;
  }
  if (headerType(header) != '0') {
    logError("Archive unsupported block");
    // Header plus whole data blocks only: one short when the size is no multiple of 512.
    // Archives packed for this reader rely on exactly this advance; the archive tests pin
    // it for every type flag.
    return 1 + *memberSize / TLArchive::kBlockSize;
  }
  if (!staysInsideDestination(name)) {
    logError("Archive member outside destination: %@", name);
    return std::nullopt;
  }
  std::string target = destination + "/" + name;
  if (*memberSize == 0) {
    logError("Archive empty_file - %@", target);
    // A failure here only fails the unpacking at the next member that has data.
    writeEmptyFileAtomically(target, error);
    return 1;
  }
  if (!error->empty()) return std::nullopt;
  bool outOfSpace = false;
  if (!skipsMember(name, target, skipExisting) &&
      !(makeDirectoriesBelow(destination, fs::path(name).parent_path().string(), error) &&
        TLArchive::writeFileDataForFile(fd, offset + TLArchive::kBlockSize, *memberSize, target, error, &outOfSpace))) {
    if (outOfSpace) reportOutOfSpace(destination);
    return std::nullopt;
  }
  return 2 + (*memberSize - 1) / TLArchive::kBlockSize;
}

}  // namespace

std::optional<signed char> TLArchive::typeForFile(int fd, std::uint64_t offset) {
  auto header = readHeader(fd, offset);
  if (!header) return std::nullopt;
  return headerType(*header);
}

std::optional<std::string> TLArchive::nameForFile(int fd, std::uint64_t offset) {
  auto header = readHeader(fd, offset);
  if (!header) return std::nullopt;
  return headerName(*header);
}

std::optional<std::uint64_t> TLArchive::sizeForFile(int fd, std::uint64_t offset) {
  auto header = readHeader(fd, offset);
  if (!header) return std::nullopt;
  return headerSize(*header);
}

bool TLArchive::dataForFile(int fd, std::uint64_t location, std::span<char> buffer) {
  while (!buffer.empty()) {
    ssize_t got = ::pread(fd, buffer.data(), buffer.size(), static_cast<off_t>(location));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    buffer = buffer.subspan(static_cast<std::size_t>(got));
    location += static_cast<std::uint64_t>(got);
  }
  return true;
}

bool TLArchive::createFilesAndDirectoriesAtPath(const std::string& destination, const std::string& tarPath,
                                                bool skipExistingDirectories) {
  std::error_code ec;
  if (!fs::exists(tarPath, ec)) {
    logError("File does not exist. %@", tarPath);
    return false;
  }
  std::uint64_t size = fs::file_size(tarPath, ec);
  if (ec) {
    logError("Archive Error: %@", ec.message());
    return false;
  }
  int fd = ::open(tarPath.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    logError("Archive Error: %@", describe("Could not open", tarPath, errno));
    return false;
  }
  std::string error;
  bool ok = createFilesAndDirectoriesAtPath(destination, fd, size, &error, skipExistingDirectories);
  ::close(fd);
  if (!error.empty()) logError("Archive Error: %@", error);
  return ok;
}

bool TLArchive::createFilesAndDirectoriesAtPath(const std::string& destination, int fd, std::uint64_t size,
                                                std::string* error, bool skipExistingDirectories) {
  std::string unreported;
  if (!error) error = &unreported;
  std::error_code ec;
  fs::create_directories(destination, ec);
  if (ec) {
    *error = describe("Could not create directory", destination, ec.value());
    return false;
  }
  std::uint64_t offset = 0;
  while (offset < size) {
    // Past this point every advance is at least one block, so the walk always ends.
    auto header = size - offset >= kBlockSize ? readHeader(fd, offset) : std::nullopt;
    if (!header) {
      logError("Archive truncated: no complete header at offset %llu", offset);
      return false;
    }
    const signed char type = headerType(*header);
    std::uint64_t blocks = 1;
    switch (type) {
      case '\0':
        break;
      case 'x':
        blocks = 2;
        break;
      case '5':
        if (!unpackDirectory(headerName(*header), destination, error)) return false;
        break;
      case '0':
      case '1':
      case '2':
      case '3':
      case '4':
      case '6':
      case '7':
      case 'g': {
        auto advance = unpackFile(*header, fd, offset, size, destination, error, skipExistingDirectories);
        if (!advance) return false;
        blocks = *advance;
        break;
      }
      default:
        logError("Archive invalid block type %c", static_cast<char>(type));
        return false;
    }
    offset += blocks * kBlockSize;
  }
  return true;
}

void TLArchive::wipeUnzippedSettingsfile(const std::string& directory) {
  // List first, then remove: removing while reading a directory may skip entries.
  std::vector<fs::path> entries;
  std::error_code ec;
  for (fs::directory_iterator it(directory, ec), end; !ec && it != end; it.increment(ec)) {
    entries.push_back(it->path());
  }
  for (const auto& entry : entries) {
    std::error_code ignored;
    fs::remove_all(entry, ignored);
  }
}

}  // namespace tolvana
