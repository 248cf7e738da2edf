// ProjectDirectory: a project as a folder of JSON files, the form projects had before they
// lived in a database, and a form for keeping one in version control:
//
//   project.json                      {"appId", "apiSecret", "baseLanguage", "version",
//                                      "collectMissingEnabled", "draftModeEnabled", "screenTags",
//                                      "languages", "enterpriseHost"}
//   translations/<lang>/<group>.json  {"version": N, "entries": {key: {"v": text, "d": draft}}}
//
// Import makes the database's copy of each group what its file holds; a group whose texts
// changed gets a version above the one stored, so apps that hold it fetch it again. A group
// file without a "version" is as new as its last save. Export writes the same layout back.
#pragma once

#include <string>

#include "storage/Storage.h"

namespace tolvana::server {

// Creates the project or updates its settings, then imports every group file; the project's
// id. Throws std::runtime_error naming the file at fault, or StorageError.
std::string importProjectDirectory(Storage& storage, const std::string& directory);
// Writes project.json and every group of the project into directory (created when missing).
void exportProjectDirectory(Storage& storage, const std::string& projectId, const std::string& directory);

}  // namespace tolvana::server
