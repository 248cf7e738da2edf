// PseudoLocalization: texts that look translated before any translation exists, so that
// testers see layout faults early. Every letter becomes an accented look-alike (a text that
// stays plain was never looked up), the text grows by a share of its length (translations
// run longer than English), and brackets enclose it (a cut-off end shows).
//
// What a program reads out of a text keeps working: placeholders of every form a text may
// hold (%{name}, %@, %d, %1$@, %.2f, %lld, %%, %#@name@, and a toolkit's %1, %L1, %n), HTML
// tags and entities stay exactly as they were.
//
//   pseudoLocalized("Hello %{name}, <b>3 &amp; 4</b>", 0.4)
//     == "[Ĥéļļö %{name}, <b>3 &amp; 4</b>~~~~~]"
//
// Thread contract: a pure function; any thread.
#pragma once

#include <string>
#include <string_view>

namespace tolvana {

// Larger shares make no layout fault more visible, only texts longer than any screen.
constexpr double kMaxPseudoExpansion = 5.0;

// The text transformed, lengthened by expansion (0.4: 40 %, held to 0…5) times the characters
// shown; an empty text stays empty.
std::string pseudoLocalized(std::string_view text, double expansion);

}  // namespace tolvana
