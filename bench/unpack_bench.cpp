// Unpacking a 60 MB settings archive, against GNU tar and gunzip on the same archive, and
// the unpacker's peak memory for an 8.5 MB and a 60 MB archive (it must not grow with size).
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <random>

#include "RatioReporter.h"
#include "store/TLArchive.h"
#include "tests/support/ArchiveBuilder.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestPlatform.h"

namespace tolvana::bench {
namespace {

// Stores that compress about as well as real ones: words from a small vocabulary.
std::string storeLikeBytes(std::size_t size, unsigned seed) {
  static const char* kWords[] = {"Settings", "Cancel", "Bitte", "warten", "Konto", "réglages", "profil", "Abbrechen",
                                 "mensajes", "guardar", "ok", "1", "2", "3", "x", "Ä", "é", "—", "key_", "\n"};
  std::mt19937 random(seed);
  std::string text;
  text.reserve(size);
  while (text.size() < size) {
    text += kWords[random() % 20];
    text += static_cast<char>('a' + random() % 26);
    text += static_cast<char>('0' + random() % 10);
  }
  return text;
}

struct Archive {
  testing::TempDir dir;
  std::string path;
  double megabytes = 0;
};

Archive& archive(int members) {
  static std::map<int, Archive> archives;
  Archive& a = archives[members];
  if (a.path.empty()) {
    testing::ArchiveBuilder builder;
    builder.file("app.tolvana", R"({"_id":"app1","apiSecret":"s","__v":1,"baseLanguage":"en"})");
    builder.directory("app1/");
    for (int i = 0; i < members; ++i) {
      builder.gzipFile("app1/l" + std::to_string(i) + ".sqlite.gz", storeLikeBytes(20u << 20, i));
    }
    builder.endBlocks();
    a.path = a.dir.file("settings.tolvana");
    builder.writeTo(a.path);
    a.megabytes = static_cast<double>(builder.bytes().size()) / 1e6;
  }
  return a;
}

double unpackOnce(const Archive& a) {
  testing::TempDir out;
  return TLArchive::createFilesAndDirectoriesAtPath(out.path(), a.path, true) ? 1 : 0;
}

// The peak resident size of a child that unpacks (or does nothing), in MB.
double childPeakMegabytes(const Archive* a) {
  pid_t pid = fork();
  if (pid == 0) {
    if (a) unpackOnce(*a);
    _exit(0);
  }
  int status = 0;
  rusage usage{};
  wait4(pid, &status, 0, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

void Unpack_baselineTarAndGunzip(benchmark::State& state) {
  Archive& a = archive(state.range(0));
  for (auto _ : state) {
    testing::TempDir out;
    std::string command = "tar -xf " + a.path + " -C " + out.path() + " && gunzip -r " + out.path();
    if (std::system(command.c_str()) != 0) state.SkipWithError("tar failed");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(a.megabytes * 1e6));
}

void Unpack_settingsArchive(benchmark::State& state) {
  Archive& a = archive(state.range(0));
  testing::TestPlatform platform;
  platform.install();
  for (auto _ : state) {
    if (!unpackOnce(a)) state.SkipWithError("unpack failed");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(a.megabytes * 1e6));
  state.counters["archive_MB"] = a.megabytes;
  double idle = childPeakMegabytes(nullptr);
  state.counters["peak_growth_MB"] = childPeakMegabytes(&a) - idle;
  recordFigure("Unpack_peakGrowthMB_" + std::to_string(state.range(0)) + "stores", state.counters["peak_growth_MB"]);
  recordFigure("Unpack_baselinePeakLimitMB", 4 * 1.048576);
}

// Seven stores make an archive of about 60 MB, one store about 8.5 MB. Real time, since the
// baseline's work happens in child processes.
BENCHMARK(Unpack_baselineTarAndGunzip)->Arg(7)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();
BENCHMARK(Unpack_settingsArchive)->Arg(7)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();
BENCHMARK(Unpack_settingsArchive)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();

const bool kTargets[] = {
    addTarget({"archive unpack (keep), speed", "Unpack_settingsArchive/7/iterations:2/real_time",
               "Unpack_baselineTarAndGunzip/7/iterations:2/real_time", 1.5, false}),
    addTarget({"unpack peak RSS growth, 59 MB archive", "Unpack_peakGrowthMB_7stores", "Unpack_baselinePeakLimitMB", 1,
               true}),
    addTarget({"unpack peak RSS growth, 8.5 MB archive", "Unpack_peakGrowthMB_1stores", "Unpack_baselinePeakLimitMB",
               1, true}),
};

}  // namespace
}  // namespace tolvana::bench

int main(int argc, char** argv) { return tolvana::bench::runWithRatios(argc, argv); }
