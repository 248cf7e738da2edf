// Catalogue files: each format reads back what it wrote, plural forms land on the language's
// forms both ways (and pick the form the apps pick), and hostile files are refused with a reason.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "catalogues/Catalogue.h"
#include "catalogues/PluralOrder.h"
#include "localization/TLPluralRule.h"

namespace tolvana::server {
namespace {

std::vector<CatalogueText> sorted(std::vector<CatalogueText> texts, bool keepComments) {
  for (auto& t : texts) t.comment = keepComments ? t.comment : "";
  std::sort(texts.begin(), texts.end(), [](const auto& a, const auto& b) {
    return std::tie(a.key, a.plural) < std::tie(b.key, b.plural);
  });
  return texts;
}

TEST(Catalogues, EveryFormatReadsBackWhatItWrote) {
  Catalogue ru{"ru",
               {{"welcome.title", "", "Добро \"пожаловать\"\\", "shown first"},
                {"welcome.body", "", "Line one\nline\ttwo\n", ""},
                {"welcome", "", "a key that is also a folder", ""},
                {"Save %@?", "", "Сохранить %@?", "two\nlines of note"},
                {"files", "one", "%d файл", ""},
                {"files", "few", "%d файла", ""},
                {"files", "many", "%d файлов", ""},
                {"menu.one", "", "a text named like a form", ""}},
               {{"files[one]", "%d file"}, {"welcome.title", "Welcome"}}};
  struct Case {
    CatalogueFormat format;
    bool pluralsOnly, keepsComments;
  } const cases[] = {{CatalogueFormat::jsonFlat, false, false},    {CatalogueFormat::jsonNested, false, false},
                     {CatalogueFormat::strings, false, false},     {CatalogueFormat::stringsdict, true, false},
                     {CatalogueFormat::po, false, true},           {CatalogueFormat::xliff12, false, true},
                     {CatalogueFormat::xliff2, false, true},       {CatalogueFormat::ts, false, true}};
  for (const Case& c : cases) {
    std::string file = writeCatalogue(c.format, ru);
    std::vector<CatalogueText> expected;
    for (const auto& t : ru.texts) {
      if (!c.pluralsOnly || !t.plural.empty()) expected.push_back(t);
    }
    EXPECT_EQ(sorted(readCatalogue(c.format, file, "ru").texts, c.keepsComments), sorted(expected, c.keepsComments))
        << catalogueFormatName(c.format) << ":\n" << file;
  }
  // A key with a plain text beside its forms cannot nest; it is written whole and reads back.
  Catalogue mixed{"ru", {{"x", "", "plain", ""}, {"x", "one", "form", ""}}};
  EXPECT_EQ(readCatalogue(CatalogueFormat::jsonNested, writeCatalogue(CatalogueFormat::jsonNested, mixed), "ru").texts,
            mixed.texts);
  EXPECT_TRUE(readCatalogue(CatalogueFormat::pot, writeCatalogue(CatalogueFormat::pot, ru), "ru").texts.empty())
      << "a template holds no translations";
}

// Evaluates a Plural-Forms expression for n, as gettext tools do: C's ?:, ||, &&, comparisons, %.
class PluralExpression {
 public:
  PluralExpression(std::string_view text, std::uint64_t n) : s_(text), n_(n) {}
  std::uint64_t value() { return ternary(); }

