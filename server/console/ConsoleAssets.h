// ConsoleAssets: the console's page, styles and scripts, compiled into the server (the build
// turns assets/ into a table), so that the server serves them from any working directory and
// a browser never loads a byte of the console from anywhere else.
#pragma once

#include <span>
#include <string_view>

namespace tolvana::server {

struct ConsoleAsset {
  std::string_view name;  // file name under assets/, e.g. "console.js"
  std::string_view bytes;
};

std::span<const ConsoleAsset> consoleAssets();

}  // namespace tolvana::server
