#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <thread>

#include "platform/posix/StderrLogSink.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TempDir.h"

namespace tolvana {
namespace {

// lines() gives back what arrived, one entry per line, with whatever the sink adds taken off.
struct StderrHarness {
  testing::TempDir dir;
  int savedStderr = ::dup(STDERR_FILENO);
  std::shared_ptr<LogSink> sink;

  StderrHarness() {
    int file = ::open(dir.file("stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ::dup2(file, STDERR_FILENO);
    ::close(file);
    sink = makeStderrLogSink();
  }
  ~StderrHarness() { restoreStderr(); }
  void restoreStderr() {
    if (savedStderr < 0) return;
    ::dup2(savedStderr, STDERR_FILENO);
    ::close(savedStderr);
    savedStderr = -1;
  }
  // A line without the time stamp and process in front stays whole, so it shows as a stray.
  std::vector<std::string> lines() {
    restoreStderr();
    const std::regex stamp(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} tolvana_tests\[)" + std::to_string(::getpid()) +
                           R"(\] )");
    std::vector<std::string> out;
    std::ifstream in(dir.file("stderr"));
    for (std::string line; std::getline(in, line);) {
      std::smatch prefix;
      bool stamped = std::regex_search(line, prefix, stamp, std::regex_constants::match_continuous);
      out.push_back(stamped ? prefix.suffix().str() : line);
    }
    return out;
  }
};

struct CaptureHarness {
  std::shared_ptr<testing::LogCapture> capture = std::make_shared<testing::LogCapture>();
  std::shared_ptr<LogSink> sink = capture;
  std::vector<std::string> lines() { return capture->lines(); }
};

template <class Harness>
struct LogSinkContract : ::testing::Test {
  Harness h;
};
using Implementations = ::testing::Types<StderrHarness, CaptureHarness>;
TYPED_TEST_SUITE(LogSinkContract, Implementations);

TYPED_TEST(LogSinkContract, ConcurrentLinesArriveWholeAndOnceEach) {
  constexpr int kThreads = 4, kLines = 200;
  std::vector<std::string> sent;
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kLines; ++i) {
      // Lengths from none to beyond a pipe's atomic write, so a torn line shows.
      sent.push_back("E/T " + std::to_string(t) + ":" + std::to_string(i) + " " +
                     std::string(i * 37 % 6000, static_cast<char>('a' + t)));
    }
  }
  std::vector<std::thread> writers;
  for (int t = 0; t < kThreads; ++t) {
    writers.emplace_back([&, t] {
      for (int i = 0; i < kLines; ++i) this->h.sink->writeLine(sent[t * kLines + i]);
    });
  }
  for (auto& writer : writers) writer.join();
  auto received = this->h.lines();
  std::sort(sent.begin(), sent.end());
  std::sort(received.begin(), received.end());
  ASSERT_EQ(received.size(), sent.size());
  auto [mine, theirs] = std::mismatch(sent.begin(), sent.end(), received.begin());
  EXPECT_TRUE(mine == sent.end()) << "first line that did not arrive as written: " << mine->substr(0, 40) << "…, got "
                                  << theirs->substr(0, 40) << "…";
}

}  // namespace
}  // namespace tolvana
