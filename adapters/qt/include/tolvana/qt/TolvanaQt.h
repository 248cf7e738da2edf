/**
 * @file TolvanaQt.h
 * @brief The library as a Qt object: properties, invokable methods and signals, for an app
 * that wants to bind to it. An app needs none of it to be localised.
 *
 *   auto* tolvana = tolvana::qt::TolvanaQt::instance();
 *   QObject::connect(tolvana, &tolvana::qt::TolvanaQt::updateFinished, [](bool ok) { ... });
 *   tolvana->update();
 *
 * In QML, with tolvana-qt-quick linked, the same object is the singleton of the module
 * "Tolvana":
 *
 *   import Tolvana
 *   ComboBox { model: Tolvana.availableLanguages; onActivated: Tolvana.setLanguage(currentText) }
 *
 * Nothing in it waits for the network: an update reports its outcome with updateFinished().
 * A language switched here, an update that wrote new texts and a change of show-ID mode
 * retranslate the app's widgets and QML scenes, then emit textsChanged().
 *
 * Thread contract: the GUI thread only; every signal is emitted there. updateFinished() comes
 * from the event loop, never inside update(); the other signals come inside the call that
 * changed the state, as property setters do, or from the event loop after an update.
 */
#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <memory>

#include "tolvana/qt/Export.h"

namespace tolvana::qt {

class GuiGate;
class Retranslation;

class TOLVANA_QT_EXPORT TolvanaQt final : public QObject {
  Q_OBJECT
  /// The language look-ups answer in first ("de"); writing it switches the app's language.
  Q_PROPERTY(QString language READ language WRITE setLanguage NOTIFY languageChanged)
  /// The languages the stores hold, sorted.
  Q_PROPERTY(QStringList availableLanguages READ availableLanguages NOTIFY availableLanguagesChanged)
  /// Whether look-ups show translators' drafts (the draft-mode key switches it).
  Q_PROPERTY(bool draftMode READ draftMode NOTIFY draftModeChanged)
  /// Whether look-ups show keys instead of texts; not kept across launches.
  Q_PROPERTY(bool showIdMode READ showIdMode WRITE setShowIdMode NOTIFY showIdModeChanged)

 public:
  /// The object of the current application object, made on first use and deleted with it;
  /// null without an application object.
  static TolvanaQt* instance();
  ~TolvanaQt() override;

  QString language() const { return language_; }
  QStringList availableLanguages() const { return availableLanguages_; }
  bool draftMode() const { return draftMode_; }
  bool showIdMode() const { return showIdMode_; }
  void setShowIdMode(bool on);

  /// Asks the server for what is new in all groups and languages; updateFinished() follows.
  Q_INVOKABLE void update();
  /// The same for the given groups and languages (empty lists mean all).
  Q_INVOKABLE void updateGroups(const QStringList& groups, const QStringList& languages);
  /// Forces the app's language ("de", "pt-BR"); an empty code returns to the device's
  /// languages. False, and nothing changes, when the stores do not offer the language.
  /// Kept across launches.
  Q_INVOKABLE bool setLanguage(const QString& code);

 signals:
  /// An update asked for here has ended: true when the server answered and its answer was
  /// taken. Comes after textsChanged() when the update wrote texts.
  void updateFinished(bool success);
  void languageChanged();
  /// Shown texts may have changed: the app's widgets and QML scenes have been retranslated.
  void textsChanged();
  void availableLanguagesChanged();
  void draftModeChanged();
  void showIdModeChanged();

 private:
  friend class Retranslation;
  explicit TolvanaQt(QObject* parent);
  // The object if one was made for the current application object; null otherwise.
  static TolvanaQt* existing();
  void startUpdate(const QStringList& groups, const QStringList& languages);
  // Reads the engine's state again and emits a signal for each property that changed.
  void refresh();

  std::shared_ptr<GuiGate> gate_;
  QString language_;
  QStringList availableLanguages_;
  bool draftMode_ = false;
  bool showIdMode_ = false;
};

}  // namespace tolvana::qt
