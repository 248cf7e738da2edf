#include "catalogues/Catalogue.h"

#include <algorithm>
#include <array>

#include "catalogues/CatalogueFormats.h"
#include "catalogues/PluralOrder.h"
#include "support/StringUtil.h"

namespace tolvana::server {

namespace {

struct Known {
  CatalogueFormat format;
  std::string_view name, extension, contentType;
};

constexpr std::array<Known, 9> kKnown = {{
    {CatalogueFormat::jsonFlat, "json", ".json", "application/json"},
    {CatalogueFormat::jsonNested, "json-nested", ".json", "application/json"},
    {CatalogueFormat::strings, "strings", ".strings", "text/plain; charset=utf-8"},
    {CatalogueFormat::stringsdict, "stringsdict", ".stringsdict", "application/xml"},
    {CatalogueFormat::po, "po", ".po", "text/x-gettext-translation; charset=utf-8"},
    {CatalogueFormat::pot, "pot", ".pot", "text/x-gettext-translation; charset=utf-8"},
    {CatalogueFormat::xliff12, "xliff", ".xlf", "application/xliff+xml"},
    {CatalogueFormat::xliff2, "xliff2", ".xliff", "application/xliff+xml"},
    {CatalogueFormat::ts, "ts", ".ts", "application/xml"},
}};

const Known& known(CatalogueFormat format) {
  return *std::find_if(kKnown.begin(), kKnown.end(), [format](const Known& k) { return k.format == format; });
}

// The text without a UTF-8 byte-order mark; refuses other encodings with the line at fault,
// since a text read in the wrong encoding would be stored garbled.
std::string_view checkedText(std::string_view bytes) {
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF")) {
    throw CatalogueError("the file is UTF-16 text; save it as UTF-8");
  }
  if (isValidUtf8(bytes) && bytes.find('\0') == std::string_view::npos) return bytes;
  std::size_t line = 1, start = 0;
  for (;;) {
    std::size_t end = bytes.find('\n', start);
    std::string_view text = bytes.substr(start, end == std::string_view::npos ? end : end - start);
    if (!isValidUtf8(text) || text.find('\0') != std::string_view::npos) break;
    ++line;
    start = end + 1;
  }
  throw CatalogueError("line " + std::to_string(line) + " is not UTF-8 text; save the file as UTF-8");
}

}  // namespace

std::optional<CatalogueFormat> catalogueFormatNamed(std::string_view name) {
  for (const Known& k : kKnown) {
    if (k.name == name) return k.format;
  }
  return std::nullopt;
}

std::string_view catalogueFormatName(CatalogueFormat format) { return known(format).name; }
std::string_view catalogueFileExtension(CatalogueFormat format) { return known(format).extension; }
std::string_view catalogueContentType(CatalogueFormat format) { return known(format).contentType; }

Catalogue readCatalogue(CatalogueFormat format, std::string_view bytes, const std::string& language) {
  if (bytes.size() > kMaxCatalogueBytes) {
    throw CatalogueError("the file has " + std::to_string(bytes.size()) + " bytes; at most " +
                         std::to_string(kMaxCatalogueBytes) + " are taken");
  }
  switch (format) {
    case CatalogueFormat::jsonFlat: return readFlatJson(checkedText(bytes), language);
    case CatalogueFormat::jsonNested: return readNestedJson(checkedText(bytes), language);
    case CatalogueFormat::strings: return readStrings(checkedText(bytes), language);
    case CatalogueFormat::stringsdict: return readStringsdict(bytes, language);
    case CatalogueFormat::po:
    case CatalogueFormat::pot: return readPo(checkedText(bytes), language);
    case CatalogueFormat::xliff12:
    case CatalogueFormat::xliff2: return readXliff(checkedText(bytes), language);
    case CatalogueFormat::ts: return readTs(checkedText(bytes), language);
  }
  throw CatalogueError("unknown format");
}

std::string writeCatalogue(CatalogueFormat format, const Catalogue& catalogue) {
  switch (format) {
    case CatalogueFormat::jsonFlat: return writeFlatJson(catalogue);
    case CatalogueFormat::jsonNested: return writeNestedJson(catalogue);
    case CatalogueFormat::strings: return writeStrings(catalogue);
    case CatalogueFormat::stringsdict: return writeStringsdict(catalogue);
    case CatalogueFormat::po: return writePo(catalogue, false);
    case CatalogueFormat::pot: return writePo(catalogue, true);
    case CatalogueFormat::xliff12: return writeXliff(catalogue, false);
    case CatalogueFormat::xliff2: return writeXliff(catalogue, true);
    case CatalogueFormat::ts: return writeTs(catalogue);
  }
  return {};
}

std::string appKeyOf(const CatalogueText& text) {
  return text.plural.empty() ? text.key : text.key + "[" + text.plural + "]";
}

std::vector<CatalogueText> sortedTexts(const Catalogue& catalogue) {
  const auto& forms = pluralOrderOf(catalogue.language).forms;
  auto rank = [&forms](const std::string& plural) {
    if (plural.empty()) return -1;
    auto at = std::find(forms.begin(), forms.end(), plural);
    return static_cast<int>(at - forms.begin());
  };
  std::vector<CatalogueText> texts = catalogue.texts;
  std::stable_sort(texts.begin(), texts.end(), [&](const CatalogueText& a, const CatalogueText& b) {
    if (a.key != b.key) return a.key < b.key;
    return rank(a.plural) < rank(b.plural);
  });
  return texts;
}

}  // namespace tolvana::server
