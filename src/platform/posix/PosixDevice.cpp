#include "platform/posix/PosixDevice.h"

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace tolvana {

namespace {

std::optional<std::string> nonEmptyVariable(const char* name) {
  const char* value = std::getenv(name);
  if (!value || !*value) return std::nullopt;
  return std::string(value);
}

class PosixDevice final : public Device {
 public:
  // The kernel's copy of argv, so no host has to hand its arguments to the library.
  std::vector<std::string> launchArguments() const override {
    std::ifstream in("/proc/self/cmdline", std::ios::binary);
    std::string all((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<std::string> arguments;
    std::size_t start = 0;
    while (start < all.size()) {
      std::size_t end = all.find('\0', start);
      if (end == std::string::npos) end = all.size();
      arguments.push_back(all.substr(start, end - start));
      start = end + 1;
    }
    return arguments;
  }

  std::optional<std::string> environmentValue(std::string_view name) const override {
    if (const char* value = std::getenv(std::string(name).c_str())) return std::string(value);
    return std::nullopt;
  }

  std::optional<std::string> dataDirectory() const override {
    // A relative XDG directory is to be ignored, since it would move with the working directory.
    if (auto data = nonEmptyVariable("XDG_DATA_HOME"); data && data->front() == '/') return data;
    if (auto home = nonEmptyVariable("HOME")) return *home + "/.local/share";
    return std::nullopt;
  }

  void exitProcess(int status) override { std::exit(status); }
};

}  // namespace

std::shared_ptr<Device> makePosixDevice() { return std::make_shared<PosixDevice>(); }

}  // namespace tolvana
