// Property lists from the user-defaults file, the bundle and string tables: whatever parses
// must write back in both formats, and what was written must read back to the same list.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "platform/PropertyList.h"

using namespace tolvana;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto value = plist::parse(std::vector<std::uint8_t>(data, data + size));
  if (!value) return 0;
  for (plist::Format format : {plist::Format::Xml, plist::Format::Binary}) {
    std::string error;
    auto bytes = plist::serialize(*value, format, &error);
    if (bytes.empty()) continue;  // null roots and unwritable keys are refused by design
    auto again = plist::parse(bytes, &error);
    if (!again) {
      std::fprintf(stderr, "written list does not read back: %s\n", error.c_str());
      std::abort();
    }
    // A second round must be stable: whatever the first write dropped is gone for good.
    if (plist::serialize(*again, format) != bytes) {
      std::fprintf(stderr, "write, read, write is not stable\n");
      std::abort();
    }
  }
  return 0;
}
