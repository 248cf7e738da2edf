// Small helpers over SQLite's C interface, shared by the store's read and write paths.
#pragma once

#include <sqlite3.h>

#include <optional>
#include <string>
#include <string_view>

namespace tolvana::sqlite {

// Opens a connection, logging a failure; null when there is none.
sqlite3* openConnection(const std::string& path, bool readOnly, int& status, bool oneThread = false);

// Every caller's buffer outlives the step that reads it, so SQLite need not copy it. An
// empty view may carry a null pointer, which SQLite would take for NULL; "" keeps it text.
inline void bindText(sqlite3_stmt* statement, int index, std::string_view text) {
  sqlite3_bind_text(statement, index, text.empty() ? "" : text.data(), static_cast<int>(text.size()),
                    SQLITE_STATIC);
}

inline void bindOptionalText(sqlite3_stmt* statement, int index, std::optional<std::string_view> text) {
  if (!text || text->empty()) {
    sqlite3_bind_null(statement, index);
  } else {
    bindText(statement, index, *text);
  }
}

// A NULL column reads as the empty string.
inline std::string columnText(sqlite3_stmt* statement, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  if (!text) return {};
  return std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
}

// A statement that is finalized when the read ends, whichever way it ends. The first
// failed result is left in status for the store to judge.
class ReadStatement {
 public:
  ReadStatement(sqlite3* database, const char* sql, int& status) : status_(status) {
    if (int result = sqlite3_prepare_v2(database, sql, -1, &statement_, nullptr); result != SQLITE_OK) {
      status_ = result;
      sqlite3_finalize(statement_);
      statement_ = nullptr;
    }
  }
  ~ReadStatement() { sqlite3_finalize(statement_); }
  ReadStatement(const ReadStatement&) = delete;
  ReadStatement& operator=(const ReadStatement&) = delete;

  explicit operator bool() const { return statement_ != nullptr; }
  sqlite3_stmt* get() const { return statement_; }
  bool stepRow() {
    int result = sqlite3_step(statement_);
    if (result != SQLITE_ROW && result != SQLITE_DONE) status_ = result;
    return result == SQLITE_ROW;
  }

 private:
  sqlite3_stmt* statement_ = nullptr;
  int& status_;
};

}  // namespace tolvana::sqlite
