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

// "text|textKey|viewKey|x,y,w,h" of each view with text, depth first.
void flatten(const tolvana::UiView& view, std::vector<std::string>& out, bool underHidden = false) {
  bool skipped = underHidden || view.hidden || view.alpha <= 0;
  if (view.text && !skipped) {
    const auto& f = view.frame;
    out.push_back(*view.text + "|" + view.textKey + "|" + view.viewKey + "|" + std::to_string(int(f.x)) + "," +
                  std::to_string(int(f.y)) + "," + std::to_string(int(f.width)) + "," + std::to_string(int(f.height)));
  }
  for (const auto& child : view.subviews) flatten(child, out, skipped);
}

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

QWidget* overlayWindow() {
  for (QWidget* w : QApplication::topLevelWidgets()) {
    if (w->objectName() == "TolvanaOverlay" && w->isVisible()) return w;
  }
  return nullptr;
}

// Under UI tests the engine puts up the overlay's UI-test variant at start: the strip hidden,
// an invisible toggle in the bottom-right corner.
TEST(ReviewTools, TheOverlayTakesClicksOnlyOnItsControls) {
  QWidget* overlay = nullptr;
  ASSERT_TRUE(spinUntil([&] { return (overlay = overlayWindow()) != nullptr; }));
  QRect screen = overlay->geometry();
  QPoint corner(screen.width() - 5, screen.height() - 5), strip(100, 20), app(100, 300);
  EXPECT_TRUE(overlay->mask().contains(corner));
  EXPECT_FALSE(overlay->mask().contains(strip));
  EXPECT_FALSE(overlay->mask().contains(app));

  auto* toggle = overlay->findChild<QPushButton*>("toggleVisibleBtn");
  ASSERT_NE(toggle, nullptr);
  EXPECT_EQ(toggle->accessibleName(), "Tolvana.ToggleDraftMenu");
  QTest::mouseClick(toggle, Qt::LeftButton);
  ASSERT_TRUE(spinUntil([&] { return overlay->mask().contains(strip); }));
  auto* capture = overlay->findChild<QPushButton*>("openCaptureScreenMenuBtn");
  ASSERT_NE(capture, nullptr);
  EXPECT_EQ(capture->text(), "Capture Screen");
  EXPECT_FALSE(overlay->mask().contains(app)) << "below the strip the app keeps its clicks";

  QTest::mouseClick(capture, Qt::LeftButton);
  ASSERT_TRUE(spinUntil([&] { return overlay->findChild<QWidget*>("captureScreenshotView")->isVisible(); }));
  EXPECT_FALSE(capture->isVisible());
  QTest::mouseClick(overlay->findChild<QPushButton*>("cancelScreenshotBtn"), Qt::LeftButton);
  ASSERT_TRUE(spinUntil([&] { return capture->isVisible(); }));
  QTest::mouseClick(toggle, Qt::LeftButton);
  ASSERT_TRUE(spinUntil([&] { return !overlay->mask().contains(strip); }));
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
  ASSERT_TRUE(spinUntil([&] { return (overlay = overlayWindow()) != nullptr; }));
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
