// One real QGuiApplication with tolvana-qt-quick linked and no widgets at all, on a copy of
// the Qt sample's bundle whose server is the reference server: QML scenes loaded as an app
// loads them.
#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <memory>
#include <tolvana/platform/Platform.h>
#include <tolvana/qt/BlockingUpdate.h>
#include <tolvana/qt/TolvanaQt.h>

#include "../../tests/QtTestSupport.h"

inline void PrintTo(const QString& text, std::ostream* out) { *out << '"' << text.toStdString() << '"'; }

namespace {


const char kScene[] = R"qml(
import QtQuick
import QtQuick.Controls
import Tolvana
Window {
  width: 360; height: 420; visible: true
  Column {
    x: 10; y: 10; spacing: 4
    Text { objectName: "title"; text: qsTr("Welcome") }
    Label { objectName: "cart"; text: qsTr("%n item(s) in your cart", "", 3) }
    Text { objectName: "footer"; text: qsTrId("footer.note") }
    Button { objectName: "checkout"; text: qsTr("Check out") }
    TextField { objectName: "search"; placeholderText: qsTr("Search") }
    Text { objectName: "language"; text: Tolvana.language }
    Text { objectName: "hidden"; visible: false; text: qsTr("Apples") }
    Item { width: 50; height: 20; opacity: 0; Text { text: qsTr("Bread") } }
    Text { objectName: "typed"; text: "typed by the app" }
  }
}
)qml";

struct Scene {
  QQmlApplicationEngine engine;
  QQuickWindow* window = nullptr;
  explicit Scene(const char* qml) {
    QString path = sample.workDir + "/Main.qml";
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    file.write(qml);
    file.close();
    engine.load(QUrl::fromLocalFile(path));
    window = engine.rootObjects().isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(engine.rootObjects().first());
  }
  QQuickItem* item(const char* name) const { return window ? window->findChild<QQuickItem*>(name) : nullptr; }
  QString text(const char* name) const {
    QQuickItem* item = this->item(name);
    if (!item) return QStringLiteral("<no item %1>").arg(name);
    QString text = item->property("text").toString();
    return text.isEmpty() ? item->property("placeholderText").toString() : text;
  }
};

TEST(QtQuick, SceneTextsComeFromTheStoresAndTheWalkFindsThemWithTheirKeys) {
  Scene scene(kScene);
  ASSERT_NE(scene.window, nullptr);
  EXPECT_EQ(scene.text("title"), "Willkommen");
  EXPECT_EQ(scene.text("cart"), "3 Artikel im Warenkorb");
  EXPECT_EQ(scene.text("footer"), "Mit der App ausgeliefert (Version 1)");
  EXPECT_EQ(scene.text("language"), "de");
  ASSERT_TRUE(QTest::qWaitForWindowExposed(scene.window));

  auto& ui = tolvana::Platform::Current().ui();
  auto tree = ui.rootWindowView();
  ASSERT_TRUE(tree);
  std::vector<std::string> shown;
  flatten(*tree, shown);
  auto at = [&](const char* name) {
    QQuickItem* item = scene.item(name);
    QRectF r = item->mapRectToScene(QRectF(QPointF(), item->size()));
    return "|" + std::to_string(int(r.x())) + "," + std::to_string(int(r.y())) + "," + std::to_string(int(r.width())) +
           "," + std::to_string(int(r.height()));
  };
  // The button's label and the field's placeholder are drawn by items inside the controls:
  // each text is found once. Hidden and fully transparent items are left out.
  EXPECT_EQ(shown, (std::vector<std::string>{
                       "Willkommen|Welcome|Welcome" + at("title"),
                       "3 Artikel im Warenkorb|%n item(s) in your cart[other]|%n item(s) in your cart[other]" + at("cart"),
                       "Mit der App ausgeliefert (Version 1)|footer.note|footer.note" + at("footer"),
                       "Zur Kasse|Check out|Check out" + at("checkout"),
                       "Suchen|Search|Search" + at("search"),
                       "de|||" + at("language").substr(1),
                       "typed by the app|||" + at("typed").substr(1),
                   }));
  EXPECT_EQ(tree->frame.width, 360);

  QImage image = QImage::fromData(QByteArray::fromStdString(ui.rootWindowPng()), "PNG");
  EXPECT_EQ(image.size(), QSize(360, 420) * scene.window->devicePixelRatio());
}

