// TextsChangedNotice: the network port with one addition. An answer that wrote new texts into
// the stores is followed by a LanguageChange, so that widgets retranslating on it show them.
#pragma once

#include <memory>

#include "tolvana/platform/Dispatch.h"
#include "tolvana/platform/Http.h"

namespace tolvana::qt {

class TextsChangedNotice final : public Http {
 public:
  TextsChangedNotice(std::shared_ptr<Http> inner, std::shared_ptr<Dispatch> mainQueue)
      : inner_(std::move(inner)), mainQueue_(std::move(mainQueue)) {}
  void send(HttpRequest request, std::function<void(HttpResponse)> completion) override;

 private:
  std::shared_ptr<Http> inner_;
  std::shared_ptr<Dispatch> mainQueue_;
};

}  // namespace tolvana::qt
