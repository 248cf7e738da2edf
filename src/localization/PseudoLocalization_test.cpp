#include "localization/PseudoLocalization.h"

#include <gtest/gtest.h>

namespace tolvana {
namespace {

// Every form a text may hold for a program to read stays byte for byte; the letters around
// it change, and the padding counts only the characters shown.
TEST(PseudoLocalization, KeepsEveryPlaceholderTagAndEntity) {
  const struct {
    const char* text;
    const char* expected;
  } cases[] = {
      {"Hello", "[Ĥéļļö~~]"},
      {"Hello %{name}!", "[Ĥéļļö %{name}!~~~]"},
      {"%{a}%{b}", "[%{a}%{b}]"},
      {"%@ and %d", "[%@ åñð %d~~]"},
      {"%1$@ of %2$lld", "[%1$@ öƒ %2$lld~~]"},
      {"%.2f %5s %-3d %+i %05u %x %X %o %e %g %c %C %S %p %lu %hhd %zu %jd %td %qd %Lf %*d %.*f",
       "[%.2f %5s %-3d %+i %05u %x %X %o %e %g %c %C %S %p %lu %hhd %zu %jd %td %qd %Lf %*d %.*f~~~~~~~~~]"},
      {"100%% sure", "[100%% šûŕé~~~]"},
      {"%#@files@ found", "[%#@files@ ƒöûñð~~]"},
      {"Hello, %1! %L2 and %n items", "[Ĥéļļö, %1! %L2 åñð %n îţéɱš~~~~~~~~]"},
      {"<b>Bold</b> <a href=\"x\">link</a><br/>", "[<b>Ɓöļð</b> <a href=\"x\">ļîñķ</a><br/>~~~~]"},
      {"Fish &amp; chips &#169; &#x2014; &nbsp;", "[Ƒîšĥ &amp; çĥîþš &#169; &#x2014; &nbsp;~~~~~~]"},
      {"a < b & c > d", "[å < ƀ & ç > ð~~~~~]"},
      {"50%{ and %", "[50%{ åñð %~~~~]"},
      {"Grüße", "[Ĝŕüßé~~]"},
      {"", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(pseudoLocalized(c.text, 0.4), c.expected);
  }
}

TEST(PseudoLocalization, LengthensByTheShareWithinBounds) {
  EXPECT_EQ(pseudoLocalized("abcdefghij", 0.0), "[åƀçðéƒĝĥîĵ]");
  EXPECT_EQ(pseudoLocalized("abcdefghij", 1.0), "[åƀçðéƒĝĥîĵ~~~~~~~~~~]");
  EXPECT_EQ(pseudoLocalized("ab", -3.0), "[åƀ]");
  EXPECT_EQ(pseudoLocalized("ab", 100.0), "[åƀ~~~~~~~~~~]");
}

}  // namespace
}  // namespace tolvana
