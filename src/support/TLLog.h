// TLLog: the engine's one logger.
//
// Every line goes to the configured writer (the platform's log sink) as the level letter, "/",
// the tag, a small colon (U+FE55), a blank and the text; a message with line feeds becomes one
// writer call per line. Whether a message is written depends on the tag's threshold, worked
// out once per tag from the configured level setting (one level letter, or a number) and
// cached until resetTagLevels().
//
// The logger sits below everything it serves, so it reads no settings and knows no port:
// whoever configures the library pushes in where lines go and where the tag and the
// thresholds come from (configure()). Until then lines go to standard error under the
// default tag and threshold.
//
// Thread contract: any thread may log; thresholds and the tag are worked out once under
// guards, and a race between two first look-ups computes the same value twice.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "support/Format.h"
#include "support/Mutex.h"
#include "tolvana/Value.h"

namespace tolvana {

class TLLog {
 public:
  enum Level : int { kVerbose = 0, kDebug = 1, kInfo = 2, kWarning = 3, kError = 4, kAssert = 5 };
  static constexpr int kDefaultThreshold = kInfo;
  static constexpr std::string_view kDefaultTag = "Tolvana";

  // What the logger is told from above. Each function may be called from any thread, and
  // neither setting function may log.
  struct Configuration {
    std::function<void(std::string_view line)> writeLine;
    // The configured tag's raw setting, if any; any value becomes the tag, a non-string one
    // by its text.
    std::function<std::optional<Value>()> tagSetting;
    // The raw threshold setting of a tag, if any.
    std::function<std::optional<Value>(std::string_view tag)> levelSetting;
  };
  // Replaces the configuration; tags and thresholds already worked out stay until reset.
  static void configure(Configuration configuration);

  static TLLog& sharedInstance();
  // The engine's tag: the configured tag setting, asked on the first call, else "Tolvana".
  static const std::string& tag();
  // The tag before any Info.plist has been read, for lines written below the logger.
  static std::string_view defaultTag() { return kDefaultTag; }

  // Writes the message when the tag's threshold lets its level through.
  void log(std::string_view tag, int level, std::string_view message);
  template <class... Args>
  void log(std::string_view tag, int level, std::string_view fmt, const Args&... args) {
    if (isLogged(tag, level)) write(tag, level, format(fmt, args...));
  }
  bool isLogged(std::string_view tag, int level);

  int levelForTag(std::string_view tag);
  void setLevelForTag(std::string_view tag, int level);
  void resetTagLevels();
  static std::optional<std::string_view> levelAsString(int level);

  // One sink line, without any time stamp: "E/Tolvana﹕ text".
  static std::string formatLine(int level, std::string_view tag, std::string_view text);

  // Forgets the tag read from the Info.plist, so the next tag() reads it again. The engine's
  // tag is meant to be fixed for the process; tests that install another app bundle use this.
  static void resetTagForTesting();

 private:
  void write(std::string_view tag, int level, std::string_view message);

  Mutex mutex_;
  std::map<std::string, int, std::less<>> tagLevels_ TL_GUARDED_BY(mutex_);
};

// The engine's logging calls: the engine's tag at a fixed level.
template <class... Args>
void logVerbose(std::string_view fmt, const Args&... args) {
  TLLog::sharedInstance().log(TLLog::tag(), TLLog::kVerbose, fmt, args...);
}
template <class... Args>
void logDebug(std::string_view fmt, const Args&... args) {
  TLLog::sharedInstance().log(TLLog::tag(), TLLog::kDebug, fmt, args...);
}
template <class... Args>
void logInfo(std::string_view fmt, const Args&... args) {
  TLLog::sharedInstance().log(TLLog::tag(), TLLog::kInfo, fmt, args...);
}
template <class... Args>
void logWarning(std::string_view fmt, const Args&... args) {
  TLLog::sharedInstance().log(TLLog::tag(), TLLog::kWarning, fmt, args...);
}
template <class... Args>
void logError(std::string_view fmt, const Args&... args) {
  TLLog::sharedInstance().log(TLLog::tag(), TLLog::kError, fmt, args...);
}
template <class... Args>
void logAssert(std::string_view fmt, const Args&... args) {
  TLLog::sharedInstance().log(TLLog::tag(), TLLog::kAssert, fmt, args...);
}

}  // namespace tolvana
