// The commands of the tool. Each adds its subcommand to the app; its callback prints the
// result on standard output and throws CommandError or UsageError to fail.
#pragma once

#include <CLI/CLI.hpp>

#include "Session.h"
#include "support/StringUtil.h"

namespace tolvana::cli {

// "a, b, c", or "(none)" for no items.
inline std::string listOrNone(const auto& items) {
  std::string text = join(items, ", ");
  return text.empty() ? "(none)" : text;
}

void addSettingsCommand(CLI::App& app, Session& session);
void addArchiveCommands(CLI::App& app, Session& session);  // pack, unpack
void addLookupCommands(CLI::App& app, Session& session);   // lookup, plural
void addLanguageCommands(CLI::App& app, Session& session);  // languages, set-language
void addUpdateCommand(CLI::App& app, Session& session);
void addStoreCommand(CLI::App& app, Session& session);
void addMissingCommand(CLI::App& app, Session& session);
void addServeCommand(CLI::App& app, Session& session);
void addCatalogueCommands(CLI::App& app, Session& session);  // import, export
void addCompletionCommand(CLI::App& app);  // needs every other command added first

}  // namespace tolvana::cli
