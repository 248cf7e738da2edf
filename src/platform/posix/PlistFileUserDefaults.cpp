#include "platform/posix/PlistFileUserDefaults.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>

#include "platform/PlatformLog.h"
#include "platform/PropertyList.h"
#include "support/Mutex.h"

namespace tolvana {

namespace {

class PlistFileUserDefaults final : public UserDefaults {
 public:
  explicit PlistFileUserDefaults(std::string filePath) : filePath_(std::move(filePath)) { load(); }

  std::optional<Value> objectForKey(std::string_view key) const override {
    LockGuard lock(mutex_);
    auto it = values_.find(key);
    if (it == values_.end()) return std::nullopt;
    return it->second;
  }

  void setObject(std::string_view key, Value value) override {
    // Refused here rather than at synchronize(), where one bad text would keep every later
    // write of the domain from reaching the file.
    if (!plist::isWritableText(key) || !plist::hasWritableText(value)) {
      platformLogError("Refused to keep a user default whose key or text is not UTF-8 without NUL");
      return;
    }
    LockGuard lock(mutex_);
    values_.insert_or_assign(std::string(key), std::move(value));
  }

  void removeObject(std::string_view key) override {
    LockGuard lock(mutex_);
    if (auto it = values_.find(key); it != values_.end()) values_.erase(it);
  }

  bool synchronize() override {
    // Writers take turns so that the file ends with the newest snapshot, not whichever
    // of two concurrent writes happened to rename last.
    LockGuard storageLock(storageMutex_);
    Value snapshot;
    {
      LockGuard lock(mutex_);
      snapshot = Value(values_);
    }
    std::error_code ignored;
    std::filesystem::path parent = std::filesystem::path(filePath_).parent_path();
    if (!parent.empty()) std::filesystem::create_directories(parent, ignored);
    std::string error;
    if (!plist::writeFileAtomically(filePath_, snapshot, plist::Format::Binary, &error)) {
      platformLogError("Could not write the user defaults to " + filePath_ + ": " + error);
      return false;
    }
    return true;
  }

  void removePersistentDomain() override {
    LockGuard storageLock(storageMutex_);
    Value::Dictionary erased;
    {
      LockGuard lock(mutex_);
      erased.swap(values_);
    }
    if (::unlink(filePath_.c_str()) != 0 && errno != ENOENT) {
      platformLogError("Could not remove the user defaults file " + filePath_ + ": " + std::strerror(errno));
    }
  }

 private:
  void load() {
    struct stat info {};
    // A domain that was never synchronised has no file yet; that is no error.
    if (::stat(filePath_.c_str(), &info) != 0 && (errno == ENOENT || errno == ENOTDIR)) return;
    std::string error;
    std::optional<Value> root = plist::readFile(filePath_, &error);
    if (root && !root->isDictionary()) error = "the top level is no dictionary";
    if (!root || !root->isDictionary()) {
      platformLogError("Could not read the user defaults file " + filePath_ + " (" + error +
                       "); starting with an empty domain");
      return;
    }
    LockGuard lock(mutex_);
    values_ = std::move(root->asDictionary());
  }

  // Constant after construction.
  const std::string filePath_;

  // Serialises synchronize() and removePersistentDomain(); taken before mutex_.
  Mutex storageMutex_;

  mutable Mutex mutex_ TL_ACQUIRED_AFTER(storageMutex_);
  Value::Dictionary values_ TL_GUARDED_BY(mutex_);
};

std::string homeDirectory() {
  if (const char* home = std::getenv("HOME"); home && *home) return home;
  if (const passwd* entry = ::getpwuid(::getuid()); entry && entry->pw_dir) return entry->pw_dir;
  return ".";
}

}  // namespace

std::shared_ptr<UserDefaults> makePlistFileUserDefaults(std::string filePath) {
  return std::make_shared<PlistFileUserDefaults>(std::move(filePath));
}

std::string defaultUserDefaultsPath(const std::string& domain) {
  std::string base;
  // Relative values are to be ignored, since they would depend on the working directory.
  if (const char* config = std::getenv("XDG_CONFIG_HOME"); config && config[0] == '/') {
    base = config;
  } else {
    base = homeDirectory() + "/.config";
  }
  // A domain is an identifier, not a path: a slash in it must not leave the directory.
  std::string fileName = domain;
  for (char& c : fileName) {
    if (c == '/') c = '_';
  }
  return base + "/tolvana/" + fileName + ".plist";
}

}  // namespace tolvana
