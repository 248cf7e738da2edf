// The C interface's set-up calls: configuration by call, a main queue the host drives, and
// the host's own log and change callbacks, each turned into the facade's C++ form.
#include <cstddef>
#include <string>
#include <vector>

#include "facade/CInterface.h"
#include "tolvana/tolvana.h"

using tolvana::Tolvana;

namespace tolvana::c {
namespace {

std::optional<std::string> pathOption(const char* path) {
  return path ? std::optional<std::string>(path) : std::nullopt;
}

// A host built against an older, shorter tolvana_options leaves the newer fields at their
// defaults: only what lies within its size is read.
#define TOLVANA_OPTION_GIVEN(options, field) \
  ((options).size >= offsetof(tolvana_options, field) + sizeof((options).field))

Configuration configurationOf(const tolvana_options& options) {
  Configuration configuration;
  if (TOLVANA_OPTION_GIVEN(options, bundle_path)) configuration.bundlePath = pathOption(options.bundle_path);
  if (TOLVANA_OPTION_GIVEN(options, data_directory)) configuration.dataDirectory = pathOption(options.data_directory);
  if (TOLVANA_OPTION_GIVEN(options, defaults_file)) configuration.defaultsFile = pathOption(options.defaults_file);
  if (TOLVANA_OPTION_GIVEN(options, log_level) && options.log_level >= 0) configuration.logLevel = options.log_level;
  if (TOLVANA_OPTION_GIVEN(options, main_queue_wakeup_data)) {
    configuration.hostDrivesMainQueue = options.host_drives_main_queue != 0;
    if (auto wakeup = options.main_queue_wakeup) {
      configuration.mainQueueWakeup = [wakeup, data = options.main_queue_wakeup_data] { wakeup(data); };
    }
  }
  return configuration;
}

void textsChanged(tolvana_texts_changed_callback callback, void* userData, const TextsChanged& notice) {
  std::vector<const char*> languages;
  for (const std::string& language : notice.languages) languages.push_back(language.c_str());
  std::vector<tolvana_group_change> groups = groupChanges(notice.changes);
  int cause = notice.cause == TextsChanged::Cause::update ? TOLVANA_TEXTS_CHANGED_BY_UPDATE
                                                          : TOLVANA_TEXTS_CHANGED_BY_LANGUAGE_SWITCH;
  callback(cause, languages.data(), languages.size(), groups.empty() ? nullptr : groups.data(), groups.size(),
           userData);
}

}  // namespace

std::vector<tolvana_group_change> groupChanges(const TextChanges& changes) {
  std::vector<tolvana_group_change> groups;
  for (const auto& [language, written] : changes) {
    for (const GroupChange& change : written) {
      groups.push_back({language.c_str(), change.group.c_str(), change.versionBefore, change.versionAfter,
                        change.entriesWritten});
    }
  }
  return groups;
}

}  // namespace tolvana::c

extern "C" {

void tolvana_options_init(tolvana_options* options) {
  if (!options) return;
  *options = tolvana_options{};
  options->size = sizeof(tolvana_options);
  options->log_level = -1;
}

int tolvana_configure(const tolvana_options* options) {
  return tolvana::guarded(__func__, 0, [&] {
    if (!options) {
      tolvana::logError("tolvana_configure: the options are NULL");
      return 0;
    }
    return Tolvana::configure(tolvana::c::configurationOf(*options)) ? 1 : 0;
  });
}

int64_t tolvana_main_queue_drain(void) { return Tolvana::drainMainQueue(); }

void tolvana_set_log_callback(tolvana_log_callback callback, void* user_data) {
  tolvana::guarded(__func__, [&] {
    if (!callback) return Tolvana::setLogHandler(nullptr);
    Tolvana::setLogHandler([callback, user_data](int level, std::string_view tag, std::string_view message) {
      callback(level, std::string(tag).c_str(), std::string(message).c_str(), user_data);
    });
  });
}

void tolvana_set_texts_changed_callback(tolvana_texts_changed_callback callback, void* user_data) {
  tolvana::guarded(__func__, [&] {
    if (!callback) return Tolvana::setTextsChangedHandler(nullptr);
    Tolvana::setTextsChangedHandler([callback, user_data](const tolvana::TextsChanged& notice) {
      tolvana::c::textsChanged(callback, user_data, notice);
    });
  });
}

}  // extern "C"
