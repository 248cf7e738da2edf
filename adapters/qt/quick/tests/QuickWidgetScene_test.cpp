// A widget app that shows part of its window as a QML scene (QQuickWidget), in a real
// QApplication with tolvana-qt-quick linked: the scene follows the app's texts, and the review
// tools read it as part of the widget window.
#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QQuickItem>
#include <QQuickWidget>
#include <QTest>
#include <tolvana/platform/Platform.h>
#include <tolvana/qt/TolvanaQt.h>

#include "../../tests/QtTestSupport.h"

inline void PrintTo(const QString& text, std::ostream* out) { *out << '"' << text.toStdString() << '"'; }

namespace {


const char kScene[] = R"qml(
import QtQuick
Item {
  Text { objectName: "title"; x: 5; y: 6; text: qsTr("Welcome") }
  Text { objectName: "hidden"; visible: false; text: qsTr("Apples") }
}
)qml";

struct WidgetWindow {
  QWidget window;
  QQuickWidget* scene = new QQuickWidget(&window);
  WidgetWindow() {
    QString path = sample.workDir + "/Embedded.qml";
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    file.write(kScene);
    file.close();
    window.setFixedSize(300, 200);
    (new QLabel(QStringLiteral("typed by the app"), &window))->setGeometry(10, 10, 120, 20);
    scene->setResizeMode(QQuickWidget::SizeRootObjectToView);
    scene->setGeometry(20, 50, 200, 100);
    scene->setSource(QUrl::fromLocalFile(path));
    window.show();
  }
  QQuickItem* item(const char* name) const {
    return scene->rootObject() ? scene->rootObject()->findChild<QQuickItem*>(name) : nullptr;
  }
  QString text(const char* name) const {
    QQuickItem* item = this->item(name);
    return item ? item->property("text").toString() : QStringLiteral("<no item %1>").arg(name);
  }
};

TEST(QtQuickWidget, TheSceneInAWidgetWindowFollowsALanguageSwitch) {
  WidgetWindow app;
  ASSERT_EQ(app.scene->status(), QQuickWidget::Ready);
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&app.window));
  EXPECT_EQ(app.text("title"), "Willkommen");
  auto* api = tolvana::qt::TolvanaQt::instance();
  ASSERT_TRUE(api->setLanguage("en"));
  EXPECT_EQ(app.text("title"), "Welcome");
  ASSERT_TRUE(api->setLanguage(""));
  EXPECT_EQ(app.text("title"), "Willkommen");
}

TEST(QtQuickWidget, TheWalkReadsTheSceneAsPartOfTheWidgetWindow) {
  WidgetWindow app;
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&app.window));
  auto& ui = tolvana::Platform::Current().ui();
  auto tree = ui.rootWindowView();
  ASSERT_TRUE(tree);
  EXPECT_EQ(tree->frame.width, 300);
  QQuickItem* title = app.item("title");
  ASSERT_NE(title, nullptr);
  std::string size = std::to_string(int(title->width())) + "," + std::to_string(int(title->height()));
  std::vector<std::string> shown;
  flatten(*tree, shown);
  // The scene's items in the window's coordinates, in the window's drawing order.
  EXPECT_EQ(shown, (std::vector<std::string>{"Willkommen|Welcome|Welcome|25,56," + size,
                                             "typed by the app|||10,10,120,20"}));
  app.scene->hide();
  shown.clear();
  flatten(*ui.rootWindowView(), shown);
  EXPECT_EQ(shown, (std::vector<std::string>{"typed by the app|||10,10,120,20"}));
  app.scene->show();
  QImage image = QImage::fromData(QByteArray::fromStdString(ui.rootWindowPng()), "PNG");
  EXPECT_EQ(image.size(), QSize(300, 200) * app.window.devicePixelRatio());
  // The scene is drawn into the capture where its frame says.
  QRect drawn = QRect(QPoint(25, 56), title->size().toSize());
  int dark = 0;
  for (int y = drawn.top(); y <= drawn.bottom(); ++y) {
    for (int x = drawn.left(); x <= drawn.right(); ++x) dark += qGray(image.pixel(x, y)) < 100;
  }
  EXPECT_GT(dark, 0);
}

}  // namespace

int main(int argc, char** argv) {
  return runSampleTests<QApplication>(argc, argv, "<key>TolvanaInitialUpdate</key><false/>");
}
