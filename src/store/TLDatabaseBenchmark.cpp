// TLDatabase's self-measurement: writes three languages of 250 groups of 500 entries and times
// a few look-ups, for comparing devices.
#include <chrono>

#include "config/ProcessState.h"
#include "config/TLDeviceUtil.h"
#include "store/TLDatabase.h"
#include "support/Format.h"
#include "support/Mutex.h"
#include "support/TLLog.h"

namespace tolvana {

double TLDatabase::benchmark() {
  static constexpr const char* kLorem =
      "Lorem ipsum dolor sit amet, consetetur sadipscing elitr, sed diam nonumy eirmod tempor invidunt ut labore et "
      "dolore magna aliquyam erat, sed diam voluptua. At vero eos et accusam et justo duo dolores et ea rebum. Stet "
      "clita kasd gubergren, no sea takimata sanctus est Lorem ipsum dolor sit amet. Lorem ipsum dolor sit amet, "
      "consetetur sadipscing elitr, sed diam nonumy.";
  LockGuard lock(mutex_);
  auto start = std::chrono::steady_clock::now();
  for (const char* language : {"en", "de", "fr"}) {
    auto store = databaseForLanguage(language, true);
    if (!store) continue;
    for (int g = 0; g < 250; ++g) {
      store->beginWriteTransaction();
      store->createOrUpdateGroup(format("Group_%d", g), 0);
      for (int i = 0; i < 500; ++i) {
        store->createOrUpdateEntry(format("key_g:%d_i:%d", g, i), format("%@_%d_%d  - value - %@", language, g, i, kLorem),
                                   format("%@_%d_%d  - draft - %@", language, g, i, kLorem));
      }
      store->commitWriteTransaction();
      TLDeviceUtil::logMemUsage();
    }
    store->save();
  }
  ProcessState::get().answersChanged();
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  for (const char* language : {"en", "de", "fr"}) {
    for (const char* key : {"key_g:3_i:10", "key_g:24_i:10", "key_g:21_i:455"}) {
      auto before = std::chrono::steady_clock::now();
      valueWithKey(key, language);
      logVerbose("Benchmark look-up %@ in %@: %ld us", key, language,
                 static_cast<long>(std::chrono::duration_cast<std::chrono::microseconds>(
                                       std::chrono::steady_clock::now() - before)
                                       .count()));
    }
  }
  return seconds;
}

}  // namespace tolvana
