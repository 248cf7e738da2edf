#include "catalogues/PluralOrder.h"

#include <array>

namespace tolvana::server {

namespace {

struct Row {
  std::string_view languages;  // space-separated
  PluralOrder order;
};

// The languages whose forms differ from one/other. Ranges are written as the apps' rules
// decide them, departures from common gettext headers included (Croatian 11, Romanian 0).
const std::array<Row, 10> kRows = {{
    {"id ja ko ms th tr vi", {{"other"}, "nplurals=1; plural=0;"}},
    {"fr", {{"one", "other"}, "nplurals=2; plural=(n > 1);"}},
    {"ru uk",
     {{"one", "few", "many"},
      "nplurals=3; plural=(n%10==1 && n%100!=11 ? 0 : n%10>=2 && n%10<=4 && (n%100<10 || n%100>=20) ? 1 : 2);"}},
    {"hr",
     {{"one", "few", "many"},
      "nplurals=3; plural=(n%10==1 && n%100!=11 ? 0 : (n%10>=2 && n%10<=4 && (n%100<12 || n%100>14)) || "
      "n%100==11 ? 1 : 2);"}},
    {"pl",
     {{"one", "few", "many"}, "nplurals=3; plural=(n==1 ? 0 : n%10>=2 && n%10<=4 && (n%100<12 || n%100>14) ? 1 : 2);"}},
    {"cs sk", {{"one", "few", "other"}, "nplurals=3; plural=(n==1 ? 0 : n>=2 && n<=4 ? 1 : 2);"}},
    {"ro", {{"one", "few", "other"}, "nplurals=3; plural=(n==1 ? 0 : n==0 || (n%100>=2 && n%100<=19) ? 1 : 2);"}},
    {"lv", {{"zero", "one", "many"}, "nplurals=3; plural=(n==0 ? 0 : n%10==1 && n%100!=11 ? 1 : 2);"}},
    {"he", {{"one", "two", "many", "other"}, "nplurals=4; plural=(n==1 ? 0 : n==2 ? 1 : (n<3 || n>10) && n%10==0 ? 2 : 3);"}},
    {"ar",
     {{"zero", "one", "two", "few", "many", "other"},
      "nplurals=6; plural=(n==0 ? 0 : n==1 ? 1 : n==2 ? 2 : n%100>=3 && n%100<=10 ? 3 : n%100>=11 ? 4 : 5);"}},
}};

const PluralOrder kOneOther{{"one", "other"}, "nplurals=2; plural=(n != 1);"};

bool listed(std::string_view languages, std::string_view code) {
  while (!languages.empty()) {
    auto space = languages.find(' ');
    if (languages.substr(0, space) == code) return true;
    if (space == std::string_view::npos) break;
    languages.remove_prefix(space + 1);
  }
  return false;
}

}  // namespace

const PluralOrder& pluralOrderOf(std::string_view language) {
  std::string_view code = language.substr(0, language.find_first_of("-_"));
  for (const Row& row : kRows) {
    if (listed(row.languages, code)) return row.order;
  }
  return kOneOther;
}

}  // namespace tolvana::server
