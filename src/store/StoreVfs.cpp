#include "store/StoreVfs.h"

#include <sqlite3.h>

#include <cstring>
#include <string_view>

namespace tolvana::sqlite {
namespace {

// SQLite's unix layer resolves every component of a path with an lstat of its own, on every
// open, and the default mode opens a store for each group an update writes: a sixth of the
// open's cost. The stores' paths are built from the data directory, absolute and clean.
// Taken as given, a store file that is itself a symlink is opened by its own name, which
// SQLite does with O_NOFOLLOW, and so refused instead of followed to wherever it points.
bool isCleanAbsolute(std::string_view path) {
  if (!path.starts_with('/')) return false;
  for (std::string_view step : {"//", "/./", "/../"}) {
    if (path.find(step) != std::string_view::npos) return false;
  }
  return !path.ends_with("/.") && !path.ends_with("/..");
}

sqlite3_vfs* unixVfs = nullptr;

int fullPathname(sqlite3_vfs*, const char* name, int size, char* out) {
  const std::string_view path(name);
  if (isCleanAbsolute(path) && path.size() < static_cast<std::size_t>(size)) {
    std::memcpy(out, name, path.size() + 1);
    return SQLITE_OK;
  }
  return unixVfs->xFullPathname(unixVfs, name, size, out);
}

}  // namespace

const char* storeVfsName() {
  static const char* const name = []() -> const char* {
    unixVfs = sqlite3_vfs_find("unix");
    if (!unixVfs) return nullptr;
    // A copy keeps the unix layer's own data and methods; only the path step differs.
    static sqlite3_vfs vfs = *unixVfs;
    vfs.zName = "tolvana-store";
    vfs.pNext = nullptr;
    vfs.xFullPathname = fullPathname;
    return sqlite3_vfs_register(&vfs, 0) == SQLITE_OK ? vfs.zName : nullptr;
  }();
  return name;
}

}  // namespace tolvana::sqlite
