// tolvana update: one update request against the app's configured host, as the host app
// makes it, and what it changed in the local stores.
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <set>

#include <unistd.h>

#include "Commands.h"
#include "config/TLSettings.h"
#include "support/StringUtil.h"

namespace tolvana::cli {

namespace {

struct UpdateArguments {
  std::string groups, languages;
  bool verbose = false;
  int timeoutSeconds = 120;
};

// A line on a terminal's standard error that follows a large answer: bytes received, then the
// entries written while it is parsed. Small answers end before anyone could read it.
class ProgressLine {
 public:
  ProgressLine(const Session& session, const TLDatabase& db)
      : session_(session), db_(db), enabled_(isatty(STDERR_FILENO) != 0) {}

  void show() {
    std::size_t received = session_.answerBytesReceived();
    if (!enabled_ || (!shown_ && received < kThreshold)) return;
    std::fprintf(stderr, "\rreceived %.1f MB, %ld entries written", received / 1e6, db_.entriesWritten());
    std::fflush(stderr);
    shown_ = true;
  }
  // The last figures, also for a large answer that came and was written between two looks.
  void finish() {
    show();
    if (shown_) std::fputc('\n', stderr);
  }

 private:
  static constexpr std::size_t kThreshold = 1 << 20;
  const Session& session_;
  const TLDatabase& db_;
  const bool enabled_;
  bool shown_ = false;
};

std::optional<std::vector<std::string>> listOption(const std::string& text) {
  if (text.empty()) return std::nullopt;
  return split(text, ',');
}

std::string version(std::int64_t number) { return number < 0 ? "(new)" : "v" + std::to_string(number); }

// "de: main v1 → v2, 3 entries; onboarding (new) → v1, 1 entry"
std::string describe(const std::string& language, const std::vector<GroupChange>& groups) {
  std::vector<std::string> parts;
  for (const auto& group : groups) {
    parts.push_back(group.group + " " + version(group.versionBefore) + " → " + version(group.versionAfter) + ", " +
                    std::to_string(group.entriesWritten) + (group.entriesWritten == 1 ? " entry" : " entries"));
  }
  return language + ": " + join(parts, "; ");
}

// A language or group nobody has is most often a typo; the update itself went well, so it is
// a warning, not a failure.
void warnAboutUnknown(TLDatabase& db, const UpdateArguments& args) {
  auto languages = db.availableLanguages();
  for (const auto& language : listOption(args.languages).value_or(std::vector<std::string>{})) {
    if (!languages.contains(language)) {
      warn("no texts in language '" + language + "': the app has none and the server's answer brought none");
    }
  }
  std::set<std::string> groups;
  for (const auto& language : languages) {
    auto store = db.databaseForLanguage(language, false);
    auto list = store ? store->groupList() : std::nullopt;
    for (const auto& [name, version] : list.value_or(std::map<std::string, std::int64_t>{})) groups.insert(name);
  }
  for (const auto& group : listOption(args.groups).value_or(std::vector<std::string>{})) {
    if (!groups.contains(group)) {
      warn("no texts in group '" + group + "': no language of the app has it and the server's answer brought none");
    }
  }
}

void update(Session& session, const UpdateArguments& args) {
  if (args.verbose) session.traceHttp();
  auto db = session.initializedDatabase();
  auto engine = session.engine();
  session.note("updating from " + TLSettings::hostWithAppId(db->appId()) + " ...");
  std::fflush(stdout);

  // Shared with the completion, which the library may still call after --timeout has ended
  // this function.
  struct Outcome {
    std::mutex mutex;
    std::condition_variable done;
    std::optional<bool> success;
    TextChanges changes;
  };
  auto outcome = std::make_shared<Outcome>();
  engine->updateGroups(
      listOption(args.groups), listOption(args.languages), false,
      [outcome](bool success) {
        std::lock_guard lock(outcome->mutex);
        outcome->success = success;
        outcome->done.notify_all();
      },
      [outcome](const TextChanges& written) {
        std::lock_guard lock(outcome->mutex);
        outcome->changes = written;
      });
  ProgressLine progress(session, *db);
  std::unique_lock lock(outcome->mutex);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(args.timeoutSeconds);
  while (!outcome->done.wait_for(lock, std::chrono::milliseconds(200), [&] { return outcome->success.has_value(); })) {
    if (std::chrono::steady_clock::now() >= deadline) {
      throw CommandError("no answer within " + std::to_string(args.timeoutSeconds) + " s");
    }
    progress.show();
  }
  progress.finish();
  if (!*outcome->success) {
    auto cause = session.lastHttpFailure();
    throw CommandError(cause ? "update failed: " + *cause : session.withEngineError("update failed"));
  }
  // The answer was taken, but a full disk or a locked store may have kept it out.
  if (int unwritten = db->unwrittenGroups(); unwritten > 0) {
    throw CommandError(session.withEngineError("answer taken, but " + std::to_string(unwritten) + " group" +
                                               (unwritten == 1 ? "" : "s") + " could not be written"));
  }
  warnAboutUnknown(*db, args);
  if (outcome->changes.empty()) {
    std::printf("nothing new\n");
    return;
  }
  for (const auto& [language, groups] : outcome->changes) std::printf("%s\n", describe(language, groups).c_str());
}

}  // namespace

void addUpdateCommand(CLI::App& app, Session& session) {
  auto args = std::make_shared<UpdateArguments>();
  auto* command = app.add_subcommand("update", "Fetch new texts from the app's translation host");
  command->add_option("--groups", args->groups, "Groups to ask for, comma-separated (default: the app's)");
  command->add_option("--languages", args->languages, "Languages to ask for, comma-separated (default: the app's)");
  command->add_option("--timeout", args->timeoutSeconds, "Seconds to wait for the outcome")->capture_default_str();
  command->add_flag("--verbose", args->verbose, "Show each request (method, URL, headers) and the answer's size");
  command->callback([&session, args] { update(session, *args); });
}

}  // namespace tolvana::cli
