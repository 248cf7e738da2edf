// FuzzApp: a whole app (bundle, archive, stores, a started engine) inside a FuzzSandbox that
// allows only the app's data directory, set up once per fuzzing process. After each input,
// endInput() aborts when anything outside the data directory changed and drops what the
// input left in memory (log lines, queued work).
#pragma once

#include <memory>

#include "core/TLInternal.h"
#include "fuzz/FuzzSandbox.h"
#include "tests/support/AppFixture.h"

namespace tolvana::fuzz {

struct FuzzApp {
  FuzzApp();
  void endInput();

  FuzzSandbox sandbox;  // first: the fixture's temporary folder is made inside it
  testing::AppFixture app;
  std::shared_ptr<TLInternal> engine;
};

}  // namespace tolvana::fuzz
