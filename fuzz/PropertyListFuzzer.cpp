// Property lists from the user-defaults file, the bundle and string tables: whatever parses
// must write back in both formats, read back, and come out the same from a second round.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "platform/PropertyList.h"

using namespace tolvana;

namespace {

// Equal, but for dates within a millisecond (libplist keeps dates as seconds and
// microseconds and truncates the microseconds when it reads a binary date back), and NaN
// equal to NaN.
bool sameUpToDateDrift(const Value& a, const Value& b) {
  if (a.isReal() && b.isReal() && std::isnan(a.asReal()) && std::isnan(b.asReal())) return true;
  if (a.isDate() && b.isDate()) return std::fabs(a.asDate().secondsSince1970 - b.asDate().secondsSince1970) < 1e-3;
  if (a.isArray() && b.isArray()) {
    if (a.asArray().size() != b.asArray().size()) return false;
    for (std::size_t i = 0; i < a.asArray().size(); ++i) {
      if (!sameUpToDateDrift(a.asArray()[i], b.asArray()[i])) return false;
    }
    return true;
  }
  if (a.isDictionary() && b.isDictionary()) {
    if (a.asDictionary().size() != b.asDictionary().size()) return false;
    for (auto i = a.asDictionary().begin(), j = b.asDictionary().begin(); i != a.asDictionary().end(); ++i, ++j) {
      if (i->first != j->first || !sameUpToDateDrift(i->second, j->second)) return false;
    }
    return true;
  }
  return a == b;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto value = plist::parse(std::vector<std::uint8_t>(data, data + size));
  if (!value) return 0;
  for (plist::Format format : {plist::Format::Xml, plist::Format::Binary}) {
    std::string error;
    auto bytes = plist::serialize(*value, format, &error);
    if (bytes.empty()) continue;  // a null root has no form
    auto again = plist::parse(bytes, &error);
    if (!again) {
      std::fprintf(stderr, "written list does not read back: %s\n", error.c_str());
      std::abort();
    }
    // Whatever the first write dropped (nulls, dates out of range) is gone for good; after
    // that, rounds must agree.
    auto twice = plist::parse(plist::serialize(*again, format));
    if (!twice || !sameUpToDateDrift(*again, *twice)) {
      std::fprintf(stderr, "write, read, write, read is not stable\n");
      std::abort();
    }
  }
  return 0;
}
