// gzip streams of answers, made once and served many times.
#pragma once

#include <string>
#include <string_view>

namespace tolvana::server {

// The data as one gzip stream.
std::string gzipped(std::string_view data);

}  // namespace tolvana::server
