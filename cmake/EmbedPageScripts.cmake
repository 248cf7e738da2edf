# Writes OUTPUT, a C++ file holding the bytes of the page scripts MODERN and LEGACY, so that
# the library carries them without reading files at run time.
function(embed variable file out)
  file(READ ${file} hex HEX)
  string(LENGTH "${hex}" digits)
  math(EXPR size "${digits} / 2")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${hex}")
  string(REGEX REPLACE "(('[^']*',){16})" "\\1\n    " bytes "${bytes}")
  set(${out} "const char ${variable}[] = {\n    ${bytes}'\\0'};\nconstexpr std::size_t ${variable}Size = ${size};\n" PARENT_SCOPE)
endfunction()
embed(kModern ${MODERN} modern)
embed(kLegacy ${LEGACY} legacy)
file(WRITE ${OUTPUT}.tmp "// Generated from src/localization/js/ by cmake/EmbedPageScripts.cmake.
#include <cstddef>

#include \"localization/PageScripts.h\"

namespace tolvana {
namespace {
${modern}${legacy}}  // namespace

std::string_view modernPageScript() { return {kModern, kModernSize}; }
std::string_view legacyPageScript() { return {kLegacy, kLegacySize}; }

}  // namespace tolvana
")
file(COPY_FILE ${OUTPUT}.tmp ${OUTPUT} ONLY_IF_DIFFERENT)
