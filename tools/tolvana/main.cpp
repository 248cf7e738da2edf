// tolvana: the library from the command line, for developers integrating it and for
// translators checking what an app will show.
//
//   tolvana --bundle MyApp.app lookup welcome --default "Welcome"
//
// Exit status: 0 on success, 1 when the operation failed, 2 on bad usage. Errors are one
// line on standard error.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "Commands.h"
#include "Session.h"
#include "tolvana/Version.h"

int main(int argc, char** argv) {
  using namespace tolvana::cli;
  Session session(SessionOptions{});
  SessionOptions& options = session.options();

  CLI::App app{"Tolvana: look up, inspect and update an app's translations"};
  app.name("tolvana");
  app.require_subcommand(1);
  app.set_version_flag("--version", "tolvana " TOLVANA_VERSION_STRING);
  app.add_option("--bundle", options.bundle, "App bundle directory (default: the platform's main bundle)");
  app.add_option("--data-dir", options.dataDir, "Data directory instead of the user's (stores go below it)");
  app.add_option("--defaults", options.defaults, "User defaults file instead of the app's own");
  app.add_option("--ca", options.caFile, "Further certificate authority (PEM) to trust for HTTPS");
  app.add_flag("--log", options.echoLog, "Show the engine's log lines on standard error");
  addSettingsCommand(app, session);
  addArchiveCommands(app, session);
  addLookupCommands(app, session);
  addLanguageCommands(app, session);
  addUpdateCommand(app, session);
  addStoreCommand(app, session);
  addServeCommand(app, session);

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& help) {
    return app.exit(help);
  } catch (const CLI::CallForAllHelp& help) {
    return app.exit(help);
  } catch (const CLI::CallForVersion& version) {
    return app.exit(version);
  } catch (const CLI::ParseError& error) {
    std::fprintf(stderr, "tolvana: %s (see tolvana --help)\n", error.what());
    return 2;
  } catch (const UsageError& error) {
    std::fprintf(stderr, "tolvana: %s (see tolvana --help)\n", error.what());
    return 2;
  } catch (const CommandError& error) {
    std::fprintf(stderr, "tolvana: %s\n", error.what());
    return 1;
  }
  std::fflush(stdout);
  return 0;
}
