// ArchiveBuilder: real tar files for tests of the settings archive, member by member.
//
// Besides well-formed members (plain, gzip-compressed, directories, prepared SQLite stores)
// it writes the odd ones an unpacker must survive: any type flag, raw size fields that
// disagree with the data, names that climb out of the destination, and archives cut short.
//
//   ArchiveBuilder archive;
//   archive.directory("app/").file("app.tolvana", R"({"_id":"app"})")
//          .store("app", "de", {.entries = {{"hello", "Hallo", ""}}}).endBlocks();
//   archive.writeTo(dir / "settings.tolvana");
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "store/TLLanguageEntry.h"

namespace tolvana::testing {

// What a prepared store holds; an empty value or draft is stored as NULL.
struct StoreContents {
  std::vector<TLLanguageEntry> entries;
  std::vector<std::pair<std::string, std::int64_t>> groups;
};

class ArchiveBuilder {
 public:
  ArchiveBuilder& file(std::string_view name, std::string_view data);
  // A member named name whose data is data gzip-compressed.
  ArchiveBuilder& gzipFile(std::string_view name, std::string_view data);
  ArchiveBuilder& directory(std::string_view name);
  // A prepared store, added as "<appId>/<language>.sqlite.gz".
  ArchiveBuilder& store(std::string_view appId, std::string_view language, const StoreContents& contents);
  // Any type flag ('1' link, '2' symlink, 'x', 'L', ...), with data padded to whole blocks.
  ArchiveBuilder& member(char type, std::string_view name, std::string_view data = {});
  // A header whose size field is the given text, followed by data as it is (not padded).
  ArchiveBuilder& memberWithSizeField(char type, std::string_view name, std::string_view sizeField,
                                      std::string_view data = {});
  ArchiveBuilder& endBlocks(int count = 2);

  const std::string& bytes() const { return bytes_; }
  // Writes the archive, cut to its first truncateTo bytes when given.
  void writeTo(const std::string& path, std::optional<std::size_t> truncateTo = std::nullopt) const;

  // One 512-byte header, for embedding inside other members' data.
  static std::string header(char type, std::string_view name, std::uint64_t size);

 private:
  std::string bytes_;
};

std::string gzip(std::string_view data);
// The bytes of an SQLite file with the store's two tables and the contents.
std::string sqliteStore(const StoreContents& contents);

}  // namespace tolvana::testing
