#include <filesystem>

#include "storage/PostgresDatabase.h"
#include "storage/SqlStorage.h"
#include "storage/SqliteDatabase.h"
#include "storage/StorageError.h"

namespace tolvana::server {

std::unique_ptr<Storage> openStorage(const StorageLocation& location) {
  if (!location.databaseUrl.empty()) {
    return std::make_unique<SqlStorage>(std::make_unique<PostgresDatabase>(location.databaseUrl, location.connections));
  }
  std::error_code error;
  std::filesystem::create_directories(location.dataDirectory, error);
  if (error) {
    throw StorageError(StorageError::Kind::failed,
                       "cannot create the data directory " + location.dataDirectory + ": " + error.message());
  }
  auto file = (std::filesystem::path(location.dataDirectory) / "tolvana-server.sqlite").string();
  return std::make_unique<SqlStorage>(std::make_unique<SqliteDatabase>(file, location.connections));
}

}  // namespace tolvana::server
