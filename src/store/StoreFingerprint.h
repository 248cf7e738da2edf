// StoreFingerprint: one version of a store file, as text. What stat tells (FileSignature)
// plus SQLite's change counter, which every commit moves on: a write in the same clock tick as
// the last one, leaving the size, changes no time stamp.
#pragma once

#include <string>

#include "support/FileSignature.h"

namespace tolvana {

// "absent" when there is no file. signature: the file's, taken by the caller (so that it
// can keep it too).
std::string storeFingerprint(const std::string& storePath, const FileSignature& signature);

}  // namespace tolvana
