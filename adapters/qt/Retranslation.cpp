#include "Retranslation.h"

#include <cstdint>

#include "TolvanaTranslator.h"
#include "tolvana/Hooks.h"
#include "tolvana/qt/TolvanaQt.h"

namespace tolvana::qt {

void Retranslation::announce(bool force) {
  static std::uint64_t announced = 0;
  const std::uint64_t written = TolvanaHooks::textsChangedCount();
  if (!force && written == announced) return;
  announced = written;
  TolvanaTranslator::announceTextsChanged();
  if (TolvanaQt* api = TolvanaQt::existing()) {
    api->refresh();
    emit api->textsChanged();
  }
}

}  // namespace tolvana::qt
