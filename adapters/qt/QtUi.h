// QtUi: the engine's user interface as Qt widgets. Alerts are dialogs on top of the active
// window; the look-up hooks are the translator.
#pragma once

#include <QObject>
#include <QPointer>
#include <memory>
#include <mutex>

#include "QtOverlay.h"
#include "TolvanaTranslator.h"
#include "tolvana/platform/Ui.h"

namespace tolvana::qt {

class QtUi final : public Ui {
 public:
  explicit QtUi(QObject* context);
  void presentAlert(Alert alert) override;
  void installLookupHooks() override;
  void showOverlay(UiOverlay overlay) override;
  void removeOverlay() override;
  void focusOverlayControl(const std::string& control) override;
  void addLongPressGesture(std::function<void()> handler) override;
  void addSwipeGestures(std::function<void()> handler) override;
  std::optional<UiView> rootWindowView() override;
  UiScreen mainScreen() override;
  std::string rootWindowPng() override;
  std::optional<UiView> keyWindowView() override;
  std::string keyWindowPng() override;
  std::optional<std::string> pasteboardString() override;
  void setPasteboardString(const std::string& text) override;

 private:
  QPointer<QObject> context_;
  std::once_flag translatorOnce_;
  QPointer<QtOverlay> overlay_;
};

}  // namespace tolvana::qt
