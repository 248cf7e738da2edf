// LiveChanges: which groups of a project were edited or published lately, for the apps in
// draft mode that wait to hear of them (the live preview). Edits and publications note what
// they touched; a waiting request wakes and is told every change noted after the cursor it
// brought. It is told names only: the app fetches the texts through its signed update.
//
// Each waiting request holds a request thread, so at most maxListeners wait at once; the
// others are turned away and come back later, and the rest of the pool stays free for
// answers. close() wakes every waiter and turns later ones away at once, so that the
// server's stop does not wait for a held request to time out.
//
// Thread contract: every method from any thread, at once.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tolvana::server {

class LiveChanges {
 public:
  struct Change {
    std::string language;
    std::string group;
    bool operator==(const Change&) const = default;
  };
  struct Heard {
    std::string cursor;            // to bring to the next wait
    std::vector<Change> changes{};  // without repeats
    // The cursor came from another run of the server, or changes after it were dropped:
    // everything may have changed.
    bool resync = false;
  };

  explicit LiveChanges(int maxListeners);

  void note(const std::string& project, const std::vector<Change>& changes);
  // What changed in the project after cursor, as soon as something did, or nothing once
  // longest has passed; an empty cursor is answered at once with the current one. nullopt
  // when maxListeners are waiting already.
  std::optional<Heard> wait(const std::string& project, const std::string& cursor, std::chrono::milliseconds longest);
  void close();

 private:
  struct Noted {
    std::uint64_t sequence;
    std::string project;
    Change change;
  };
  // What was noted for the project after sequence; false when that cannot be told.
  bool collect(const std::string& project, std::uint64_t after, std::vector<Change>& out) const;
  std::string cursorNow() const;

  const int maxListeners_;
  const std::string run_;  // tells one run of the server from another in a cursor
  std::mutex mutex_;
  std::condition_variable noted_;
  std::deque<Noted> recent_;  // the last kKept changes, oldest first
  std::uint64_t sequence_ = 0;
  int listeners_ = 0;
  bool closed_ = false;
};

}  // namespace tolvana::server
