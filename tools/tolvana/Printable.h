// Text from archives, files and servers made safe for one line on a terminal.
#pragma once

#include <string>
#include <string_view>

namespace tolvana::cli {

// Well-formed UTF-8 stays as it is; control characters and bytes that are no UTF-8 become
// "\xNN", so that a corrupt archive's bytes cannot garble the terminal or split the line.
std::string printable(std::string_view text);

}  // namespace tolvana::cli
