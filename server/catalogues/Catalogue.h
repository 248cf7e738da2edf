// Catalogue: the texts of one language as translation files hold them, whatever the file's
// format. The readers and writers of each format meet here, so a file of one format can be
// written out in another and the import compares one form with the database.
//
//   Catalogue c = readCatalogue(CatalogueFormat::po, bytes, "ru");   // throws CatalogueError
//   std::string json = writeCatalogue(CatalogueFormat::jsonNested, c);
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tolvana::server {

struct CatalogueText {
  std::string key{};
  std::string plural{};   // "" or zero, one, two, few, many, other
  std::string text{};
  std::string comment{};  // a note for translators; formats without notes drop it

  bool operator==(const CatalogueText&) const = default;
};

struct Catalogue {
  std::string language{};
  std::vector<CatalogueText> texts{};
  // The base language's text of each key ("key" or "key[one]"), for the formats that show a
  // translator the source beside the translation. Writing only; readers leave it empty.
  std::map<std::string, std::string> sourceTexts{};
  std::string sourceLanguage{};  // the base language, for the formats that name it
};

// A file that cannot be read; the message tells the person who sent it what to fix.
class CatalogueError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class CatalogueFormat { jsonFlat, jsonNested, strings, stringsdict, po, pot, xliff12, xliff2, ts };

// Larger files are refused before they are parsed: ten times a large app's catalogue.
constexpr std::size_t kMaxCatalogueBytes = std::size_t{8} << 20;

// "json", "json-nested", "strings", "stringsdict", "po", "pot", "xliff" (1.2), "xliff2", "ts".
std::optional<CatalogueFormat> catalogueFormatNamed(std::string_view name);
std::string_view catalogueFormatName(CatalogueFormat format);
std::string_view catalogueFileExtension(CatalogueFormat format);
std::string_view catalogueContentType(CatalogueFormat format);

// Refuses files too large, not in UTF-8 (the property-list form of .stringsdict excepted),
// or malformed, naming the line where it can.
Catalogue readCatalogue(CatalogueFormat format, std::string_view bytes, const std::string& language);
// Texts in key order; plural forms in the language's order.
std::string writeCatalogue(CatalogueFormat format, const Catalogue& catalogue);

}  // namespace tolvana::server
