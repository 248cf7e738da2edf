// SourceScanner: the keys and default texts an app's sources look up, read from the sources
// themselves.
//
// It knows the look-ups of the C++ facade (localizedStringForKey), the C interface
// (tolvana_localized_string*), Qt (tr, QT_TR_NOOP, QT_TRANSLATE_NOOP, qtTrId, and qsTr,
// qsTranslate, qsTrId in QML), Foundation (NSLocalizedString and its variants) and the
// Objective-C class Tolvana's selectors. A key or default must be a string literal, or
// literals joined as the language joins them ("a" "b" in C, "a" + "b" in QML); escapes are
// decoded. A look-up whose key is computed cannot be extracted and is reported instead.
//
// It is a scanner, not a compiler: it needs no include paths or build flags, and a macro that
// hides a look-up hides it here too.
#pragma once

#include <string>
#include <vector>

namespace tolvana::cli {

enum class SourceLanguage { c, objectiveC, qml };

struct ExtractedString {
  std::string key;
  std::string text;     // the default text; for a plural look-up, that of every form
  bool plural = false;  // the look-up picks a plural form ("key[one]", "key[other]")
  int line = 0;
};

struct ScanResult {
  std::vector<ExtractedString> strings;
  std::vector<int> computedKeys;  // lines of look-ups whose key is no literal
};

// The language a file's extension names; false for a file that is no source.
bool sourceLanguageOf(const std::string& path, SourceLanguage* language);
ScanResult scanSource(const std::string& text, SourceLanguage language);

}  // namespace tolvana::cli
