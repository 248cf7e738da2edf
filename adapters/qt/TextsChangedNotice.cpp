#include "TextsChangedNotice.h"

#include "Retranslation.h"
#include "tolvana/Hooks.h"

namespace tolvana::qt {

// The engine takes an answer inside the completion, so the stores have changed, or not, when
// it returns.
void TextsChangedNotice::send(HttpRequest request, std::function<void(HttpResponse)> completion) {
  inner_->send(std::move(request), [mainQueue = mainQueue_, completion = std::move(completion)](HttpResponse response) {
    std::uint64_t before = TolvanaHooks::textsChangedCount();
    completion(std::move(response));
    if (TolvanaHooks::textsChangedCount() != before) {
      mainQueue->mainAsync([] { Retranslation::announce(false); });
    }
  });
}

}  // namespace tolvana::qt
