#include "support/Boundary.h"

#include "support/TLLog.h"

namespace tolvana {

void logFailure(std::string_view where, const char* what) {
  if (what) {
    logError("%@ failed: %@", where, std::string_view(what));
  } else {
    logError("%@ failed.", where);
  }
}

void reportCurrentException(std::string_view where, FailureLog log) noexcept {
  try {
    try {
      throw;
    } catch (const std::exception& error) {
      log(where, error.what());
    } catch (...) {
      log(where, nullptr);
    }
  } catch (...) {
    // The log line could not be written; the failure stays unreported rather than escape.
  }
}

}  // namespace tolvana
