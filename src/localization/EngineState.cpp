#include "localization/EngineState.h"

#include "config/ProcessState.h"
#include "config/TLDeviceUtil.h"
#include "support/ReadEpoch.h"

namespace tolvana {

bool EngineState::collectMissingEnabled() const {
  auto db = database();
  ReadEpoch::Section section;
  return db && collectMissingEnabled(db->lookupSettings());
}

bool EngineState::collectMissingEnabled(const TLDatabase::LookupSettings& store) const {
  return enabled && store.collectMissingEnabled && (inDraftMode || TLDeviceUtil::isDebuggerConnected());
}

bool EngineState::isDraftModeEnabled() const {
  auto db = database();
  return ProcessState::get().draftModeEnabled && db && db->draftModeEnabled();
}

}  // namespace tolvana
