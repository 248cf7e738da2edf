// An Http that forwards to another one and breaks the exchanges a test tells it to: refuse
// without sending, delay, never answer, truncate the body, or answer another status. Every
// request it sees is recorded.
#pragma once

#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "support/Mutex.h"
#include "tolvana/platform/Dispatch.h"
#include "tolvana/platform/Http.h"

namespace tolvana {

class FaultInjectingHttp final : public Http {
 public:
  struct Fault {
    enum class Kind { Refuse, Delay, Drop, Truncate, Status } kind;
    std::chrono::milliseconds delay{0};
    int status = 0;
  };

  // inner may be null when every request meets a fault that needs no server.
  FaultInjectingHttp(std::shared_ptr<Http> inner, std::shared_ptr<Dispatch> dispatch);

  void send(HttpRequest request, std::function<void(HttpResponse)> completion) override;

  // Faults apply to the next requests, one each, in order.
  void inject(Fault fault);
  std::vector<HttpRequest> requests() const;
  // Completions of dropped requests, held so the test decides whether they ever run.
  std::size_t droppedCount() const;

 private:
  std::shared_ptr<Http> inner_;
  std::shared_ptr<Dispatch> dispatch_;
  mutable Mutex mutex_;
  std::deque<Fault> faults_ TL_GUARDED_BY(mutex_);
  std::vector<HttpRequest> requests_ TL_GUARDED_BY(mutex_);
  std::vector<std::function<void(HttpResponse)>> dropped_ TL_GUARDED_BY(mutex_);
};

}  // namespace tolvana
