#include "support/TLLog.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <memory>
#include <vector>

#include "support/Mutex.h"


namespace tolvana {

namespace {

constexpr std::string_view kLevelStrings[] = {"V", "D", "I", "W", "E", "A"};
// U+FE55 SMALL COLON and a blank: the separator after the tag.
constexpr std::string_view kTagSeparator = "\xEF\xB9\x95 ";

// Configurations are kept for the process, like the tags, so a line being written while
// another thread configures still has its writer.
std::atomic<const TLLog::Configuration*> configuration{nullptr};

const TLLog::Configuration* configured() { return configuration.load(std::memory_order_acquire); }

Mutex tagMutex;
std::string* cachedTag TL_GUARDED_BY(tagMutex) = nullptr;
// Every tag ever read stays alive, so a reference handed out before a reset stays valid.
std::vector<std::unique_ptr<std::string>>& allTags() {
  static auto* tags = new std::vector<std::unique_ptr<std::string>>;
  return *tags;
}

int thresholdFromSetting(const std::optional<Value>& setting) {
  if (!setting) return TLLog::kDefaultThreshold;
  if (setting->isString()) {
    std::string lower = setting->asString();
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
    for (int level = 0; level < 6; ++level) {
      std::string letter(kLevelStrings[level]);
      letter[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(letter[0])));
      if (lower == letter) return level;
    }
    return TLLog::kDefaultThreshold;
  }
  // A number is taken as it is, unclamped: 6 or more silences the tag, 0 or less shows all.
  if (auto n = setting->numberAsInteger()) return static_cast<int>(std::clamp<std::int64_t>(*n, INT32_MIN, INT32_MAX));
  return TLLog::kDefaultThreshold;
}

}  // namespace

void TLLog::configure(Configuration replacement) {
  configuration.store(new Configuration(std::move(replacement)), std::memory_order_release);
}

TLLog& TLLog::sharedInstance() {
  static auto* instance = new TLLog;
  return *instance;
}

const std::string& TLLog::tag() {
  LockGuard lock(tagMutex);
  if (!cachedTag) {
    const Configuration* config = configured();
    auto value = config && config->tagSetting ? config->tagSetting() : std::nullopt;
    allTags().push_back(std::make_unique<std::string>(value ? value->description() : std::string(kDefaultTag)));
    cachedTag = allTags().back().get();
  }
  return *cachedTag;
}

void TLLog::resetTagForTesting() {
  LockGuard lock(tagMutex);
  cachedTag = nullptr;
}

std::optional<std::string_view> TLLog::levelAsString(int level) {
  if (level < 0 || level > 5) return std::nullopt;
  return kLevelStrings[level];
}

int TLLog::levelForTag(std::string_view tag) {
  {
    LockGuard lock(mutex_);
    if (auto it = tagLevels_.find(tag); it != tagLevels_.end()) return it->second;
  }
  // Read outside the lock: the settings read may log, and logging asks for a threshold.
  const Configuration* config = configured();
  int level = thresholdFromSetting(config && config->levelSetting ? config->levelSetting(tag) : std::nullopt);
  setLevelForTag(tag, level);
  return level;
}

void TLLog::setLevelForTag(std::string_view tag, int level) {
  LockGuard lock(mutex_);
  tagLevels_[std::string(tag)] = level;
}

void TLLog::resetTagLevels() {
  LockGuard lock(mutex_);
  tagLevels_.clear();
}

bool TLLog::isLogged(std::string_view tag, int level) { return levelForTag(tag) <= level; }

void TLLog::log(std::string_view tag, int level, std::string_view message) {
  if (isLogged(tag, level)) write(tag, level, message);
}

std::string TLLog::formatLine(int level, std::string_view tag, std::string_view text) {
  std::string line;
  line.reserve(text.size() + tag.size() + 8);
  line += levelAsString(level).value_or("");
  line += '/';
  line += tag;
  line += kTagSeparator;
  line += text;
  return line;
}

void TLLog::write(std::string_view tag, int level, std::string_view message) {
  const Configuration* config = configured();
  auto writeLine = [config](std::string line) {
    if (config && config->writeLine) return config->writeLine(line);
    line += '\n';
    [[maybe_unused]] auto written = ::write(STDERR_FILENO, line.data(), line.size());
  };
  // Only "\n" splits: a carriage return stays part of its line, and a trailing line feed
  // yields a last empty line.
  std::size_t start = 0;
  while (true) {
    std::size_t end = message.find('\n', start);
    writeLine(formatLine(level, tag, message.substr(start, end == std::string_view::npos ? end : end - start)));
    if (end == std::string_view::npos) break;
    start = end + 1;
  }
}

}  // namespace tolvana
