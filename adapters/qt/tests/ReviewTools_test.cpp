// The review tools on real widgets: what the engine reads of a window.
#include <gtest/gtest.h>

#include <QApplication>
#include <QGraphicsOpacityEffect>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QVBoxLayout>
#include <mutex>
#include <tolvana/platform/Platform.h>

#include "QtTestSupport.h"

namespace {

TEST(ReviewTools, TheRootWindowAsAViewTree) {
  QWidget window;
  window.setFixedSize(300, 200);
  QString welcome = QCoreApplication::translate("SampleWindow", "Welcome");
  auto* tagged = new QLabel(welcome, &window);
  tagged->setGeometry(10, 20, 120, 30);
  auto* loose = new QLabel(QStringLiteral("typed by the app"), &window);
  loose->setGeometry(10, 60, 120, 30);
  auto* hidden = new QLabel(QStringLiteral("hidden"), &window);
  hidden->hide();
  auto* clear = new QWidget(&window);
  auto* effect = new QGraphicsOpacityEffect(clear);
  effect->setOpacity(0);
  clear->setGraphicsEffect(effect);
  new QLabel(QStringLiteral("under a clear parent"), clear);
  auto* panel = new QWidget(&window);
  panel->setGeometry(150, 100, 100, 80);
  (new QLabel(QStringLiteral("nested"), panel))->setGeometry(5, 6, 50, 20);
  window.show();
  window.activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));

  auto& ui = tolvana::Platform::Current().ui();
  auto tree = ui.rootWindowView();
  ASSERT_TRUE(tree);
  EXPECT_EQ(tree->frame.width, 300);
  std::vector<std::string> shown;
  flatten(*tree, shown);
  // The label also keeps the key itself, for when its text is replaced by an untagged one.
  EXPECT_EQ(shown, (std::vector<std::string>{welcome.toStdString() + "|Welcome|Welcome|10,20,120,30",
                                             "typed by the app|||10,60,120,30", "nested|||155,106,50,20"}));
  auto screen = ui.mainScreen();
  EXPECT_GT(screen.width * screen.height * screen.scale, 0);

  std::string png = ui.rootWindowPng();
  QImage image = QImage::fromData(QByteArray::fromStdString(png), "PNG");
  EXPECT_EQ(image.size(), QSize(300, 200) * window.devicePixelRatio());

  // A UI-test runner hands positions over through the clipboard.
  ui.setPasteboardString("tolvana:{}");
  EXPECT_EQ(ui.pasteboardString(), "tolvana:{}");
}

QWidget* ourWindow(const char* name) {
  for (QWidget* w : QApplication::topLevelWidgets()) {
    if (w->objectName() == name && w->isVisible()) return w;
  }
  return nullptr;
}

// The app's window below the overlay, counting the clicks it gets anywhere.
struct AppWindow final : QWidget {
  int clicks = 0;
  void mouseReleaseEvent(QMouseEvent*) override { ++clicks; }
};

// A click as a window system delivers it: to the topmost of the windows (listed top first)
// that holds the point, takes input and whose mask, if it has one, holds the point too.
void clickOnScreen(const std::vector<QWidget*>& topFirst, QPoint point) {
  for (QWidget* window : topFirst) {
    QPoint local = point - window->geometry().topLeft();
    if (!window->isVisible() || !window->rect().contains(local)) continue;
    if (window->windowFlags().testFlag(Qt::WindowTransparentForInput)) continue;
    if (!window->mask().isEmpty() && !window->mask().contains(local)) continue;
    QTest::mouseClick(window->windowHandle(), Qt::LeftButton, Qt::NoModifier, local);
    return;
  }
}

