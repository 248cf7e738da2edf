#include "tolvana/qt/TolvanaQt.h"

#include <QCoreApplication>
#include <QPointer>
#include <string>
#include <tolvana/Tolvana.h>
#include <vector>

#include "GuiGate.h"
#include "Retranslation.h"
#include "tolvana/Hooks.h"

namespace tolvana::qt {

namespace {

QPointer<TolvanaQt> current;

std::vector<std::string> toStrings(const QStringList& list) {
  std::vector<std::string> strings;
  for (const QString& item : list) {
    if (!item.trimmed().isEmpty()) strings.push_back(item.trimmed().toStdString());
  }
  return strings;
}

}  // namespace

TolvanaQt* TolvanaQt::instance() {
  if (!current && QCoreApplication::instance()) current = new TolvanaQt(QCoreApplication::instance());
  return current.data();
}

TolvanaQt* TolvanaQt::existing() { return current.data(); }

TolvanaQt::TolvanaQt(QObject* parent) : QObject(parent), gate_(GuiGate::open(this)) {
  setObjectName(QStringLiteral("Tolvana"));
  language_ = QString::fromStdString(TolvanaHooks::currentLanguage());
  for (const auto& language : TolvanaHooks::availableLanguages()) availableLanguages_ << QString::fromStdString(language);
  draftMode_ = TolvanaHooks::inDraftMode();
  showIdMode_ = TolvanaHooks::inShowIdMode();
}

TolvanaQt::~TolvanaQt() = default;

void TolvanaQt::update() { startUpdate({}, {}); }

void TolvanaQt::updateGroups(const QStringList& groups, const QStringList& languages) { startUpdate(groups, languages); }

void TolvanaQt::startUpdate(const QStringList& groups, const QStringList& languages) {
  // The completion may come at once on this thread, with the engine's lock held, or later on
  // any thread: either way it only posts, and the object is reached on its own thread.
  Tolvana::updateGroups(toStrings(groups), toStrings(languages), [gate = gate_](bool success) {
    gate->post([gate, success] {
      Retranslation::announce(false);
      if (auto* self = qobject_cast<TolvanaQt*>(gate->target())) {
        self->refresh();
        emit self->updateFinished(success);
      }
    });
  });
}

bool TolvanaQt::setLanguage(const QString& code) {
  std::optional<std::string> language;
  if (!code.trimmed().isEmpty()) language = code.trimmed().toStdString();
  if (!Tolvana::setLanguage(language)) return false;
  Retranslation::announce(true);
  return true;
}

void TolvanaQt::setShowIdMode(bool on) {
  if (on == showIdMode_) return;
  Tolvana::setShowIdModeEnabled(on);
  Retranslation::announce(true);
}

void TolvanaQt::refresh() {
  QString language = QString::fromStdString(TolvanaHooks::currentLanguage());
  QStringList available;
  for (const auto& code : TolvanaHooks::availableLanguages()) available << QString::fromStdString(code);
  const bool draftMode = TolvanaHooks::inDraftMode(), showIdMode = TolvanaHooks::inShowIdMode();
  // All values are in place before the first signal, so a handler reads a consistent state.
  const bool languageMoved = std::exchange(language_, language) != language;
  const bool availableMoved = std::exchange(availableLanguages_, available) != available;
  const bool draftMoved = std::exchange(draftMode_, draftMode) != draftMode;
  const bool showIdMoved = std::exchange(showIdMode_, showIdMode) != showIdMode;
  if (availableMoved) emit availableLanguagesChanged();
  if (languageMoved) emit languageChanged();
  if (draftMoved) emit draftModeChanged();
  if (showIdMoved) emit showIdModeChanged();
}

}  // namespace tolvana::qt
