// PluralOrder: which plural forms a language has, in the order gettext numbers them
// (msgstr[0], msgstr[1], ...), and the Plural-Forms header that picks the same form for a
// quantity as the apps do. A file's forms are mapped to form words through this order, both
// ways; it has to agree with the library's plural rules, which a test checks.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tolvana::server {

struct PluralOrder {
  std::vector<std::string_view> forms;  // form words, msgstr index order
  std::string_view header;              // "nplurals=N; plural=EXPRESSION;"
};

// By the language's first subtag ("pt_BR" as "pt"); one/other where none is known.
const PluralOrder& pluralOrderOf(std::string_view language);

}  // namespace tolvana::server
