#include "config/ProcessState.h"

namespace tolvana {

ProcessState& ProcessState::get() {
  static auto* state = new ProcessState;
  return *state;
}

void ProcessState::forgetForTesting() {
  for (auto* flag : {&notInitializedAlertShown, &developmentLanguageWarned, &sessionTimeoutsApplied,
                     &firstUpdateCompleted, &gesturesRegistered}) {
    *flag = false;
  }
  for (auto* fact : {&searchAllBundles, &uiTestRunning, &showIdOnLaunch, &debuggerConnected, &appExtension}) {
    fact->clear();
  }
  deviceLanguages.clear();
  draftModeEnabled = true;
}

}  // namespace tolvana
