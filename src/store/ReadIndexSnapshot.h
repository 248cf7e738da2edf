// ReadIndexSnapshot: a store's read index kept in a file beside the store, so that a start
// answers its first look-up without reading every row through SQLite again.
//
// The file names the version of the store it was taken from (its StoreFingerprint); one taken
// from another version (any commit since), or damaged, is ignored, and the index is read from
// the store and saved again. It is a cache and nothing more: written without waiting for the
// disk, trusted no further than its structure (TLReadIndex::fromBytes), removed with its
// store. Its name, "<store>.index", is no
// store's, so listings of the stores pass it by.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "store/TLReadIndex.h"

namespace tolvana::ReadIndexSnapshot {

// Nullopt when there is none, or none of this version of the store.
std::optional<TLReadIndex> load(const std::string& storePath, std::string_view fingerprint);
// A failure is logged and otherwise harmless: the next start reads the store.
void save(const std::string& storePath, std::string_view fingerprint, const TLReadIndex& index);
void remove(const std::string& storePath);

}  // namespace tolvana::ReadIndexSnapshot
