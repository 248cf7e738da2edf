#include "tests/support/ArchiveBuilder.h"

#include <sqlite3.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "store/ArchiveWriter.h"

namespace tolvana::testing {

namespace {

constexpr std::size_t kBlock = 512;

std::string padded(std::string_view data) {
  std::string out(data);
  out.resize((data.size() + kBlock - 1) / kBlock * kBlock, '\0');
  return out;
}

void check(bool ok, const char* what) {
  if (!ok) throw std::runtime_error(what);
}

}  // namespace

std::string ArchiveBuilder::header(char type, std::string_view name, std::uint64_t size) {
  return ArchiveWriter::header(type, name, ArchiveWriter::octalSize(size));
}

ArchiveBuilder& ArchiveBuilder::member(char type, std::string_view name, std::string_view data) {
  bytes_ += header(type, name, data.size());
  bytes_ += padded(data);
  return *this;
}

ArchiveBuilder& ArchiveBuilder::file(std::string_view name, std::string_view data) { return member('0', name, data); }

ArchiveBuilder& ArchiveBuilder::gzipFile(std::string_view name, std::string_view data) {
  return member('0', name, gzip(data));
}

ArchiveBuilder& ArchiveBuilder::directory(std::string_view name) { return member('5', name); }

ArchiveBuilder& ArchiveBuilder::store(std::string_view appId, std::string_view language,
                                      const StoreContents& contents) {
  return gzipFile(std::string(appId) + "/" + std::string(language) + ".sqlite.gz", sqliteStore(contents));
}

ArchiveBuilder& ArchiveBuilder::memberWithSizeField(char type, std::string_view name, std::string_view sizeField,
                                                    std::string_view data) {
  bytes_ += ArchiveWriter::header(type, name, sizeField);
  bytes_ += data;
  return *this;
}

ArchiveBuilder& ArchiveBuilder::endBlocks(int count) {
  bytes_.append(static_cast<std::size_t>(count) * kBlock, '\0');
  return *this;
}

void ArchiveBuilder::writeTo(const std::string& path, std::optional<std::size_t> truncateTo) const {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes_.data(), static_cast<std::streamsize>(std::min(bytes_.size(), truncateTo.value_or(bytes_.size()))));
  check(static_cast<bool>(out), "cannot write the archive");
}

std::string gzip(std::string_view data) {
  auto compressed = gzipCompress(data, 1);
  check(compressed.has_value(), "gzip");
  return *compressed;
}

std::string sqliteStore(const StoreContents& contents) {
  sqlite3* raw = nullptr;
  check(sqlite3_open(":memory:", &raw) == SQLITE_OK, "sqlite3_open");
  std::unique_ptr<sqlite3, decltype(&sqlite3_close)> db(raw, sqlite3_close);
  check(sqlite3_exec(db.get(),
                     "CREATE TABLE entries (key TEXT PRIMARY KEY, value TEXT, draft TEXT);"
                     "CREATE TABLE groups (name TEXT PRIMARY KEY, version INTEGER);",
                     nullptr, nullptr, nullptr) == SQLITE_OK,
        "create tables");
  auto bindOrNull = [](sqlite3_stmt* s, int i, const std::string& text) {
    if (text.empty()) {
      sqlite3_bind_null(s, i);
    } else {
      sqlite3_bind_text(s, i, text.c_str(), -1, SQLITE_TRANSIENT);
    }
  };
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(db.get(), "INSERT INTO entries VALUES (?, ?, ?)", -1, &insert, nullptr);
  for (const auto& entry : contents.entries) {
    sqlite3_bind_text(insert, 1, entry.key.c_str(), -1, SQLITE_TRANSIENT);
    bindOrNull(insert, 2, entry.value);
    bindOrNull(insert, 3, entry.draft);
    check(sqlite3_step(insert) == SQLITE_DONE, "insert entry");
    sqlite3_reset(insert);
  }
  sqlite3_finalize(insert);
  sqlite3_prepare_v2(db.get(), "INSERT INTO groups VALUES (?, ?)", -1, &insert, nullptr);
  for (const auto& [name, version] : contents.groups) {
    sqlite3_bind_text(insert, 1, name.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_int64(insert, 2, version);
    check(sqlite3_step(insert) == SQLITE_DONE, "insert group");
    sqlite3_reset(insert);
  }
  sqlite3_finalize(insert);
  sqlite3_int64 size = 0;
  unsigned char* image = sqlite3_serialize(db.get(), "main", &size, 0);
  check(image != nullptr, "sqlite3_serialize");
  std::string bytes(reinterpret_cast<const char*>(image), static_cast<std::size_t>(size));
  sqlite3_free(image);
  return bytes;
}

}  // namespace tolvana::testing
