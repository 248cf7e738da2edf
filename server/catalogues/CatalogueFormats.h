// The readers and writers behind readCatalogue and writeCatalogue, one pair per format. They
// get text already checked for size and encoding, and throw CatalogueError.
#pragma once

#include "catalogues/Catalogue.h"

namespace tolvana::server {

// How deep a JSON or property-list file may nest: a real catalogue needs a handful of levels.
constexpr int kMaxCatalogueDepth = 32;

Catalogue readFlatJson(std::string_view text, const std::string& language);
Catalogue readNestedJson(std::string_view text, const std::string& language);
std::string writeFlatJson(const Catalogue& catalogue);
std::string writeNestedJson(const Catalogue& catalogue);

Catalogue readStrings(std::string_view text, const std::string& language);
Catalogue readStringsdict(std::string_view bytes, const std::string& language);
std::string writeStrings(const Catalogue& catalogue);
std::string writeStringsdict(const Catalogue& catalogue);

Catalogue readPo(std::string_view text, const std::string& language);
// A template (.pot) leaves every msgstr empty.
std::string writePo(const Catalogue& catalogue, bool templateOnly);

// XLIFF 1.2 or 2.0, by the version the root element names.
Catalogue readXliff(std::string_view text, const std::string& language);
std::string writeXliff(const Catalogue& catalogue, bool version2);
Catalogue readTs(std::string_view text, const std::string& language);
std::string writeTs(const Catalogue& catalogue);

// "key" or "key[one]": how apps and the flat formats name one form.
std::string appKeyOf(const CatalogueText& text);
// The texts in key order, each key's forms in the language's plural order.
std::vector<CatalogueText> sortedTexts(const Catalogue& catalogue);

}  // namespace tolvana::server
