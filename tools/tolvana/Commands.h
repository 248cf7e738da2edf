// The commands of the tool. Each adds its subcommand to the app; its callback prints the
// result on standard output and throws CommandError or UsageError to fail.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdio>

#include "Session.h"
#include "support/StringUtil.h"

namespace tolvana::cli {

// "a, b, c", or "(none)" for no items.
inline std::string listOrNone(const auto& items) {
  std::string text = join(items, ", ");
  return text.empty() ? "(none)" : text;
}

// "tolvana: warning: <text>" on standard error: something that did not fail, but is most
// likely a mistake.
inline void warn(const std::string& text) { std::fprintf(stderr, "tolvana: warning: %s\n", text.c_str()); }

void addSettingsCommand(CLI::App& app, Session& session);
void addInitCommand(CLI::App& app, Session& session);
void addPackCommand(CLI::App& app, Session& session);
void addUnpackCommand(CLI::App& app, Session& session);
void addLookupCommands(CLI::App& app, Session& session);   // lookup, plural
void addLanguageCommands(CLI::App& app, Session& session);  // languages, set-language
void addUpdateCommand(CLI::App& app, Session& session);
void addStoreCommand(CLI::App& app, Session& session);
void addMissingCommand(CLI::App& app, Session& session);
void addExtractCommand(CLI::App& app, Session& session);
void addServeCommand(CLI::App& app, Session& session);
void addCatalogueCommands(CLI::App& app, Session& session);  // import, export
void addCompletionCommand(CLI::App& app);  // needs every other command added first

}  // namespace tolvana::cli