TEST(QtQuick, TheApiObjectSwitchesLanguageAndShowIdModeAndTheSceneFollowsAtOnce) {
  Scene scene(kScene);
  auto* api = tolvana::qt::TolvanaQt::instance();
  EXPECT_EQ(api->availableLanguages(), (QStringList{"de", "en"}));
  QSignalSpy languages(api, &tolvana::qt::TolvanaQt::languageChanged);
  QStringList seen;  // the scene's title whenever textsChanged() comes
  auto connection = QObject::connect(api, &tolvana::qt::TolvanaQt::textsChanged, [&] { seen << scene.text("title"); });

  EXPECT_FALSE(api->setLanguage("xx"));
  EXPECT_TRUE(api->setLanguage("en"));
  EXPECT_EQ(api->language(), "en");
  EXPECT_EQ(scene.text("language"), "en");
  api->setShowIdMode(true);
  EXPECT_EQ(scene.text("footer"), "footer.note");
  api->setShowIdMode(false);
  EXPECT_TRUE(api->setLanguage(""));  // back to the device's language
  EXPECT_EQ(api->language(), "de");
  EXPECT_EQ(seen, (QStringList{"Welcome", "Welcome", "Welcome", "Willkommen"}));
  EXPECT_EQ(languages.count(), 2);
  EXPECT_EQ(scene.text("footer"), "Mit der App ausgeliefert (Version 1)");
  QObject::disconnect(connection);
}

const tolvana::UiView* viewWithText(const tolvana::UiView& view, const std::string& text) {
  if (view.text == text) return &view;
  for (const auto& child : view.subviews) {
    if (auto* found = viewWithText(child, text)) return found;
  }
  return nullptr;
}

// Run once as it is and once with QT_SCALE_FACTOR=2: a frame times the screen's scale is the
// item's box in the capture's pixels, whatever the pixel ratio.
TEST(QtQuick, PixelRatioFramesTimesTheScaleMatchTheCapture) {
  Scene scene(R"qml(
import QtQuick
Window {
  width: 200; height: 150; visible: true; color: "white"
  Rectangle { x: 20; y: 30; width: 60; height: 24; color: "red"; property string text: qsTr("Welcome") }
})qml");
  ASSERT_TRUE(QTest::qWaitForWindowExposed(scene.window));
  const double factor = qEnvironmentVariable("QT_SCALE_FACTOR", "1").toDouble();
  auto& ui = tolvana::Platform::Current().ui();
  const double scale = ui.mainScreen().scale;
  EXPECT_EQ(scale, factor);
  auto tree = ui.rootWindowView();
  ASSERT_TRUE(tree);
  const tolvana::UiView* badge = viewWithText(*tree, "Willkommen");
  ASSERT_NE(badge, nullptr);
  const auto& f = badge->frame;
  QRect pixels(int(f.x * scale), int(f.y * scale), int(f.width * scale), int(f.height * scale));
  EXPECT_EQ(pixels, QRect(QPoint(20, 30) * factor, QSize(60, 24) * factor));

  QImage image = QImage::fromData(QByteArray::fromStdString(ui.rootWindowPng()), "PNG");
  ASSERT_EQ(image.size(), QSize(200, 150) * factor);
  auto isRed = [&](QPoint at) { return image.pixelColor(at) == QColor(Qt::red); };
  EXPECT_TRUE(isRed(pixels.topLeft()) && isRed(pixels.bottomRight()));
  EXPECT_FALSE(isRed(pixels.topLeft() - QPoint(1, 1)) || isRed(pixels.bottomRight() + QPoint(1, 1)));
}

// A click as a window system delivers it: to the topmost of the windows (listed top first)
// that holds the point, takes input and whose mask, if it has one, holds the point too.
void clickOnScreen(const std::vector<QWindow*>& topFirst, QPoint point) {
  for (QWindow* window : topFirst) {
    QPoint local = point - window->geometry().topLeft();
    if (!window->isVisible() || !QRect(QPoint(), window->size()).contains(local)) continue;
    if (window->flags().testFlag(Qt::WindowTransparentForInput)) continue;
    if (!window->mask().isEmpty() && !window->mask().contains(local)) continue;
    QTest::mouseClick(window, Qt::LeftButton, Qt::NoModifier, local);
    return;
  }
}

QQuickWindow* ourWindow(const char* name) {
  for (QWindow* window : QGuiApplication::topLevelWindows()) {
    if (window->objectName() == name && window->isVisible()) return qobject_cast<QQuickWindow*>(window);
  }
  return nullptr;
}

