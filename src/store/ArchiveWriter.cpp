#include "store/ArchiveWriter.h"

#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "store/TLArchive.h"
#include "support/Files.h"

namespace tolvana {

namespace {

void put(std::string& block, std::size_t offset, std::string_view field, std::size_t width) {
  block.replace(offset, std::min(field.size(), width), field.substr(0, width));
}

std::string octal(std::uint64_t value, int digits) {
  char text[32];
  std::snprintf(text, sizeof text, "%0*llo", digits, static_cast<unsigned long long>(value));
  return text;
}

void fail(std::string* error, std::string reason) {
  if (error) *error = std::move(reason);
}

}  // namespace

std::string ArchiveWriter::header(char type, std::string_view name, std::string_view sizeField) {
  std::string block(TLArchive::kBlockSize, '\0');
  put(block, 0, name, kMaxNameLength);
  put(block, 100, "0000644", 8);
  put(block, 108, "0000000", 8);
  put(block, 116, "0000000", 8);
  put(block, 124, sizeField, 12);
  put(block, 136, "00000000000", 12);
  block[156] = type;
  put(block, 257, std::string_view("ustar\0" "00", 8), 8);
  // The checksum is summed with its own field read as blanks.
  put(block, 148, "        ", 8);
  unsigned sum = 0;
  for (unsigned char c : block) sum += c;
  put(block, 148, octal(sum, 6), 6);
  block[154] = '\0';
  return block;
}

std::string ArchiveWriter::octalSize(std::uint64_t size) { return octal(size, 11); }

bool ArchiveWriter::add(char type, std::string_view name, std::string_view data, std::string* error) {
  if (name.empty() || name.size() > kMaxNameLength) {
    fail(error, "member name '" + std::string(name) + "' must have 1 to 100 bytes");
    return false;
  }
  if (name.front() == '/' || std::filesystem::path(name).lexically_normal().string().starts_with("..")) {
    fail(error, "member name '" + std::string(name) + "' leaves the archive's directory");
    return false;
  }
  bytes_ += header(type, name, octalSize(data.size()));
  bytes_ += data;
  bytes_.resize((bytes_.size() + TLArchive::kBlockSize - 1) / TLArchive::kBlockSize * TLArchive::kBlockSize, '\0');
  return true;
}

bool ArchiveWriter::addFile(std::string_view name, std::string_view data, std::string* error) {
  return add('0', name, data, error);
}

bool ArchiveWriter::addCompressed(std::string_view name, std::string_view data, std::string* error) {
  if (!name.ends_with(".gz")) {
    fail(error, "compressed member '" + std::string(name) + "' must end in .gz");
    return false;
  }
  auto compressed = gzipCompress(data);
  if (!compressed) {
    fail(error, "could not compress '" + std::string(name) + "'");
    return false;
  }
  return add('0', name, *compressed, error);
}

bool ArchiveWriter::addDirectory(std::string_view name, std::string* error) {
  std::string withSlash(name);
  if (!withSlash.ends_with('/')) withSlash += '/';
  return add('5', withSlash, {}, error);
}

std::string ArchiveWriter::finishedBytes() const { return bytes_ + std::string(2 * TLArchive::kBlockSize, '\0'); }

bool ArchiveWriter::writeTo(const std::string& path, std::string* error) const {
  return replaceFileAtomically(path, finishedBytes(), error);
}

std::optional<std::string> gzipCompress(std::string_view data, int level) {
  if (data.size() > 0xffffffffu) return std::nullopt;
  z_stream stream{};
  if (deflateInit2(&stream, level, Z_DEFLATED, 31, 8, Z_DEFAULT_STRATEGY) != Z_OK) return std::nullopt;
  std::string out(deflateBound(&stream, static_cast<uLong>(data.size())) + 32, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
  stream.avail_in = static_cast<uInt>(data.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  int result = deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  if (result != Z_STREAM_END) return std::nullopt;
  return out;
}

}  // namespace tolvana
