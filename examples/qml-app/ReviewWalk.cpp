#include "ReviewWalk.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QPainter>
#include <QQuickItem>
#include <QQuickWindow>
#include <QScreen>
#include <QTimer>
#include <cstdio>
#include <functional>

namespace {

QQuickWindow* libraryWindow(const char* name) {
  for (QWindow* window : QGuiApplication::topLevelWindows()) {
    if (window->objectName() == name && window->isVisible()) return qobject_cast<QQuickWindow*>(window);
  }
  return nullptr;
}

// Runs the event loop until done() holds; false after 20 s.
bool waitFor(const std::function<bool()>& done) {
  QElapsedTimer timer;
  timer.start();
  while (!done() && timer.elapsed() < 20000) QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
  return done();
}

QQuickItem* control(QQuickWindow* overlay, const char* name) {
  return overlay ? overlay->contentItem()->findChild<QQuickItem*>(QString::fromLatin1(name)) : nullptr;
}

bool shown(QQuickItem* item) { return item && item->isVisible(); }

// A tap as the overlay's own mouse area reports it.
void tap(QQuickItem* item, const QString& row = {}) { QMetaObject::invokeMethod(item, "tapped", Q_ARG(QString, row)); }

// The screen as a user sees it: the scene with the overlay on top. Everything of the overlay
// is drawn by the window below the one that takes the clicks, cut to its mask.
bool saveScreen(QQuickWindow* scene, const QString& path) {
  QScreen* screen = QGuiApplication::primaryScreen();
  QImage image(screen->size() * screen->devicePixelRatio(), QImage::Format_ARGB32);
  image.setDevicePixelRatio(screen->devicePixelRatio());
  image.fill(Qt::darkGray);
  QPainter painter(&image);
  painter.drawImage(scene->position(), scene->grabWindow());
  if (QQuickWindow* layer = libraryWindow("TolvanaOverlayBackdrop")) {
    painter.setClipRegion(layer->mask().translated(layer->position()));
    painter.drawImage(layer->position(), layer->grabWindow());
  }
  painter.end();
  return image.save(path, "PNG");
}

int walk(QQuickWindow* scene, const QString& overlayPng) {
  QQuickWindow* overlay = nullptr;
  if (!waitFor([&] { return (overlay = libraryWindow("TolvanaOverlay")) != nullptr; })) return 1;
  std::printf("the UI-test overlay is up; its invisible toggle opens the strip\n");
  tap(control(overlay, "toggleVisibleBtn"));
  if (!waitFor([&] { return shown(control(overlay, "openCaptureScreenMenuBtn")); })) return 2;
  // The picture shows the scene just below the strip, so neither hides the other.
  QPoint home = scene->position();
  scene->setPosition(home.x(), 90);
  bool saved = saveScreen(scene, overlayPng);
  scene->setPosition(home);
  if (!saved) return 3;
  std::printf("the scene with the overlay open: %s\n", qPrintable(overlayPng));
  tap(control(overlay, "openCaptureScreenMenuBtn"));
  QQuickItem* select = nullptr;
  if (!waitFor([&] { return shown(select = control(overlay, "selectTagBtn")) && select->isEnabled(); })) return 4;
  tap(select);
  QQuickItem* list = nullptr;
  if (!waitFor([&] { return shown(list = control(overlay, "tagList")) && !list->property("rows").toStringList().isEmpty(); })) {
    return 5;
  }
  QString tag = list->property("rows").toStringList().first();
  tap(list, tag);
  std::printf("screen tag picked from the server's list: %s\n", qPrintable(tag));
  // The form hides while the screenshot is taken and uploaded, and comes back afterwards; on a
  // quick machine all of that can pass between two looks of a wait, so the hiding is noted as
  // it happens.
  QQuickItem* form = control(overlay, "captureScreenshotView");
  if (!form) return 6;
  bool hidden = false;
  QMetaObject::Connection watch =
      QObject::connect(form, &QQuickItem::visibleChanged, form, [&hidden, form] { hidden |= !form->isVisible(); });
  tap(control(overlay, "confirmScreenshotBtn"));
  const bool uploaded = waitFor([&] { return hidden && shown(form); });
  QObject::disconnect(watch);
  if (!uploaded) return 6;
  std::printf("screenshot captured and uploaded under %s\n", qPrintable(tag));
  return 0;
}

}  // namespace

void runReviewWalk(QQuickWindow* scene, const QString& overlayPng) {
  QTimer::singleShot(0, scene, [scene, overlayPng] {
    int status = walk(scene, overlayPng);
    if (status != 0) std::fprintf(stderr, "the review walk stopped at step %d\n", status);
    std::fflush(stdout);
    QCoreApplication::exit(status);
  });
}
