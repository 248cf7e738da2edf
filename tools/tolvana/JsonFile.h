// JSON files the tool reads (app files, translation files, server projects), with errors
// that name the file, the line and the column.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace tolvana::cli {

// The parsed text; throws CommandError "<what> <path>: line L, column C: <reason>" when the
// text is no JSON.
nlohmann::json parseJson(const std::string& text, const std::string& what, const std::string& path);
// The same for a file, which must exist and be readable.
nlohmann::json readJsonFile(const std::string& path, const std::string& what);

}  // namespace tolvana::cli
