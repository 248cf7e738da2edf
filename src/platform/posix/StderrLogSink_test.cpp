#include "platform/posix/StderrLogSink.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <regex>
#include <thread>

namespace tolvana {
namespace {

TEST(StderrLogSink, ConcurrentLinesStayWholeAndStamped) {
  char path[] = "/tmp/tolvana-stderr-XXXXXX";
  int file = ::mkstemp(path), savedStderr = ::dup(STDERR_FILENO);
  ::dup2(file, STDERR_FILENO);
  auto sink = makeStderrLogSink();
  std::vector<std::thread> writers;
  for (int t = 0; t < 4; ++t) {
    writers.emplace_back([&sink, t] {
      for (int i = 0; i < 100; ++i) sink->writeLine("E/T " + std::to_string(t) + std::string(300, 'x'));
    });
  }
  for (auto& writer : writers) writer.join();
  ::dup2(savedStderr, STDERR_FILENO);
  ::close(savedStderr);
  ::close(file);

  std::regex shape(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} tolvana_tests\[)" + std::to_string(::getpid()) +
                   R"(\] E/T [0-3]x{300})");
  std::ifstream in(path);
  int lines = 0;
  for (std::string line; std::getline(in, line); ++lines) EXPECT_TRUE(std::regex_match(line, shape)) << line;
  EXPECT_EQ(lines, 400);
  ::unlink(path);
}

}  // namespace
}  // namespace tolvana
