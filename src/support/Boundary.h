// guarded: the one guard wherever C++ meets a host, a toolkit or a C library (the facade, the
// C interface, the toolkit hooks, the page bridge, queued tasks, libcurl's callbacks). Nothing
// thrown inside crosses it: the failure is logged, and the call gives its neutral result.
// Logging the failure cannot throw in turn, so a logger or sink that throws, or memory that
// runs out while the line is made, still cannot end the host.
//
//   return guarded("tolvana_set_language", 0, [&] { return Tolvana::setLanguage(language) ? 1 : 0; });
//   guarded("A queued task", [&] { task(); }, platformFailureLine);
//
// The neutral result is a value, or a function that makes it (called only on failure).
#pragma once

#include <exception>
#include <string_view>
#include <type_traits>
#include <utility>

namespace tolvana {

// Writes why a call failed: what failed (the guard's name) and, when the exception said it,
// its message. The default is the engine's logger: "<where> failed: <what>" at error level,
// or "<where> failed." without a message.
using FailureLog = void (*)(std::string_view where, const char* what);
void logFailure(std::string_view where, const char* what);

// Called inside a catch block: logs the exception in flight and swallows whatever the log
// itself throws.
void reportCurrentException(std::string_view where, FailureLog log) noexcept;

template <class Neutral, class Call>
auto guarded(std::string_view where, Neutral&& neutral, Call&& call, FailureLog log = logFailure) noexcept
    -> std::invoke_result_t<Call&> {
  using Result = std::invoke_result_t<Call&>;
  try {
    return call();
  } catch (...) {
    reportCurrentException(where, log);
  }
  // A neutral result that cannot be made either (memory ran out for a default text) ends in
  // std::terminate: there is nothing left to give the host.
  if constexpr (std::is_invocable_v<Neutral&>) {
    return static_cast<Result>(neutral());
  } else {
    return static_cast<Result>(std::forward<Neutral>(neutral));
  }
}

template <class Call>
void guarded(std::string_view where, Call&& call, FailureLog log = logFailure) noexcept {
  try {
    call();
  } catch (...) {
    reportCurrentException(where, log);
  }
}

}  // namespace tolvana
