#include <gtest/gtest.h>

#include "platform/UiContract.h"
#include "platform/fake/ManualDispatch.h"
#include "platform/fake/SimulatedClock.h"
#include "platform/headless/RecordingUi.h"

namespace tolvana {
namespace {

using contract::summary;
using contract::titles;
using contract::UiState;

struct HeadlessHarness {
  std::shared_ptr<ManualDispatch> dispatch = std::make_shared<ManualDispatch>(std::make_shared<SimulatedClock>());
  std::shared_ptr<RecordingUi> recording = std::make_shared<RecordingUi>();
  std::shared_ptr<Ui> ui = recording;
  static constexpr const char* kNoUser = "";
  void tap(std::size_t alert, std::size_t action, const std::vector<std::string>& texts) {
    recording->tap(alert, action, texts);
  }

  bool runMain(const std::function<bool()>& done) { return dispatch->runUntil(done); }
  UiState state() const {
    UiState state;
    for (const auto& call : recording->calls()) {
      state.lookupHookInstallations += call == "installLookupHooks";
    }
    if (auto overlay = recording->overlay()) state.overlay = titles(*overlay);
    for (const auto& alert : recording->alerts()) state.alerts.push_back(summary(alert));
    return state;
  }
};

}  // namespace

namespace contract {
INSTANTIATE_TYPED_TEST_SUITE_P(Headless, UiContract, ::testing::Types<HeadlessHarness>);
}  // namespace contract
}  // namespace tolvana
