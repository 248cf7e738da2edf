#include "ReviewDemo.h"

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPainter>
#include <QScreen>
#include <QTimer>
#include <cstdio>
#include <functional>

namespace {

// Notes a Hide of the widget when it happens.
class HideWatch final : public QObject {
 public:
  explicit HideWatch(QWidget* widget) { widget->installEventFilter(this); }
  bool eventFilter(QObject*, QEvent* event) override {
    hidden |= event->type() == QEvent::Hide;
    return false;
  }
  bool hidden = false;
};

QWidget* topLevel(const QString& name) {
  for (QWidget* w : QApplication::topLevelWidgets()) {
    if (w->objectName() == name && w->isVisible()) return w;
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

template <class T = QWidget>
T* in(QWidget* overlay, const char* name) {
  return overlay ? overlay->findChild<T*>(QString::fromLatin1(name)) : nullptr;
}

void type(QLineEdit* field, const QString& text) {
  field->setFocus();
  for (QChar c : text) {
    QKeyEvent press(QEvent::KeyPress, 0, Qt::NoModifier, QString(c));
    QKeyEvent release(QEvent::KeyRelease, 0, Qt::NoModifier, QString(c));
    QCoreApplication::sendEvent(field, &press);
    QCoreApplication::sendEvent(field, &release);
  }
}

// The screen as a user sees it: the app's window with the overlay on top, whose panels are
// drawn by a window of their own below the one that takes the clicks; each is cut to its mask.
bool saveScreen(QWidget* window, const QString& path) {
  QScreen* screen = QGuiApplication::primaryScreen();
  QImage image(screen->size() * screen->devicePixelRatio(), QImage::Format_ARGB32);
  image.setDevicePixelRatio(screen->devicePixelRatio());
  image.fill(Qt::darkGray);
  QPainter painter(&image);
  painter.drawPixmap(window->geometry().topLeft(), window->grab());
  for (const char* name : {"TolvanaOverlayBackdrop", "TolvanaOverlay"}) {
    QWidget* layer = topLevel(name);
    if (!layer) continue;
    QPixmap top = layer->grab();
    painter.setClipRegion(layer->mask().isEmpty() ? QRegion(layer->rect()) : layer->mask());
    painter.drawPixmap(layer->geometry().topLeft(), top);
  }
  painter.end();
  return image.save(path, "PNG");
}

int walk(QWidget* window, const QString& overlayPng) {
  QWidget* overlay = nullptr;
  if (!waitFor([&] { return (overlay = topLevel("TolvanaOverlay")) != nullptr; })) return 1;
  std::printf("the UI-test overlay is up; its invisible toggle opens the strip\n");
  in<QAbstractButton>(overlay, "toggleVisibleBtn")->click();
  auto* capture = in<QAbstractButton>(overlay, "openCaptureScreenMenuBtn");
  if (!waitFor([&] { return capture->isVisible(); })) return 2;
  // The picture shows the window just below the strip, so neither hides the other.
  QPoint home = window->pos();
  window->move(home.x(), 90);
  bool saved = saveScreen(window, overlayPng);
  window->move(home);
  if (!saved) return 5;
  std::printf("the app with the overlay open: %s\n", qPrintable(overlayPng));
  capture->click();
  auto* select = in<QAbstractButton>(overlay, "selectTagBtn");
  if (!waitFor([&] { return select->isVisible() && select->isEnabled(); })) return 3;
  select->click();
  auto* list = in<QListWidget>(overlay, "tagList");
  if (!waitFor([&] { return list->isVisible() && list->count() > 0; })) return 4;
  QString tag = list->item(0)->text();
  emit list->itemClicked(list->item(0));
  std::printf("screen tag picked from the server's list: %s\n", qPrintable(tag));
  // The form hides while the screenshot is taken and uploaded, and comes back afterwards; on a
  // quick machine all of that can pass between two looks of a wait, so the hiding is noted as
  // it happens.
  auto* form = in(overlay, "captureScreenshotView");
  HideWatch watch(form);
  in<QAbstractButton>(overlay, "confirmScreenshotBtn")->click();
  if (!waitFor([&] { return watch.hidden && form->isVisible(); })) return 6;
  std::printf("screenshot captured and uploaded under %s\n", qPrintable(tag));

  in<QAbstractButton>(overlay, "cancelScreenshotBtn")->click();
  QApplication::processEvents();
  in<QAbstractButton>(overlay, "openCreateIssueBtn")->click();
  QApplication::processEvents();
  type(in<QLineEdit>(overlay, "issueTitleTextField"), QStringLiteral("Greeting cut off"));
  type(in<QLineEdit>(overlay, "issueDescrpitionTextField"), QStringLiteral("The greeting ends mid-word on the start screen."));
  in<QAbstractButton>(overlay, "confirmIssueBtn")->click();
  QWidget* alert = nullptr;
  if (!waitFor([&] { return (alert = topLevel("TolvanaAlert")) != nullptr; })) return 7;
  std::printf("issue filed; the app says: %s\n", qPrintable(alert->windowTitle()));
  return 0;
}

}  // namespace

void runReviewDemo(QWidget* window, const QString& overlayPng) {
  QTimer::singleShot(0, window, [window, overlayPng] {
    int status = walk(window, overlayPng);
    if (status != 0) std::fprintf(stderr, "the review walk stopped at step %d\n", status);
    std::fflush(stdout);
    QCoreApplication::exit(status);
  });
}
