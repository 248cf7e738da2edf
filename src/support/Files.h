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

}  // namespace tolvana
