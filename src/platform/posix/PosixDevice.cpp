#include "platform/posix/PosixDevice.h"

#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <fstream>
#include <iterator>

#include "support/Files.h"
#include "support/Mutex.h"

namespace tolvana {

namespace {

std::string kernelRelease() {
  struct utsname name {};
  return uname(&name) == 0 ? name.release : "";
}

std::optional<std::string> readFirstLine(const std::string& path) {
  std::ifstream in(path);
  std::string line;
  if (!std::getline(in, line)) return std::nullopt;
  return line;
}

// A field of /proc/self/status such as "TracerPid:" or "VmRSS:" (in kB), as a number.
std::optional<std::uint64_t> statusField(std::string_view field) {
  std::ifstream in("/proc/self/status");
  for (std::string line; std::getline(in, line);) {
    if (line.rfind(field, 0) == 0) return std::strtoull(line.c_str() + field.size(), nullptr, 10);
  }
  return std::nullopt;
}

std::string randomUuid() {
  unsigned char bytes[16] = {};
  std::ifstream random("/dev/urandom", std::ios::binary);
  random.read(reinterpret_cast<char*>(bytes), sizeof bytes);
  bytes[6] = (bytes[6] & 0x0F) | 0x40;  // version 4
  bytes[8] = (bytes[8] & 0x3F) | 0x80;  // RFC 4122 variant
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string uuid;
  for (int i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) uuid += '-';
    uuid += kHex[bytes[i] >> 4];
    uuid += kHex[bytes[i] & 15];
  }
  return uuid;
}

class PosixDevice final : public Device {
 public:
  PosixDevice(std::optional<std::string> dataDirectory, EnvironmentFn environment)
      : dataDirectory_(std::move(dataDirectory)),
        environment_(environment ? std::move(environment) : processEnvironment) {}

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

  std::optional<std::string> environmentValue(std::string_view name) const override { return environment_(name); }

  std::optional<std::string> dataDirectory() const override {
    if (dataDirectory_) return dataDirectory_;
    // A relative XDG directory is to be ignored, since it would move with the working directory.
    if (auto data = nonEmptyVariable("XDG_DATA_HOME"); data && data->front() == '/') return data;
    if (auto home = nonEmptyVariable("HOME")) return *home + "/.local/share";
    return std::nullopt;
  }

  std::string hardwareModel() const override {
    struct utsname name {};
    return uname(&name) == 0 ? name.machine : "unknown";
  }
  std::string platformName() const override { return "linux"; }
  std::string operatingSystem() const override { return "Linux " + kernelRelease(); }
  // The distribution's release ("12"), which version rules compare as a number; the kernel
  // release would read as a low version number.
  std::string systemVersion() const override {
    std::ifstream in("/etc/os-release");
    for (std::string line; std::getline(in, line);) {
      if (line.rfind("VERSION_ID=", 0) != 0) continue;
      std::string version = line.substr(11);
      version.erase(std::remove(version.begin(), version.end(), '"'), version.end());
      return version;
    }
    return kernelRelease();
  }
  std::optional<std::string> vendorIdentifier(std::string_view vendor) const override {
    auto base = dataDirectory();
    if (!base) return std::nullopt;
    std::string path = *base + "/Tolvana/vendors/" + std::string(vendor) + ".id";
    LockGuard lock(vendorMutex_);
    if (auto stored = readFirstLine(path); stored && stored->size() == 36) return stored;
    std::string identifier = randomUuid();
    if (!replaceFileAtomically(path, identifier + '\n')) return std::nullopt;
    return identifier;
  }
  // The integrity test: nothing was injected into the process through the dynamic loader,
  // and the executable cannot be changed by other users. Either would let someone else's
  // code run inside the app.
  bool passesIntegrityCheck() const override {
    if (nonEmptyVariable("LD_PRELOAD")) return false;
    struct stat info {};
    if (stat("/proc/self/exe", &info) != 0) return false;
    return (info.st_mode & S_IWOTH) == 0;
  }
  bool isBeingTraced() const override { return statusField("TracerPid:").value_or(0) != 0; }
  std::uint64_t residentMemoryBytes() const override { return statusField("VmRSS:").value_or(0) * 1024; }
  std::uint64_t freeMemoryBytes() const override {
    struct sysinfo info {};
    if (sysinfo(&info) != 0) return 0;
    return static_cast<std::uint64_t>(info.freeram) * info.mem_unit;
  }

  void exitProcess(int status) override { std::exit(status); }

 private:
  std::optional<std::string> nonEmptyVariable(std::string_view name) const {
    auto value = environment_(name);
    return value && !value->empty() ? value : std::nullopt;
  }

  // Serialises making a vendor's identifier file, so two first asks agree on one.
  mutable Mutex vendorMutex_;
  const std::optional<std::string> dataDirectory_;
  const EnvironmentFn environment_;
};

}  // namespace

std::shared_ptr<Device> makePosixDevice(std::optional<std::string> dataDirectory, EnvironmentFn environment) {
  return std::make_shared<PosixDevice>(std::move(dataDirectory), std::move(environment));
}

}  // namespace tolvana