// Under UI tests the engine puts up the overlay's UI-test variant at start: the strip hidden,
// an invisible toggle in the bottom-right corner. A click reaches the overlay exactly where
// the overlay's model takes the touch; everywhere else, the blue panels' margins included,
// it reaches the app below.
TEST(ReviewTools, ClicksOutsideTheOverlaysControlsReachTheApp) {
  QWidget* overlay = nullptr;
  ASSERT_TRUE(spinUntil([&] { return (overlay = ourWindow("TolvanaOverlay")) != nullptr; }));
  AppWindow app;
  app.setGeometry(overlay->geometry());
  int& appClicks = app.clicks;
  app.show();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&app));
  const std::vector<QWidget*> windows{overlay, &app};
  QRect screen = overlay->geometry();

  auto* toggle = overlay->findChild<QPushButton*>("toggleVisibleBtn");
  ASSERT_NE(toggle, nullptr);
  EXPECT_EQ(toggle->accessibleName(), "Tolvana.ToggleDraftMenu");
  clickOnScreen(windows, {screen.width() - 5, screen.height() - 5});
  auto* capture = overlay->findChild<QPushButton*>("openCaptureScreenMenuBtn");
  ASSERT_TRUE(spinUntil([&] { return capture->isVisible(); }));
  EXPECT_EQ(capture->text(), "Capture Screen");

  // The strip's margins, the gap between its buttons, and the app below the strip.
  for (QPoint margin : {QPoint(2, 2), QPoint(100, 40), QPoint(100, 78), QPoint(100, 300)}) {
    clickOnScreen(windows, margin);
  }
  EXPECT_EQ(appClicks, 4);
  // What the overlay's mask leaves out is drawn below it, by a window that takes no click.
  QWidget* backdrop = ourWindow("TolvanaOverlayBackdrop");
  ASSERT_NE(backdrop, nullptr);
  EXPECT_TRUE(backdrop->windowFlags().testFlag(Qt::WindowTransparentForInput));
  EXPECT_TRUE(backdrop->mask().contains({2, 40})) << "the strip's panel is not drawn";
  clickOnScreen(windows, {100, 20});
  ASSERT_TRUE(spinUntil([&] { return overlay->findChild<QWidget*>("captureScreenshotView")->isVisible(); }));
  EXPECT_FALSE(capture->isVisible());
  // The form's margins: its edge, between its fields, between and below its buttons.
  const int betweenButtons = (screen.width() - 6) / 2 + 3;
  for (QPoint margin : {QPoint(2, 50), QPoint(100, 35), QPoint(betweenButtons, 85), QPoint(100, 99)}) {
    clickOnScreen(windows, margin);
  }
  EXPECT_EQ(appClicks, 8);
  clickOnScreen(windows, {10, 80});  // "Back"
  ASSERT_TRUE(spinUntil([&] { return capture->isVisible(); }));
  clickOnScreen(windows, {screen.width() - 5, screen.height() - 5});
  ASSERT_TRUE(spinUntil([&] { return !capture->isVisible(); }));
  clickOnScreen(windows, {100, 20});
  EXPECT_EQ(appClicks, 9) << "the hidden strip takes no click";
}

// Keeps what the engine logs and what it sends, and passes both on.
class Kept final : public tolvana::LogSink, public tolvana::Http {
 public:
  explicit Kept(tolvana::Platform::Ports next) : next_(std::move(next)) {}
  void writeLine(std::string_view line) override {
    keep(std::string(line));
    next_.logSink->writeLine(line);
  }
  void send(tolvana::HttpRequest request, std::function<void(tolvana::HttpResponse)> completion) override {
    keep(request.url);
    next_.http->send(std::move(request), std::move(completion));
  }
  bool contains(std::string_view text) const {
    std::lock_guard lock(mutex_);
    return std::any_of(kept_.begin(), kept_.end(), [&](const std::string& l) { return l.find(text) != l.npos; });
  }

 private:
  void keep(std::string line) {
    std::lock_guard lock(mutex_);
    kept_.push_back(std::move(line));
  }
  const tolvana::Platform::Ports next_;
  mutable std::mutex mutex_;
  std::vector<std::string> kept_;
};

// With none of the app's windows shown there is nothing to capture: both look-ups say so at
// warning level, and nothing is uploaded.
TEST(ReviewTools, ACaptureWithNoWindowUploadsNothing) {
  QWidget* overlay = nullptr;
  ASSERT_TRUE(spinUntil([&] { return (overlay = ourWindow("TolvanaOverlay")) != nullptr; }));
  auto& ui = tolvana::Platform::Current().ui();
  ASSERT_FALSE(ui.rootWindowView().has_value());
  const auto before = tolvana::Platform::Current().ports();
  auto kept = std::make_shared<Kept>(before);
  auto ports = before;
  ports.logSink = kept;
  ports.http = kept;
  tolvana::Platform::Install(std::make_shared<tolvana::Platform>(ports));
  QTest::mouseClick(overlay->findChild<QPushButton*>("toggleVisibleBtn"), Qt::LeftButton);
  QTest::mouseClick(overlay->findChild<QPushButton*>("openCaptureScreenMenuBtn"), Qt::LeftButton);
  ASSERT_TRUE(spinUntil([&] { return overlay->findChild<QWidget*>("captureScreenshotView")->isVisible(); }));
  QTest::keyClicks(overlay->findChild<QLineEdit*>("customTagTextField"), "Home");
  QTest::mouseClick(overlay->findChild<QPushButton*>("confirmScreenshotBtn"), Qt::LeftButton);
  // The upload would follow the look-ups in the same task of the main queue.
  ASSERT_TRUE(spinUntil([&] { return kept->contains("Could not find KeyWindow"); }));
  EXPECT_TRUE(kept->contains("W/Tolvana\xEF\xB9\x95 Could not find RootWindow"));
  EXPECT_TRUE(kept->contains("W/Tolvana\xEF\xB9\x95 Could not find KeyWindow"));
  EXPECT_FALSE(kept->contains("uploadScreenshot"));
  QTest::mouseClick(overlay->findChild<QPushButton*>("cancelScreenshotBtn"), Qt::LeftButton);
  QTest::mouseClick(overlay->findChild<QPushButton*>("toggleVisibleBtn"), Qt::LeftButton);
  tolvana::Platform::Install(std::make_shared<tolvana::Platform>(before));
}

}  // namespace
