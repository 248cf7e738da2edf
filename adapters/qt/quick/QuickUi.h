// QuickUi: the Ui layer for QML scenes, over the widgets' Ui of the same application
// object. When the app's first window is a QML scene, the review tools read and capture that
// scene. An app without QApplication has no widgets at all: its alerts and the overlay are
// QML windows of the library's own; with QApplication the widgets' do that, over QML scenes too.
//
// Thread contract: as the Ui port: the main queue, which the adapter puts on the GUI thread.
#pragma once

#include <QObject>
#include <QPointer>
#include <QQmlEngine>
#include <memory>
#include <tolvana/platform/Ui.h>

#include "QuickOverlay.h"

namespace tolvana::qt {

class QuickUi final : public Ui {
 public:
  QuickUi(std::shared_ptr<Ui> widgets, QObject* context);
  void presentAlert(Alert alert) override;
  void installLookupHooks() override { widgets_->installLookupHooks(); }
  void showOverlay(UiOverlay overlay) override;
  void removeOverlay() override;
  void focusOverlayControl(const std::string& control) override;
  void addLongPressGesture(std::function<void()> handler) override { widgets_->addLongPressGesture(std::move(handler)); }
  void addSwipeGestures(std::function<void()> handler) override { widgets_->addSwipeGestures(std::move(handler)); }
  std::optional<UiView> rootWindowView() override;
  UiScreen mainScreen() override { return widgets_->mainScreen(); }
  std::string rootWindowPng() override;
  std::optional<std::string> pasteboardString() override { return widgets_->pasteboardString(); }
  void setPasteboardString(const std::string& text) override { widgets_->setPasteboardString(text); }

 private:
  // The engine of the library's own QML windows, made on first use.
  QQmlEngine* engine();

  std::shared_ptr<Ui> widgets_;
  QPointer<QObject> context_;
  QPointer<QQmlEngine> engine_;
  std::unique_ptr<QuickOverlay> overlay_;
};

}  // namespace tolvana::qt
