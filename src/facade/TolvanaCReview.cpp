// The C interface's review tools. The capture and the dialog read and show windows, which
// happens on the main queue: a C host is on a thread of its own, so they are queued there.
#include <memory>
#include <string>
#include <vector>

#include "facade/CInterface.h"
#include "support/Mutex.h"
#include "tolvana/TolvanaScreenshotInterface.h"
#include "tolvana/platform/Platform.h"
#include "tolvana/tolvana.h"

struct tolvana_positions_reply {
  std::function<void(std::string)> completion;
};

namespace tolvana::c {
namespace {

// A C provider as the facade takes one. The engine holds its provider weakly; the C host has
// nothing to hold, so the current one is held here.
class CStringPositionsProvider final : public TolvanaScreenshotInterface {
 public:
  CStringPositionsProvider(tolvana_string_positions_provider provider, void* userData)
      : provider_(provider), userData_(userData) {}
  void getStringPositions(std::function<void(std::string)> completion) override {
    auto reply = std::make_unique<tolvana_positions_reply>(tolvana_positions_reply{std::move(completion)});
    provider_(reply.release(), userData_);
  }

 private:
  const tolvana_string_positions_provider provider_;
  void* const userData_;
};

Mutex providerMutex;
std::shared_ptr<CStringPositionsProvider>& currentProvider() {
  static auto* provider = new std::shared_ptr<CStringPositionsProvider>;
  return *provider;
}

}  // namespace
}  // namespace tolvana::c

using tolvana::Tolvana;

extern "C" {

void tolvana_capture_screenshot(const char* tag, const char* const* keys, size_t key_count, int use_ocr,
                                tolvana_screenshot_callback callback, void* user_data) {
  tolvana::guarded(__func__, [&] {
    tolvana::Platform::Current().dispatch().mainAsync(
        [tag = std::string(tag ? tag : ""), keys = tolvana::c::list(keys, key_count), useOcr = use_ocr != 0,
         completion = tolvana::c::completion(callback, user_data)] {
          Tolvana::captureScreenshotWithTag(tag, keys, useOcr, completion);
        });
  });
}

void tolvana_show_draft_mode_dialog(void) {
  tolvana::guarded(__func__,
                   [] { tolvana::Platform::Current().dispatch().mainAsync([] { Tolvana::showDraftModeDialog(); }); });
}

int tolvana_set_screenshot_menu_visible(int visible) {
  return Tolvana::setScreenShotMenuVisible(visible != 0) ? 1 : 0;
}

void tolvana_positions_reply_send(tolvana_positions_reply* reply, const char* positions) {
  tolvana::guarded(__func__, [&] {
    if (!reply) return tolvana::logError("tolvana_positions_reply_send: the reply is NULL");
    std::unique_ptr<tolvana_positions_reply> owned(reply);
    owned->completion(positions ? positions : "");
  });
}

void tolvana_set_screenshot_interface(tolvana_string_positions_provider provider, void* user_data) {
  tolvana::guarded(__func__, [&] {
    if (!provider) return Tolvana::setScreenshotInterface(std::shared_ptr<tolvana::TolvanaScreenshotInterface>());
    auto adapter = std::make_shared<tolvana::c::CStringPositionsProvider>(provider, user_data);
    // One lock around both, so that the provider held here is always the engine's.
    tolvana::LockGuard lock(tolvana::c::providerMutex);
    tolvana::c::currentProvider() = adapter;
    Tolvana::setScreenshotInterface(adapter);
  });
}

}  // extern "C"
