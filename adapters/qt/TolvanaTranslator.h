// TolvanaTranslator: every tr(), QCoreApplication::translate and qtTrId of the host answered
// from the engine.
//
// The key is the source text (for qtTrId, the id); tr()'s source text is also the default
// text a miss is reported with, while an id comes without one. The context picks the
// bundle (see BundleHook for the framework rule). With "TolvanaQtKeysWithContext" the key is
// "context|source" ("context|source|disambiguation" with one), so one source text can have
// a translation per context; else neither is part of the key. A plural tr(..., n) looks up
// the form of n's rule. Qt's own classes (contexts "Q" and a capital, except QObject, whose
// tr() apps call from free functions) are left to Qt's translation files. Where the engine has nothing the
// answer is a null string, so the app's other translators and finally the source text
// answer. The translator keeps itself first in the application's list, so texts from the
// stores win over the app's own translation files.
#pragma once

#include <QObject>
#include <QTranslator>

#include "AnswerCache.h"

namespace tolvana::qt {

class TolvanaTranslator final : public QTranslator {
 public:
  // Installs a translator owned by context (on the GUI thread) and keeps it first.
  static void install(QObject* context);
  // Has the app's widgets retranslate after the stores changed; on the GUI thread.
  static void announceTextsChanged();

  QString translate(const char* context, const char* sourceText, const char* disambiguation = nullptr,
                    int n = -1) const override;
  // Empty while it installs itself: an empty translator's installation notifies nobody, so
  // start-up inside the application's constructor sends no events, and moving back to the
  // front sends none of its own.
  bool isEmpty() const override { return !armed_; }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  explicit TolvanaTranslator(QObject* parent) : QTranslator(parent) {}
  void moveToFront();
  bool armed_ = false;
  bool busy_ = false;
  // Read once, when the application object is made.
  bool keysWithContext_ = false;
  // Plural answers are not kept: the quantity is part of the text.
  mutable AnswerCache answers_;
};

}  // namespace tolvana::qt
