// Migrations: the database's schema, as numbered steps applied in order at start. A database
// remembers the steps it has taken (schema_migrations), so a server of a newer release
// brings an older database up to date, and one of an older release refuses a newer
// database instead of misreading it.
//
// A step is never edited once released; a change of the schema is a new step.
#pragma once

#include "storage/SqlDatabase.h"

namespace tolvana::server {

// Applies the steps the database lacks, each in a transaction of its own, while holding off
// other server processes that start at the same moment. Throws StorageError when a step
// fails or the database is newer than this server.
void migrate(SqlDatabase& database);

// The number of the last step this server knows.
int latestSchemaVersion();

}  // namespace tolvana::server
