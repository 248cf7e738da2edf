// Subprocess: runs a program to its end with exactly the arguments and environment given,
// and collects what it wrote.
#pragma once

#include <string>
#include <vector>

namespace tolvana::testing {

struct ProcessResult {
  int exitCode = -1;  // -1 when the program did not exit normally
  std::string out, err;
};

ProcessResult runProcess(const std::vector<std::string>& arguments, const std::vector<std::string>& environment);

}  // namespace tolvana::testing
