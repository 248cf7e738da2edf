// ChangeCounter: a number in a small file shared by every process that uses one SQLite
// database, raised after each write transaction commits. A reader that remembers the number
// it saw before it last read the database knows from one load of shared memory, without a
// system call, that no process has written since. SQLite keeps such a counter of its own in
// its -shm file, but not where a program may read it.
//
// A process that dies between its commit and the raise leaves its write unannounced; readers
// therefore ask the database itself now and then as well.
#pragma once

#include <cstdint>
#include <string>

namespace tolvana::server {

class ChangeCounter {
 public:
  // Creates the file when missing; throws StorageError when it cannot be mapped.
  explicit ChangeCounter(const std::string& path);
  ~ChangeCounter();
  ChangeCounter(const ChangeCounter&) = delete;
  ChangeCounter& operator=(const ChangeCounter&) = delete;

  void raise();
  std::uint64_t value() const;

 private:
  int fd_ = -1;
  std::uint64_t* word_ = nullptr;  // in a shared mapping; touched only through atomic_ref
};

}  // namespace tolvana::server
