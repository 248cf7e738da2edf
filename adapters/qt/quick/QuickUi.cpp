#include "QuickUi.h"

#include <QBuffer>
#include <QGuiApplication>
#include <QImage>

#include "QuickAlert.h"
#include "QuickItemTree.h"

namespace tolvana::qt {
namespace {

bool hasWidgets() { return QCoreApplication::instance() && QCoreApplication::instance()->inherits("QApplication"); }

bool hasWindows() { return qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr; }

QQuickWindow* rootScene() { return hasWindows() ? qobject_cast<QQuickWindow*>(firstAppWindow()) : nullptr; }

}  // namespace

QuickUi::QuickUi(std::shared_ptr<Ui> widgets, QObject* context) : widgets_(std::move(widgets)), context_(context) {}

QQmlEngine* QuickUi::engine() {
  if (!engine_ && context_) engine_ = new QQmlEngine(context_);
  return engine_;
}

void QuickUi::presentAlert(Alert alert) {
  if (hasWidgets()) return widgets_->presentAlert(std::move(alert));
  if (hasWindows() && engine()) presentQuickAlert(engine(), std::move(alert));
}

void QuickUi::showOverlay(UiOverlay overlay) {
  if (hasWidgets()) return widgets_->showOverlay(std::move(overlay));
  if (!hasWindows() || !engine()) return;
  if (!overlay_) overlay_ = std::make_unique<QuickOverlay>(engine());
  overlay_->update(std::move(overlay));
}

void QuickUi::removeOverlay() {
  if (hasWidgets()) return widgets_->removeOverlay();
  overlay_.reset();
}

void QuickUi::focusOverlayControl(const std::string& control) {
  if (hasWidgets()) return widgets_->focusOverlayControl(control);
  if (overlay_) overlay_->focusControl(control);
}

std::optional<UiView> QuickUi::rootWindowView() {
  if (QQuickWindow* scene = rootScene()) return viewTree(scene);
  return widgets_->rootWindowView();
}

std::string QuickUi::rootWindowPng() {
  QQuickWindow* scene = rootScene();
  if (!scene) return widgets_->rootWindowPng();
  // Rendered at the screen's pixel ratio, so frames in pixels match the image.
  QByteArray png;
  QBuffer buffer(&png);
  buffer.open(QIODevice::WriteOnly);
  scene->grabWindow().save(&buffer, "PNG");
  return png.toStdString();
}

}  // namespace tolvana::qt
