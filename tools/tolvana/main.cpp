// tolvana: the library from the command line, for developers integrating it and for
// translators checking what an app will show.
//
//   tolvana --bundle MyApp.app lookup welcome --default "Welcome"
//
// Exit status: 0 on success, 1 when the operation failed, 2 on bad usage. Errors are one
// line on standard error.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "Commands.h"
#include "Printable.h"
#include "Session.h"
#include "tolvana/Version.h"

namespace {

// The command the words name: the first word that is not an option, or the value of one.
std::optional<std::string> commandWord(CLI::App& app, int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    std::string_view word = argv[i];
    if (word.starts_with("-")) {
      const CLI::Option* option = app.get_option_no_throw(std::string(word));
      if (option && option->get_items_expected_min() > 0 && word.find('=') == std::string_view::npos) ++i;
      continue;
    }
    return std::string(word);
  }
  return std::nullopt;
}

bool isCommand(CLI::App& app, const std::optional<std::string>& word) {
  try {
    return word && app.get_subcommand(*word);
  } catch (const CLI::OptionNotFound&) {
    return false;
  }
}

// A command's help lists its own options; the global ones, taken before or after the
// command, follow beneath it.
void listGlobalOptionsUnderEachCommand(CLI::App& app) {
  std::string text = "Global options (before or after the command):\n";
  for (const CLI::Option* option : app.get_options()) {
    if (option->check_lname("help") || option->check_lname("version")) continue;
    std::string names = option->get_name(false, true);
    if (option->get_items_expected_min() > 0) names += " " + option->get_type_name();
    names.resize(std::max<std::size_t>(names.size() + 1, 28), ' ');
    text += "  " + names + option->get_description() + "\n";
  }
  for (CLI::App* command : app.get_subcommands([](CLI::App*) { return true; })) command->footer(text);
}

}  // namespace

int main(int argc, char** argv) {
  using namespace tolvana::cli;
  Session session(SessionOptions{});
  SessionOptions& options = session.options();

  CLI::App app{"Tolvana: look up, inspect and update an app's translations"};
  app.name("tolvana");
  app.require_subcommand(1);
  // Global options are taken after the command word too ("tolvana update --ca FILE"); the
  // commands added below inherit this.
  app.fallthrough();
  app.set_version_flag("--version", "tolvana " TOLVANA_VERSION_STRING);
  app.add_option("--bundle", options.bundle, "App bundle directory (default: the platform's main bundle)");
  app.add_option("--data-dir", options.dataDir, "Data directory instead of the user's (stores go below it)");
  app.add_option("--defaults", options.defaults, "User defaults file instead of the app's own");
  app.add_option("--ca", options.caFile, "Further certificate authority (PEM) to trust for HTTPS");
  app.add_flag("--log", options.echoLog, "Show the engine's log lines on standard error");
  app.add_flag("-q,--quiet", options.quiet, "Leave out status lines; print only results and errors");
  app.add_option("--color", options.color, "Headings in bold: auto (on a terminal), always or never")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->capture_default_str();
  addSettingsCommand(app, session);
  addInitCommand(app, session);
  addPackCommand(app, session);
  addUnpackCommand(app, session);
  addLookupCommands(app, session);
  addLanguageCommands(app, session);
  addUpdateCommand(app, session);
  addStoreCommand(app, session);
  addMissingCommand(app, session);
  addExtractCommand(app, session);
  addServeCommand(app, session);
  addCatalogueCommands(app, session);
  addCompletionCommand(app);
  listGlobalOptionsUnderEachCommand(app);

  int status = 0;
  std::string error;
  auto command = commandWord(app, argc, argv);
  // Bad usage points to the help of the command it concerns.
  std::string helpHint = " (see tolvana " + (isCommand(app, command) ? *command + " " : "") + "--help)";
  try {
    if (command && !isCommand(app, command)) throw UsageError("unknown command '" + *command + "'");
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& help) {
    return app.exit(help);
  } catch (const CLI::CallForAllHelp& help) {
    return app.exit(help);
  } catch (const CLI::CallForVersion& version) {
    return app.exit(version);
  } catch (const CLI::ParseError& e) {
    status = 2;
    error = e.what() + helpHint;
  } catch (const UsageError& e) {
    status = 2;
    error = e.what() + helpHint;
  } catch (const CommandError& e) {
    status = 1;
    error = e.what();
  }
  // Alerts the engine queued for the main queue are shown before the process ends.
  session.drainMainQueue();
  std::fflush(stdout);
  if (status != 0) std::fprintf(stderr, "tolvana: %s\n", printable(error).c_str());
  return status;
}
