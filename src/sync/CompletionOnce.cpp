#include "sync/CompletionOnce.h"

#include <atomic>
#include <memory>

#include "support/Boundary.h"

namespace tolvana {

namespace {

// Shared by every copy of the completion; the last copy to go settles an outcome not yet given.
class Outcome {
 public:
  explicit Outcome(std::function<void(bool)> outcome) : outcome_(std::move(outcome)) {}
  Outcome(const Outcome&) = delete;
  Outcome& operator=(const Outcome&) = delete;
  ~Outcome() { settle(false); }

  void settle(bool success) noexcept {
    if (given_.exchange(true)) return;
    guarded("An update's outcome", [&] { outcome_(success); });
  }

 private:
  std::function<void(bool)> outcome_;
  std::atomic<bool> given_{false};
};

}  // namespace

std::function<void(bool)> completionOnce(std::function<void(bool)> outcome) {
  auto shared = std::make_shared<Outcome>(std::move(outcome));
  return [shared](bool success) { shared->settle(success); };
}

}  // namespace tolvana
