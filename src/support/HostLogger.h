// HostLogger: the host's own logger in place of the log sink. A host with a logging system of
// its own (a language runtime, a game engine, a service's journal) takes each line with its
// level and tag, rather than as text on standard error that it would have to parse back.
//
// Thread contract: as HostCallback's (support/HostCallback.h): set() returns once no other
// thread is inside the logger it replaced, and a line logged from inside the host's logger
// goes to the sink instead of re-entering it.
#pragma once

#include <functional>
#include <string_view>

namespace tolvana {

class HostLogger {
 public:
  using Function = std::function<void(int level, std::string_view tag, std::string_view text)>;

  // An empty function hands the lines back to the sink.
  static void set(Function function);
  // Gives the line to the host's logger; false when there is none and the caller writes it.
  static bool write(int level, std::string_view tag, std::string_view text) noexcept;
};

}  // namespace tolvana
