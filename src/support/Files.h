// Whole-file reads and crash-safe replacement of files.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tolvana {

// The file's bytes; nullopt with "<path>: <reason>" in error when it cannot be read.
std::optional<std::string> readWholeFile(const std::string& path, std::string* error = nullptr);

// Writes all of data to fd, retrying interrupted and partial writes.
bool writeAll(int fd, std::span<const char> data);

// Replaces path with bytes so that a reader, or the file after a crash, holds either the old
// contents or the new ones, never a mix: a temporary file beside it, flushed to disk, renamed
// over it. Missing parent directories are created; the mode of a replaced file is kept, a new
// one gets 0644. On failure the old file is untouched and error says why.
bool replaceFileAtomically(const std::string& path, std::string_view bytes, std::string* error = nullptr);

// The same replacement without waiting for the disk, for a cache that can be rebuilt: after a
// crash the file may be empty or short, but never a mix of two versions.
bool replaceCacheFile(const std::string& path, std::string_view bytes, std::string* error = nullptr);

// The new version of a file, written piece by piece into a temporary file in the same folder
// and renamed over the path once complete. Until commit() the path holds what it held before
// (or nothing); a symbolic link at the path is replaced, never written through. Destroyed
// without a commit, it leaves nothing behind. Leftovers of writers that died more than a
// minute ago are removed when the next one opens.
//
//   ReplacementFile out(path);
//   if (!out.open(&error) || !writeAll(out.fd(), bytes) || !out.commit(true, &error)) fail();
class ReplacementFile {
 public:
  explicit ReplacementFile(std::string path);
  ~ReplacementFile();
  ReplacementFile(const ReplacementFile&) = delete;
  ReplacementFile& operator=(const ReplacementFile&) = delete;

  // Makes the temporary file (and missing parent directories); false with the reason in error.
  bool open(std::string* error = nullptr);
  int fd() const { return fd_; }
  // Closes the file, flushed to disk first when flush is set, and renames it over the path.
  // False when any step failed; the path is then untouched and errno says why.
  bool commit(bool flush, std::string* error = nullptr);

 private:
  void discard();

  std::string path_;
  std::string temporary_;
  int fd_ = -1;
};

// Creates base/relative one folder at a time. A symbolic link on the way is removed and a
// folder made in its place, so that nothing below base is reached through a link planted
// there; base itself is taken as it is. False with the reason in error when a folder could not
// be made.
bool makeDirectoriesBelow(const std::string& base, std::string_view relative, std::string* error = nullptr);

// True when path is a regular file itself, not a link to one.
bool isPlainFile(const std::string& path);

}  // namespace tolvana
