// Settings archives from anywhere: unpacking must never write outside its target folder.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>

#include "fuzz/FuzzSandbox.h"
#include "store/TLArchive.h"
#include "tests/support/TestPlatform.h"

namespace {

struct Harness {
  Harness() {
    platform.install();
    sandbox.allow(target);
    std::filesystem::create_directories(target);
    std::ofstream(archive).flush();
    sandbox.snapshot();
  }
  tolvana::fuzz::FuzzSandbox sandbox;
  tolvana::testing::TestPlatform platform;
  std::string target = sandbox.path() + "/data/app/target";
  std::string archive = sandbox.path() + "/data/settings.tolvana";
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Harness* harness = new Harness;
  // The archive file itself is the one thing outside the target that changes: rewrite it at
  // the same size and time each round, so that only the unpacking can upset the listing.
  auto stamp = std::filesystem::last_write_time(harness->archive);
  std::ofstream(harness->archive, std::ios::binary | std::ios::trunc).write(reinterpret_cast<const char*>(data), size);
  tolvana::TLArchive::createFilesAndDirectoriesAtPath(harness->target, harness->archive, size % 2 == 0);
  std::filesystem::resize_file(harness->archive, 0);
  std::filesystem::last_write_time(harness->archive, stamp);
  harness->sandbox.checkNothingElseChanged();
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(harness->target, ignored)) {
    std::filesystem::remove_all(entry.path(), ignored);
  }
  harness->platform.log->clear();
  return 0;
}