 private:
  void skip() { while (at_ < s_.size() && s_[at_] == ' ') ++at_; }
  bool eat(std::string_view token) {
    skip();
    if (s_.substr(at_, token.size()) != token) return false;
    at_ += token.size();
    return true;
  }
  std::uint64_t ternary() {
    std::uint64_t condition = either();
    if (!eat("?")) return condition;
    std::uint64_t yes = ternary();
    eat(":");
    std::uint64_t no = ternary();
    return condition ? yes : no;
  }
  std::uint64_t either() { auto v = both(); while (eat("||")) v = both() || v; return v; }
  std::uint64_t both() { auto v = compared(); while (eat("&&")) v = compared() && v; return v; }
  std::uint64_t compared() {
    auto v = remainder();
    for (;;) {
      if (eat("==")) v = v == remainder();
      else if (eat("!=")) v = v != remainder();
      else if (eat("<=")) v = v <= remainder();
      else if (eat(">=")) v = v >= remainder();
      else if (eat("<")) v = v < remainder();
      else if (eat(">")) v = v > remainder();
      else return v;
    }
  }
  std::uint64_t remainder() { auto v = primary(); while (eat("%")) v %= primary(); return v; }
  std::uint64_t primary() {
    if (eat("(")) { auto v = ternary(); eat(")"); return v; }
    if (eat("n")) return n_;
    std::uint64_t v = 0;
    for (skip(); at_ < s_.size() && std::isdigit(static_cast<unsigned char>(s_[at_])); ++at_) v = v * 10 + (s_[at_] - '0');
    return v;
  }
  std::string_view s_;
  std::uint64_t n_;
  std::size_t at_ = 0;
};

TEST(Catalogues, PluralFormsFollowTheLanguageBothWays) {
  // The header a written file carries must pick, for every quantity, the form the apps pick.
  for (std::string_view language : {"en", "fr", "ru", "uk", "pl", "hr", "cs", "ro", "lv", "he", "ar", "ja", "de"}) {
    const PluralOrder& order = pluralOrderOf(language);
    std::string_view expression = order.header.substr(order.header.find("plural=") + 7);
    for (std::uint64_t n = 0; n <= 1200; ++n) {
      std::uint64_t index = PluralExpression(expression, n).value();
      ASSERT_LT(index, order.forms.size()) << language << " n=" << n;
      ASSERT_EQ(order.forms[index], *pluralRuleWord(GetPluralRuleForISO6391(n, language))) << language << " n=" << n;
    }
  }
  const std::string po = R"(msgid ""
msgstr "Plural-Forms: nplurals=3; plural=(n==1 ? 0 : n%10>=2 && n%10<=4 && (n%100<12 || n%100>14) ? 1 : 2);\n"

msgid "%d file"
msgid_plural "%d files"
msgstr[0] "%d plik"
msgstr[1] "%d pliki"
msgstr[2] "%d plików"
)";
  auto pl = readCatalogue(CatalogueFormat::po, po, "pl").texts;
  std::vector<CatalogueText> expected = {
      {"%d file", "one", "%d plik", ""}, {"%d file", "few", "%d pliki", ""}, {"%d file", "many", "%d plików", ""}};
  EXPECT_EQ(pl, expected);
  std::string written = writeCatalogue(CatalogueFormat::po, {"pl", pl, {}});
  EXPECT_NE(written.find("msgstr[0] \"%d plik\"\nmsgstr[1] \"%d pliki\"\nmsgstr[2] \"%d plików\""), std::string::npos) << written;
  EXPECT_NE(written.find("nplurals=3;"), std::string::npos);
  EXPECT_THROW(readCatalogue(CatalogueFormat::po, po, "de"), CatalogueError) << "three forms are not German's two";
}

TEST(Catalogues, HostileFilesAreRefusedWithAReason) {
  // Ten levels of ten references each: a few hundred bytes that expand to gigabytes.
  auto bomb = [](const std::string& root, const std::string& body) {
    std::string out = "<?xml version=\"1.0\"?><!DOCTYPE " + root + " [<!ENTITY a0 \"laugh\">";
    for (int level = 1; level <= 9; ++level) {
      out += "<!ENTITY a" + std::to_string(level) + " \"";
      for (int i = 0; i < 10; ++i) out += "&a" + std::to_string(level - 1) + ";";
      out += "\">";
    }
    return out + "]>" + body;
  };
  std::string deepDicts;
  std::string deepGroups;
  for (int i = 0; i < 1000; ++i) deepDicts += "<dict>";
  for (int i = 0; i < 100; ++i) deepGroups = "<g>" + deepGroups + "</g>";  // within the parser's own bound
  struct Case {
    CatalogueFormat format;
    std::string file, reason;
  } const cases[] = {
      {CatalogueFormat::po, std::string(kMaxCatalogueBytes + 1, '#'), "at most"},
      {CatalogueFormat::po, "msgid \"a\"\nmsgstr \"caf\xE9\"\n", "line 2 is not UTF-8"},
      {CatalogueFormat::strings, "\xFF\xFE\"\0a\0\"\0", "UTF-16"},
      {CatalogueFormat::po, "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=ISO-8859-1\\n\"\n", "iso-8859-1"},
      {CatalogueFormat::po, "msgid \"a\nmsgstr \"b\"\n", "line 1"},
      {CatalogueFormat::po, "msgstr \"b\"\n", "without a msgid"},
      {CatalogueFormat::po, "msgid \"a\"\nmsgstr  \n", "line 2: expected a keyword and a quoted text"},
      {CatalogueFormat::po, "msgid \"a\"\nmsgstr \"b\"\n\nmsgid \"a\"\nmsgstr \"c\"\n", "also on line 1"},
      {CatalogueFormat::jsonNested, std::string(100000, '[') + std::string(100000, ']'), "deeper"},
      {CatalogueFormat::jsonFlat, R"({"a": {"b": "c"}})", "flat JSON file holds texts only"},
      {CatalogueFormat::stringsdict, "<plist>" + deepDicts + "</plist>", "deeper"},
      {CatalogueFormat::stringsdict,
       bomb("plist", "<plist><dict><key>k</key><dict><key>NSStringLocalizedFormatKey</key><string>&a9;</string>"
                     "</dict></dict></plist>"),
       "no property-list"},
      {CatalogueFormat::xliff12,
       bomb("xliff", R"(<xliff version="1.2"><file><body><trans-unit id="k"><target>&a9;</target></trans-unit>)"
                     "</body></file></xliff>"),
       "declares entities"},
      {CatalogueFormat::ts, "<TS>" + deepGroups + "</TS>", "deeper"},
      {CatalogueFormat::xliff2, "<xliff version=\"2.0\">\n<file>\n<unit id=\"a\"></file>", "line 3"},
  };
  for (const Case& c : cases) {
    try {
      readCatalogue(c.format, c.file, "ru");
      ADD_FAILURE() << c.file.substr(0, 80) << " was taken";
    } catch (const CatalogueError& error) {
      EXPECT_NE(std::string(error.what()).find(c.reason), std::string::npos) << error.what();
    }
  }
  // A document type naming an outside DTD is read without fetching it.
  EXPECT_EQ(readCatalogue(CatalogueFormat::ts,
                          R"(<!DOCTYPE TS SYSTEM "http://127.0.0.1:9/ts.dtd"><TS><message><source>a</source>)"
                          R"(<translation>b</translation></message></TS>)", "ru").texts.size(), 1u);
}

}  // namespace
}  // namespace tolvana::server
