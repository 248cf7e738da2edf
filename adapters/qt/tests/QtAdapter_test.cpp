// One real QApplication with tolvana-qt linked, on a copy of the Qt sample's bundle whose
// server is the translation server; and the sample itself, run as a user runs it.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QThread>
#include <QTranslator>
#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>
#include <sqlite3.h>
#include <tolvana/Tolvana.h>
#include <tolvana/platform/Platform.h>
#include <tolvana/qt/WidgetKeys.h>

#include "QtTestSupport.h"

// Failures show texts, not code units.
inline void PrintTo(const QString& text, std::ostream* out) { *out << '"' << text.toStdString() << '"'; }

namespace {


QString tr(const char* source, int n = -1) { return QCoreApplication::translate("SampleWindow", source, nullptr, n); }

// Writes a language's store as another process would, which moves no generation on.
void writeAsAnotherProcess(const char* language, const char* sql) {
  QString store;
  for (QDirIterator it(qEnvironmentVariable("XDG_DATA_HOME"), {QString(language) + ".sqlite"}, QDir::Files,
                       QDirIterator::Subdirectories);
       it.hasNext();) {
    store = it.next();
  }
  ASSERT_FALSE(store.isEmpty());
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(store.toUtf8().constData(), &other), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(other, sql, nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(other);
}

class OtherTranslator final : public QTranslator {
 public:
  QString translate(const char*, const char* source, const char*, int) const override {
    if (qstrcmp(source, "Help") == 0) return QStringLiteral("Hilfe");
    if (qstrcmp(source, "Welcome") == 0) return QStringLiteral("from the other translator");
    return {};
  }
  bool isEmpty() const override { return false; }
};

TEST(QtAdapter, TranslatorAnswersFromTheStoresAndLeavesMissesToOtherTranslators) {
  EXPECT_EQ(tr("Welcome"), "Willkommen");
  EXPECT_EQ(qtTrId("footer.note"), "Mit der App ausgeliefert (Version 1)");
  EXPECT_EQ(tr("%n item(s) in your cart", 1), "Ein Artikel im Warenkorb");
  EXPECT_EQ(tr("%n item(s) in your cart", 3), "3 Artikel im Warenkorb");
  EXPECT_EQ(QCoreApplication::translate("QLineEdit", "Welcome"), "Welcome");  // Qt's own texts
  EXPECT_EQ(QObject::tr("Welcome"), "Willkommen") << "tr() from a free function is the app's";
  OtherTranslator other;
  QCoreApplication::installTranslator(&other);
  EXPECT_EQ(tr("Help"), "Hilfe");
  EXPECT_EQ(tr("Welcome"), "Willkommen");  // installed later, still asked after the stores
  EXPECT_EQ(tr("Nobody has this"), "Nobody has this");
  QCoreApplication::removeTranslator(&other);
}

TEST(QtAdapter, WidgetsKeepTheKeyOfTheirTaggedTextUntilAnotherTaggedOne) {
  QWidget window;
  auto* label = new QLabel(&window);
  auto* button = new QPushButton(&window);
  auto* edit = new QLineEdit(&window);
  struct Case {
    QWidget* widget;
    std::function<void(const QString&)> set;
    std::function<QString()> get;
  };
  const Case cases[] = {
      {label, [&](const QString& t) { label->setText(t); }, [&] { return label->text(); }},
      {button, [&](const QString& t) { button->setText(t); }, [&] { return button->text(); }},
      {edit, [&](const QString& t) { edit->setPlaceholderText(t); }, [&] { return edit->placeholderText(); }},
      {&window, [&](const QString& t) { window.setWindowTitle(t); }, [&] { return window.windowTitle(); }},
  };
  for (const auto& c : cases) {
    const char* kind = c.widget->metaObject()->className();
    c.set(tr("Search"));
    EXPECT_EQ(c.get(), "Suchen") << kind;
    EXPECT_EQ(tolvana::qt::keyForWidget(c.widget), "Search") << kind;
    c.set(QStringLiteral("typed by the app"));
    EXPECT_EQ(tolvana::qt::keyForWidget(c.widget), "Search") << kind;
    c.set(tr("Check out"));
    EXPECT_EQ(tolvana::qt::keyForWidget(c.widget), "Check out") << kind;
  }
  QLabel fresh;
  fresh.setText(QString::fromUtf8("Willkommen"));  // the same characters in other storage
  EXPECT_EQ(tolvana::qt::keyForWidget(&fresh), "");
}

TEST(QtAdapter, AlertsAreDialogsAndTheirActionsRunOnTheGuiThread) {
  std::atomic<bool> ranOnGuiThread{false}, ran{false};
  std::thread([&] {
    tolvana::Platform::Current().dispatch().mainAsync([&] {
      tolvana::Alert alert{"Draft mode", "Enter the key", {{"Key", "draftKeyField", true, ""}}, {}};
      alert.actions.push_back({"OK", [&](const std::vector<std::string>&) {
                                 ranOnGuiThread = QThread::currentThread() == qApp->thread();
                                 ran = true;
                               }});
      tolvana::Platform::Current().ui().presentAlert(alert);
    });
  }).join();
  QDialog* dialog = nullptr;
  ASSERT_TRUE(spinUntil([&] {
    for (QWidget* w : QApplication::topLevelWidgets()) {
      if (w->objectName() == "TolvanaAlert" && w->isVisible()) dialog = qobject_cast<QDialog*>(w);
    }
    return dialog != nullptr;
  }));
  EXPECT_EQ(dialog->windowTitle(), "Draft mode");
  auto* field = dialog->findChild<QLineEdit*>("draftKeyField");
  ASSERT_NE(field, nullptr);
  EXPECT_EQ(field->echoMode(), QLineEdit::Password);
  EXPECT_EQ(field->placeholderText(), "Key");
  dialog->findChild<QAbstractButton*>()->click();
  EXPECT_TRUE(spinUntil([&] { return ran.load(); }));
  EXPECT_TRUE(ranOnGuiThread);
}

TEST(QtAdapter, MainQueueRunsInOrderOnTheGuiThreadAndDelayedTasksNeverEarly) {
  auto& dispatch = tolvana::Platform::Current().dispatch();
  std::vector<std::string> ran;  // touched on the GUI thread only
  std::atomic<int> offGuiThread{0};
  QElapsedTimer clock;
  clock.start();
  auto task = [&](std::string name, qint64 notBefore) {
    return [&, name, notBefore] {
      bool onGui = dispatch.isMainThread() && QThread::currentThread() == qApp->thread();
      ran.push_back(clock.elapsed() >= notBefore && onGui ? name : name + " early or off the GUI thread");
    };
  };
  std::thread([&] {
    dispatch.mainAfter(std::chrono::milliseconds(60), task("60", 60));
    dispatch.mainAfter(std::chrono::milliseconds(20), task("20a", 20));
    dispatch.mainAfter(std::chrono::milliseconds(20), task("20b", 20));
    for (int i = 0; i < 3; ++i) dispatch.mainAsync(task(std::to_string(i), 0));
    dispatch.globalAsync([&] { offGuiThread += !dispatch.isMainThread(); });
    dispatch.makeSerialQueue("qt-test")->async([&] { offGuiThread += !dispatch.isMainThread(); });
  }).join();
  ASSERT_TRUE(spinUntil([&] { return ran.size() == 6 && offGuiThread == 2; }));
  EXPECT_EQ(ran, (std::vector<std::string>{"0", "1", "2", "20a", "20b", "60"}));
}

// A text asked for again comes from what the translator kept (with the launch argument of the
// other run, nothing is kept: every answer carries its key); whatever moves the engine's
// answers on shows at the next ask, also while other threads ask.
TEST(QtAdapter, KeptAnswersFollowShowIdMode) {
  ASSERT_EQ(tr("Welcome"), "Willkommen");
  ASSERT_EQ(tr("Welcome"), "Willkommen");
  tolvana::Tolvana::setShowIdModeEnabled(true);
  EXPECT_EQ(tr("Welcome"), "Welcome");
  tolvana::Tolvana::setShowIdModeEnabled(false);
  EXPECT_EQ(tr("Welcome"), "Willkommen");

  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0};
  std::vector<std::thread> readers;
  for (int i = 0; i < 2; ++i) {
    readers.emplace_back([&] {
      while (!stop) {
        QString text = tr("Welcome");
        if (text != "Willkommen" && text != "Welcome") ++wrong;
      }
    });
  }
  for (int i = 0; i < 200; ++i) tolvana::Tolvana::setShowIdModeEnabled(i % 2 == 0);
  tolvana::Tolvana::setShowIdModeEnabled(false);
  stop = true;
  for (auto& reader : readers) reader.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(tr("Welcome"), "Willkommen");

  // Another process's write to the store moves no generation on; the kept answer lapses at
  // the store's next look for outside changes, a second at most.
  writeAsAnotherProcess("de", "UPDATE entries SET value='Willkommen von draussen' WHERE key='Welcome'");
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  EXPECT_EQ(tr("Welcome"), "Willkommen von draussen");
}

class LanguageChanges final : public QWidget {
 public:
  int count = 0;

