// ReadEpoch: lets the look-up path read objects that other threads replace, without a lock and
// without a reference count. A reader marks the span of its reads with a Section; a writer that
// has unlinked an object hands it to retire(), and the object is destroyed only once every
// section that may have seen it has ended (epoch-based reclamation).
//
//   {
//     ReadEpoch::Section section;
//     const Languages* now = current.load();  // valid until the section ends
//     ...
//   }
//   Languages* old = current.exchange(next);
//   ReadEpoch::retire([old] { delete old; });
//
// Readers load what they protect with sequentially consistent loads (plain loads on x86), and
// writers unlink with sequentially consistent stores or exchanges: a section that begins after
// an object was unlinked can then no longer reach it. A section reads the epoch with acquire:
// one that sees the epoch a writer moved on then also sees what the writer unlinked before,
// which the language does not promise for a relaxed read.
//
// Thread contract: any thread. Sections nest and stay on their thread. retire() never blocks:
// it destroys at once what no section can still see, on the calling thread, and keeps the rest
// until a later retire() or synchronize() finds it free. synchronize() blocks until every
// section that began before it has ended; inside a section it would wait for itself, so it
// returns false at once instead.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

namespace tolvana {

class ReadEpoch {
 public:
  // What one thread shows the writers: the epoch its outermost section began in, 0 outside.
  struct Slot {
    std::atomic<std::uint64_t> epoch{0};
    int depth = 0;
  };

  class Section {
   public:
    Section() {
      Slot* slot = threadSlot;
      if (!slot) slot = registerThread();
      slot_ = slot;
      if (slot->depth++ == 0) slot->epoch.store(current.load(std::memory_order_acquire));
    }
    ~Section() {
      if (--slot_->depth == 0) slot_->epoch.store(0, std::memory_order_release);
    }
    Section(const Section&) = delete;
    Section& operator=(const Section&) = delete;

   private:
    Slot* slot_;
  };

  static void retire(std::function<void()> destroy);
  static bool synchronize();
  static bool insideSection() { return threadSlot && threadSlot->depth > 0; }

 private:
  static Slot* registerThread();
  static std::atomic<std::uint64_t> current;
  // Constant-initialised, so that a section reaches it without a call.
  static constinit thread_local Slot* threadSlot;
};

}  // namespace tolvana
