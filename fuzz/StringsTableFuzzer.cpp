// Bundle string tables in every form a file may take (text in UTF-8 or UTF-16, XML or binary
// lists): a syntax error gives a reason, never a crash.
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string_view>

#include "fuzz/FuzzSandbox.h"
#include "platform/StringsTable.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto* sandbox = new tolvana::fuzz::FuzzSandbox;
  static const std::string file = sandbox->path() + "/Localizable.strings";
  std::string_view text(reinterpret_cast<const char*>(data), size);
  tolvana::strings::parseText(text);
  std::ofstream(file, std::ios::binary | std::ios::trunc).write(text.data(), static_cast<std::streamsize>(text.size()));
  tolvana::strings::readDictionaryFile(file);
  return 0;
}
