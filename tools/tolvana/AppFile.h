// The app file a settings archive ships (app.json → "app.tolvana"): the app's id and API
// secret on the translation server, the version and base language of the texts it ships,
// and optionally per-language entries.
//
//   {"_id": "my-app", "apiSecret": "…", "__v": 1, "baseLanguage": "en",
//    "languages": [{"name": "de", "entrys": [{"key": "k", "value": "v", "draft": ""}]}]}
//
// The app refuses a file without id, secret, version or base language only at its start,
// and skips what it does not understand without a word; checking here says so while the
// developer is still at the keyboard.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace tolvana::cli {

struct AppFileSummary {
  std::string appId;
  std::size_t languages = 0;  // languages with entries
  std::size_t entries = 0;
  std::vector<std::string> ignored;  // what the app will skip, one phrase each
};

// Throws CommandError naming the file and the field when the app would refuse it.
AppFileSummary checkAppFile(const nlohmann::json& appFile, const std::string& path);

}  // namespace tolvana::cli
