#include "platform/fake/FaultInjectingHttp.h"

#include <thread>

#include "support/Mutex.h"

namespace tolvana {

FaultInjectingHttp::FaultInjectingHttp(std::shared_ptr<Http> inner, std::shared_ptr<Dispatch> dispatch)
    : inner_(std::move(inner)), dispatch_(std::move(dispatch)) {}

void FaultInjectingHttp::inject(Fault fault) {
  LockGuard lock(mutex_);
  faults_.push_back(fault);
}

std::vector<HttpRequest> FaultInjectingHttp::requests() const {
  LockGuard lock(mutex_);
  return requests_;
}

std::size_t FaultInjectingHttp::droppedCount() const {
  LockGuard lock(mutex_);
  return dropped_.size();
}

void FaultInjectingHttp::send(HttpRequest request, std::function<void(HttpResponse)> completion) {
  std::optional<Fault> fault;
  {
    LockGuard lock(mutex_);
    requests_.push_back(request);
    if (!faults_.empty()) {
      fault = faults_.front();
      faults_.pop_front();
    }
  }
  auto forward = [inner = inner_, dispatch = dispatch_](HttpRequest r, std::function<void(HttpResponse)> done) {
    if (inner) return inner->send(std::move(r), std::move(done));
    auto session = dispatch->makeSerialQueue("tolvana.http.fault");
    session->async([session, done] {
      done(HttpResponse{"no server behind the fault injector", 0, {}, {}, HttpResponse::Failure::other});
    });
  };
  if (!fault) return forward(std::move(request), std::move(completion));

  using Kind = Fault::Kind;
  auto session = dispatch_->makeSerialQueue("tolvana.http.fault");
  switch (fault->kind) {
    case Kind::Refuse:
      session->async([session, completion] {
        completion(HttpResponse{"Could not connect to server", 0, {}, {}, HttpResponse::Failure::connectionRefused});
      });
      return;
    case Kind::Drop: {
      LockGuard lock(mutex_);
      dropped_.push_back(std::move(completion));
      return;
    }
    case Kind::Delay:
      session->async([session, forward, request, completion, delay = fault->delay] {
        std::this_thread::sleep_for(delay);
        forward(request, completion);
      });
      return;
    case Kind::Truncate:
      forward(std::move(request), [completion](HttpResponse response) {
        response.body.resize(response.body.size() / 2);
        completion(std::move(response));
      });
      return;
    case Kind::Status:
      forward(std::move(request), [completion, status = fault->status](HttpResponse response) {
        response.status = status;
        completion(std::move(response));
      });
      return;
  }
}

}  // namespace tolvana
