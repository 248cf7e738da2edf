#include "TolvanaTranslator.h"

#include <QCoreApplication>
#include <QEvent>
#include <QLocale>
#include <QPointer>
#include <memory>

#include "tolvana/Hooks.h"
#include "tolvana/platform/Platform.h"

namespace tolvana::qt {

namespace {

QPointer<TolvanaTranslator> current;

// Qt puts the quantity in after the translators answered, which would copy the text and
// lose its tag; put in here, it leaves nothing for Qt to change.
QString toQString(const std::optional<TolvanaHooks::Answer>& answer, int n = -1) {
  if (!answer) return {};
  QString text = QString::fromStdString(answer->text);
  if (n >= 0) {
    text.replace(QLatin1String("%Ln"), QLocale().toString(n));
    text.replace(QLatin1String("%n"), QString::number(n));
  }
  // The tag keeps a copy, so the shared data, and with it the address, stays this text's.
  // Empty texts share one static storage, which no tag may claim.
  if (answer->key && !text.isEmpty()) {
    TolvanaHooks::tagText(text.constData(), std::make_shared<const QString>(text), *answer->key);
  }
  return text;
}

// Qt's own classes (QLineEdit's menu, QDialogButtonBox's buttons) have Qt's translation
// files; asking the stores would only report Qt's texts as the app's missing strings.
// QObject::tr() is what an app calls from a free function, so that context is the app's.
bool isQtClass(const char* context) {
  return context && context[0] == 'Q' && context[1] >= 'A' && context[1] <= 'Z' && qstrcmp(context, "QObject") != 0;
}

bool keysWithContext() {
  auto bundle = Platform::Current().bundles().mainBundle();
  auto value = bundle ? bundle->objectForInfoDictionaryKey("TolvanaQtKeysWithContext") : std::nullopt;
  return value && value->isBoolean() && value->boolValue();
}

}  // namespace

void TolvanaTranslator::install(QObject* context) {
  auto* translator = new TolvanaTranslator(context);
  translator->keysWithContext_ = keysWithContext();
  current = translator;
  QCoreApplication::instance()->installEventFilter(translator);
  translator->moveToFront();
}

void TolvanaTranslator::announceTextsChanged() {
  TolvanaTranslator* translator = current.data();
  if (!translator || !QCoreApplication::instance()) return;
  translator->busy_ = true;
  QEvent change(QEvent::LanguageChange);
  QCoreApplication::sendEvent(QCoreApplication::instance(), &change);
  translator->busy_ = false;
}

QString TolvanaTranslator::translate(const char* context, const char* sourceText, const char* disambiguation,
                                     int n) const {
  if (!sourceText || !*sourceText || isQtClass(context)) return {};
  // Read before the look-up: an answer that changes while it runs is then kept for a
  // generation that has already passed, and never served.
  // Plural look-ups are never kept, so they neither build the key nor read the generation.
  const bool keepable = n < 0;
  const std::uint64_t generation = keepable ? TolvanaHooks::answersGeneration() : 0;
  std::optional<AnswerCache::Key> cacheKey;
  if (keepable) {
    cacheKey.emplace(AnswerCache::Query{context, sourceText, disambiguation});
    const std::int64_t now = TolvanaHooks::monotonicNanoseconds();
    answers_.bringUpTo(generation, now);
    if (auto kept = answers_.find(generation, *cacheKey, now)) return *std::move(kept);
  }
  std::string_view key(sourceText);
  std::string_view translationContext = context ? std::string_view(context) : std::string_view();
  // qtTrId passes no context: its id is a key, not a text to show.
  std::optional<std::string_view> defaultValue;
  if (context) defaultValue = key;
  std::string qualified;
  if (keysWithContext_ && context) {
    qualified.append(translationContext).append("|").append(key);
    if (disambiguation && *disambiguation) qualified.append("|").append(disambiguation);
    key = qualified;
  }
  if (!keepable) {
    return toQString(TolvanaHooks::lookUpPlural(key, defaultValue, translationContext, static_cast<std::uint64_t>(n)),
                     n);
  }
  auto answer = TolvanaHooks::lookUp(key, defaultValue, translationContext);
  if (answer && answer->repeatable) return answers_.keep(generation, *cacheKey, key, answer->text);
  return toQString(answer);
}

bool TolvanaTranslator::eventFilter(QObject* watched, QEvent* event) {
  // Installing or removing another translator announces itself to the application object.
  if (event->type() == QEvent::LanguageChange && watched == QCoreApplication::instance() && !busy_) moveToFront();
  return false;
}

void TolvanaTranslator::moveToFront() {
  busy_ = true;
  armed_ = false;
  QCoreApplication::removeTranslator(this);
  QCoreApplication::installTranslator(this);
  armed_ = true;
  busy_ = false;
}

}  // namespace tolvana::qt
