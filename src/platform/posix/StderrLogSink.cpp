#include "platform/posix/StderrLogSink.h"

#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <string>

namespace tolvana {

namespace {

std::string processName() {
  std::ifstream in("/proc/self/comm");
  std::string name;
  std::getline(in, name);
  return name.empty() ? "tolvana" : name;
}

class StderrLogSink final : public LogSink {
 public:
  void writeLine(std::string_view line) override {
    timeval now{};
    ::gettimeofday(&now, nullptr);
    std::tm local{};
    ::localtime_r(&now.tv_sec, &local);
    char stamp[48];
    int stampLength = std::snprintf(stamp, sizeof stamp, "%04d-%02d-%02d %02d:%02d:%02d.%03d ", local.tm_year + 1900,
                                    local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                                    static_cast<int>(now.tv_usec / 1000));
    std::string out(stamp, static_cast<std::size_t>(stampLength));
    // The id is read per line: a forked child logs under its own.
    out += processName_ + "[" + std::to_string(::getpid()) + "] ";
    out += line;
    out += '\n';
    // One write() per line, so lines of concurrent writers never interleave; the loop only
    // matters for a short write to a full pipe.
    const char* data = out.data();
    std::size_t left = out.size();
    while (left > 0) {
      ssize_t written = ::write(STDERR_FILENO, data, left);
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) return;
      data += written;
      left -= static_cast<std::size_t>(written);
    }
  }

 private:
  // Constant after construction.
  const std::string processName_ = processName();
};

}  // namespace

std::shared_ptr<LogSink> makeStderrLogSink() { return std::make_shared<StderrLogSink>(); }

}  // namespace tolvana
