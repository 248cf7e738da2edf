// The file layer SQLite opens the stores through.
#pragma once

namespace tolvana::sqlite {

// The name to pass to sqlite3_open_v2: SQLite's unix layer, except that a clean absolute
// path is taken as it is given. Null, SQLite's default, where there is no unix layer.
const char* storeVfsName();

}  // namespace tolvana::sqlite