// Under UI tests the engine puts up the overlay's UI-test variant at start: the strip
// hidden, an invisible toggle in the bottom-right corner. Without widgets it is a QML window.
TEST(QtQuick, TheOverlayOverASceneTakesClicksOnlyOnItsControls) {
  QQuickWindow* overlay = nullptr;
  ASSERT_TRUE(spinUntil([&] { return (overlay = ourWindow("TolvanaOverlay")) != nullptr; }));
  Scene scene(R"qml(
import QtQuick
Window {
  id: app
  property int clicks: 0
  visible: true; flags: Qt.FramelessWindowHint
  MouseArea { anchors.fill: parent; onClicked: ++app.clicks }
})qml");
  scene.window->setGeometry(overlay->geometry());
  ASSERT_TRUE(QTest::qWaitForWindowExposed(scene.window));
  const std::vector<QWindow*> windows{overlay, ourWindow("TolvanaOverlayBackdrop"), scene.window};
  auto appClicks = [&] { return scene.window->property("clicks").toInt(); };
  auto control = [&](const char* name) { return overlay->contentItem()->findChild<QQuickItem*>(name); };
  QRect screen = overlay->geometry();

  ASSERT_NE(control("toggleVisibleBtn"), nullptr);
  EXPECT_EQ(control("toggleVisibleBtn")->property("accessibleName"), "Tolvana.ToggleDraftMenu");
  clickOnScreen(windows, {screen.width() - 5, screen.height() - 5});
  QQuickItem* capture = nullptr;
  ASSERT_TRUE(spinUntil([&] { return (capture = control("openCaptureScreenMenuBtn")) && capture->isVisible(); }));
  EXPECT_EQ(capture->property("title"), "Capture Screen");
  // The strip's margins, the gap between its buttons, and the scene below the strip.
  for (QPoint margin : {QPoint(2, 2), QPoint(100, 40), QPoint(100, 78), QPoint(100, 300)}) {
    clickOnScreen(windows, margin);
  }
  EXPECT_TRUE(spinUntil([&] { return appClicks() == 4; }, 2000)) << appClicks();
  EXPECT_TRUE(ourWindow("TolvanaOverlayBackdrop")->mask().contains({2, 40})) << "the strip's panel is not drawn";
  clickOnScreen(windows, {100, 20});
  ASSERT_TRUE(spinUntil([&] { return control("captureScreenshotView")->isVisible(); }));
  EXPECT_FALSE(capture->isVisible());
  clickOnScreen(windows, {10, 80});  // "Back"
  ASSERT_TRUE(spinUntil([&] { return capture->isVisible(); }));
  EXPECT_EQ(appClicks(), 4);
}

TEST(QtQuick, DraftModeGesturesAndKeysOnAScene) {
  int presses = 0, swipes = 0;
  auto& ui = tolvana::Platform::Current().ui();
  ui.addLongPressGesture([&] { ++presses; });
  ui.addSwipeGestures([&] { ++swipes; });
  Scene scene("import QtQuick\nWindow { width: 400; height: 600; visible: true }");
  ASSERT_TRUE(QTest::qWaitForWindowExposed(scene.window));
  std::unique_ptr<QPointingDevice> device(QTest::createTouchDevice());
  QTest::touchEvent(scene.window, device.get()).press(0, {100, 300}).press(1, {160, 300});
  for (int step = 1; step <= 4; ++step) {
    QTest::touchEvent(scene.window, device.get()).move(0, {100, 300 - 30 * step}).move(1, {160, 300 - 30 * step});
  }
  QTest::touchEvent(scene.window, device.get()).release(0, {100, 180}).release(1, {160, 180});
  QTest::keyClick(scene.window, Qt::Key_K, Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier);
  EXPECT_EQ(swipes, 1);
  EXPECT_EQ(presses, 1);
}

// Last: the update changes the texts the tests above expect.
TEST(QtQuick, AnUpdateRetranslatesTheSceneThenReportsOnTheGuiThread) {
  Scene scene(kScene);
  auto* api = tolvana::qt::TolvanaQt::instance();
  EXPECT_FALSE(api->draftMode());
  // The groups reach the engine: a group the project lacks brings nothing.
  QSignalSpy finished(api, &tolvana::qt::TolvanaQt::updateFinished);
  api->updateGroups({"no such group"}, {"de"});
  ASSERT_TRUE(finished.wait(10000));
  EXPECT_TRUE(finished.first().first().toBool());
  EXPECT_EQ(scene.text("footer"), "Mit der App ausgeliefert (Version 1)");
  QStringList events;
  bool offGuiThread = false;
  auto note = [&](QString event) {
    offGuiThread |= QThread::currentThread() != qApp->thread();
    events << event;
  };
  QObject::connect(api, &tolvana::qt::TolvanaQt::textsChanged, [&] { note("texts: " + scene.text("title")); });
  QObject::connect(api, &tolvana::qt::TolvanaQt::updateFinished, [&](bool ok) { note(ok ? "finished" : "failed"); });
  api->update();
  EXPECT_TRUE(events.isEmpty()) << "nothing is reported inside the call";
  ASSERT_TRUE(spinUntil([&] { return events.contains("finished") || events.contains("failed"); }));
  EXPECT_EQ(events, (QStringList{"texts: Willkommen im Qt-Beispiel", "finished"}));
  EXPECT_FALSE(offGuiThread);
  EXPECT_EQ(scene.text("footer"), "Vom Server aktualisiert (Version 2)");
  EXPECT_TRUE(tolvana::qt::updateTolvana()) << "the blocking update reports the server's answer";
}

}  // namespace

int main(int argc, char** argv) {
  return runSampleTests<QGuiApplication>(argc, argv, "<key>TolvanaInitialUpdate</key><false/>");
}
