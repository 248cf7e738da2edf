#include "support/Format.h"

namespace tolvana::format_detail {

std::size_t conversionLength(std::string_view fmt, std::size_t i) {
  std::size_t j = i + 1;
  while (j < fmt.size() && (fmt[j] == 'l' || fmt[j] == 'h' || fmt[j] == 'z')) ++j;
  if (j >= fmt.size()) return 0;
  switch (fmt[j]) {
    case '@': case 'd': case 'i': case 'u': case 's': case 'c': case 'f': case 'x':
      return j - i + 1;
    default:
      return 0;
  }
}

}  // namespace tolvana::format_detail