 protected:
  void changeEvent(QEvent* event) override {
    if (event->type() == QEvent::LanguageChange) ++count;
    QWidget::changeEvent(event);
  }
};

// Last: the update changes the texts the tests above expect. It writes "Welcome" and leaves
// "Only here" (a text no update brings) alone, whose kept answer therefore outlives it: it
// still shows the text from before another process wrote the store, as for up to a second
// after any such write, where a look-up shows that write.
TEST(QtAdapter, AnUpdateCompletesOnTheGuiThreadAndWidgetsRetranslate) {
  writeAsAnotherProcess("en", "INSERT INTO entries (key, value) VALUES ('Only here', 'Only on this device')");
  writeAsAnotherProcess("de", "INSERT INTO entries (key, value) VALUES ('Only here', 'Nur auf diesem Gerät')");
  ASSERT_TRUE(spinUntil([] { return tr("Only here") == "Nur auf diesem Gerät"; }, 5000));
  ASSERT_NE(tr("Welcome"), "Willkommen im Qt-Beispiel");  // kept too: the update that writes it must end that
  QElapsedTimer kept;
  kept.start();
  writeAsAnotherProcess("de", "UPDATE entries SET value='Nur hier, neu' WHERE key='Only here'");

  LanguageChanges widget;
  std::atomic<bool> called{false}, onGuiThread{false}, succeeded{false};
  std::thread([&] {
    tolvana::Tolvana::updateWithCompletionHandler([&](bool success) {
      succeeded = success;
      onGuiThread = QThread::currentThread() == qApp->thread();
      called = true;
    });
  }).join();
  ASSERT_TRUE(spinUntil([&] { return called && widget.count > 0; }));
  EXPECT_TRUE(succeeded);
  EXPECT_TRUE(onGuiThread);
  EXPECT_EQ(tr("Welcome"), "Willkommen im Qt-Beispiel");
  const QString onlyHere = tr("Only here");
  // Under UI tests every answer carries its key and nothing is kept: the look-up sees the
  // other process's write, which the update's write into the same store must not hide. Else
  // the store's next look for outside writes ends what was kept; the update must come first.
  if (QCoreApplication::arguments().contains("TolvanaUITestScreenshotEnabled")) {
    EXPECT_EQ(onlyHere, "Nur hier, neu");
  } else if (kept.elapsed() < 800) {
    EXPECT_EQ(onlyHere, "Nur auf diesem Gerät");
  }
  std::printf("update and first look-ups %lld ms after the answer was kept\n", static_cast<long long>(kept.elapsed()));

  // A language switch is announced as well, without any update, and every answer is asked for again.
  int before = widget.count;
  ASSERT_TRUE(tolvana::Tolvana::setLanguage("en"));
  ASSERT_TRUE(spinUntil([&] { return widget.count > before; }));
  EXPECT_EQ(tr("Welcome"), "Welcome to the Qt sample");
  EXPECT_EQ(tr("Only here"), "Only on this device");
  tolvana::Tolvana::setLanguage(std::nullopt);
  EXPECT_TRUE(spinUntil([] { return tr("Only here") == "Nur hier, neu"; }, 3000)) << tr("Only here").toStdString();
}

struct SampleRun {
  int status;
  QString out;
  qint64 ms;
};

SampleRun runSample(const QString& name, const QString& host, const QString& extraKeys) {
  QString dir = sample.workDir + "/" + name;
  QString bundle = copySample(dir, host, extraKeys);
  QProcess sample;
  QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
  env.remove("TOLVANA_MAIN_BUNDLE");
  for (const char* variable : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME"}) env.insert(variable, dir + "/" + variable);
  sample.setProcessEnvironment(env);
  QElapsedTimer timer;
  timer.start();
  sample.start(bundle + "/QtSample", {"--print-texts"});
  sample.waitForFinished(60000);
  return {sample.exitCode(), QString::fromUtf8(sample.readAllStandardOutput()), timer.elapsed()};
}

TEST(QtSample, ShowsTheArchivesTextsThenTheServersOnceAnUpdateWroteThem) {
  auto before = runSample("sample", sample.serverUrl, "<key>TolvanaInitialUpdate</key><false/>");
  EXPECT_TRUE(before.out.contains("title\tWillkommen\t")) << before.out.toStdString();
  auto after = runSample("sample", sample.serverUrl, "");
  EXPECT_EQ(after.status, 0);
  EXPECT_TRUE(after.out.contains("title\tWillkommen im Qt-Beispiel\t")) << after.out.toStdString();
  EXPECT_TRUE(after.out.contains("footer\tVom Server aktualisiert (Version 2)\t")) << after.out.toStdString();
}

TEST(QtSample, AutostartOffLeavesTheAppUntouched) {
  auto run = runSample("off", "http://127.0.0.1:1", "<key>TolvanaEnableAutostart</key><false/>");
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(run.out.contains("title\tWelcome\t\n")) << run.out.toStdString();
  EXPECT_TRUE(run.out.contains("footer\tfooter.note\t\n")) << run.out.toStdString();
}

TEST(QtSample, WithTheServerDownTheHeldWindowAppearsOnceTheUpdateFailed) {
  auto run = runSample("down", "http://127.0.0.1:1", "");
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(run.out.contains("title\tWillkommen\t")) << run.out.toStdString();
  // The failure is immediate; one wait of a second, never the request's time-outs.
  EXPECT_GE(run.ms, 1000);
  EXPECT_LT(run.ms, 4000);
}

}  // namespace

int main(int argc, char** argv) {
  return runSampleTests<QApplication>(argc, argv, "<key>TolvanaInitialUpdate</key><false/>");
}
