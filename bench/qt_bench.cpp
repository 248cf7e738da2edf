// tr() where Qt developers will compare it: QCoreApplication::translate() answered by
// Tolvana's translator (linked through tolvana-qt, as a host links it) against Qt's own
// QTranslator loaded from a .qm file of the same 10,000 entries (written as a .ts file and
// compiled with lrelease before timing), for a hit and for a miss that falls through to the
// source text; and a window of 500 labels retranslated as after an update, against the same
// window retranslated when Qt's translator is swapped for another.
//
// Usage: qt_bench [Google Benchmark flags…]; needs the tolvana tool and lrelease (their paths
// are compiled in) and runs on the offscreen platform unless QT_QPA_PLATFORM says otherwise.
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QTemporaryDir>
#include <QTranslator>
#include <QVBoxLayout>
#include <memory>
#include <string>
#include <tolvana/Tolvana.h>
#include <vector>

#include "RatioReporter.h"

namespace tolvana::bench {
namespace {

constexpr int kEntries = 10000;
constexpr int kLabels = 500;
constexpr const char* kContext = "Bench";

struct Setup {
  QTemporaryDir dir;
  std::vector<std::string> keys, misses;
  QTranslator* tolvana = nullptr;  // the adapter's, made with the application object
  std::unique_ptr<QTranslator> qt, swapped;
};
Setup* setup = nullptr;

std::string key(int i) { return "Text number " + std::to_string(i) + " of the benchmark"; }
QString translation(int i) { return QStringLiteral("Übersetzter Text Nummer %1 der Messung").arg(i); }

bool write(const QString& path, const QByteArray& data) {
  QFile file(path);
  return file.open(QIODevice::WriteOnly) && file.write(data) == data.size();
}

// The app's bundle, its settings archive packed by the tolvana tool from the same entries in
// German and English, and the German .qm file made by lrelease.
bool prepareFiles(const QString& dir) {
  QByteArray german = R"({"version": 1, "entries": {)", english = german;
  QByteArray ts = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<!DOCTYPE TS>\n<TS version=\"2.1\" language=\"de\">\n"
                  "<context><name>" + QByteArray(kContext) + "</name>\n";
  for (int i = 0; i < kEntries; ++i) {
    QByteArray source = QByteArray::fromStdString(key(i)), text = translation(i).toUtf8();
    const char* comma = i ? "," : "";
    german += comma + ("\"" + source + "\": {\"v\": \"" + text + "\"}");
    english += comma + ("\"" + source + "\": {\"v\": \"" + source + "\"}");
    ts += "<message><source>" + source + "</source><translation>" + text + "</translation></message>\n";
  }
  german += "}}";
  english += "}}";
  ts += "</context>\n</TS>\n";
  const QString bundle = dir + "/Bench.app";
  const QByteArray plist = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                           "<key>CFBundleIdentifier</key><string>io.tolvana.bench.qt</string>"
                           "<key>CFBundleDevelopmentRegion</key><string>en</string>"
                           "<key>TolvanaInitialUpdate</key><false/><key>TolvanaLogLevel</key><string>w</string>"
                           "</dict></plist>\n";
  const QByteArray app = R"({"_id": "bench", "apiSecret": "secret", "__v": 1, "baseLanguage": "en"})";
  if (!QDir().mkpath(bundle) || !write(bundle + "/Info.plist", plist) || !write(dir + "/app.json", app) ||
      !write(dir + "/de.json", german) || !write(dir + "/en.json", english) || !write(dir + "/bench_de.ts", ts)) {
    return false;
  }
  return QProcess::execute(TOLVANA_CLI_BINARY, {"pack", "--app-file", dir + "/app.json", "--strings", "de=" + dir + "/de.json",
                                                "--strings", "en=" + dir + "/en.json", "-o",
                                                bundle + "/tolvana_settings.tolvana"}) == 0 &&
         QProcess::execute(TOLVANA_LRELEASE, {"-silent", dir + "/bench_de.ts", "-qm", dir + "/bench_de.qm"}) == 0;
}

// Exactly one of the two translators answers: Tolvana's keeps itself first in the list, so it
// stops watching the list while Qt's is measured.
void answerWith(QTranslator* translator) {
  if (translator != setup->tolvana) qApp->removeEventFilter(setup->tolvana);
  for (QTranslator* t : {setup->tolvana, setup->qt.get(), setup->swapped.get()}) {
    if (t != translator) QCoreApplication::removeTranslator(t);
  }
  QCoreApplication::installTranslator(translator);
  if (translator == setup->tolvana) qApp->installEventFilter(setup->tolvana);
}

QString translated(const std::string& source) { return QCoreApplication::translate(kContext, source.c_str()); }

// Looks up the keys in an order no cache line predicts, and checks the first answer.
void translate(benchmark::State& state, QTranslator* translator, const std::vector<std::string>& keys,
               const QString& expectedFirst) {
  answerWith(translator);
  if (translated(keys[0]) != expectedFirst) return state.SkipWithError(qPrintable("wrong answer: " + translated(keys[0])));
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(translated(keys[i]));
    i = (i + 7919) % keys.size();
  }
}

void QtHit_baselineQTranslator(benchmark::State& state) {
  translate(state, setup->qt.get(), setup->keys, translation(0));
}
void QtHit_tolvana(benchmark::State& state) { translate(state, setup->tolvana, setup->keys, translation(0)); }
void QtMiss_baselineQTranslator(benchmark::State& state) {
  translate(state, setup->qt.get(), setup->misses, QString::fromStdString(setup->misses[0]));
}
void QtMiss_tolvana(benchmark::State& state) {
  translate(state, setup->tolvana, setup->misses, QString::fromStdString(setup->misses[0]));
}
BENCHMARK(QtHit_baselineQTranslator);
BENCHMARK(QtHit_tolvana);
BENCHMARK(QtMiss_baselineQTranslator);
BENCHMARK(QtMiss_tolvana);

// A window that sets its labels' texts again on every LanguageChange, as Qt's examples do.
class Window final : public QWidget {
 public:
  Window() {
    auto* layout = new QVBoxLayout(this);
    for (int i = 0; i < kLabels; ++i) layout->addWidget(labels_.emplace_back(new QLabel(this)));
    retranslate();
  }
  QString first() const { return labels_.front()->text(); }

 protected:
  void changeEvent(QEvent* event) override {
    if (event->type() == QEvent::LanguageChange) retranslate();
    QWidget::changeEvent(event);
  }

 private:
  void retranslate() {
    for (int i = 0; i < kLabels; ++i) labels_[std::size_t(i)]->setText(translated(key(i * (kEntries / kLabels))));
  }
  std::vector<QLabel*> labels_;
};

// The adapter, once an update wrote new texts, has the application object tell the windows.
// The update has also made the translator forget the answers it kept; switching show-ID mode
// on and off again does that without a server, so every label is looked up afresh.
void Retranslate_tolvana(benchmark::State& state) {
  answerWith(setup->tolvana);
  Window window;
  for (auto _ : state) {
    Tolvana::setShowIdModeEnabled(true);
    Tolvana::setShowIdModeEnabled(false);
    QEvent change(QEvent::LanguageChange);
    QCoreApplication::sendEvent(qApp, &change);
    QCoreApplication::processEvents();
  }
  if (window.first() != translation(0)) state.SkipWithError("the window shows other texts");
}

// Qt's way to new texts: one translator out, another in; the change is announced once.
void Retranslate_baselineSwapQTranslator(benchmark::State& state) {
  answerWith(setup->qt.get());
  Window window;
  QTranslator* shown = setup->qt.get();
  QTranslator* next = setup->swapped.get();
  for (auto _ : state) {
    QCoreApplication::removeTranslator(shown);
    QCoreApplication::installTranslator(next);
    QCoreApplication::processEvents();
    std::swap(shown, next);
  }
  if (window.first() != translation(0)) state.SkipWithError("the window shows other texts");
}
BENCHMARK(Retranslate_tolvana)->Unit(benchmark::kMicrosecond);
BENCHMARK(Retranslate_baselineSwapQTranslator)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tolvana::bench

int main(int argc, char** argv) {
  using namespace tolvana::bench;
  Setup files;
  setup = &files;
  if (!files.dir.isValid() || !prepareFiles(files.dir.path())) {
    std::fprintf(stderr, "qt_bench: the app's files could not be made\n");
    return 1;
  }
  for (int i = 0; i < kEntries; ++i) files.keys.push_back(key(i));
  for (int i = 0; i < kEntries; ++i) files.misses.push_back("No text number " + std::to_string(i) + " of the benchmark");
  // The app, on a German device, before the application object starts the adapter.
  const QByteArray dir = files.dir.path().toUtf8();
  qputenv("TOLVANA_MAIN_BUNDLE", dir + "/Bench.app");
  qputenv("XDG_DATA_HOME", dir + "/data");
  qputenv("XDG_CONFIG_HOME", dir + "/config");
  qputenv("LANGUAGE", "de");
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  for (QTranslator* translator : app.findChildren<QTranslator*>()) files.tolvana = translator;
  files.qt = std::make_unique<QTranslator>();
  files.swapped = std::make_unique<QTranslator>();
  if (!files.tolvana || !files.qt->load(files.dir.path() + "/bench_de.qm") ||
      !files.swapped->load(files.dir.path() + "/bench_de.qm")) {
    std::fprintf(stderr, "qt_bench: a translator is missing\n");
    return 1;
  }
  // The engine starts (unpacking the archive, reading each store's index, the base language's
  // only at the first miss) before any timing.
  translated(files.keys[0]);
  translated(files.misses[0]);
  addTarget({"Qt tr() hit, 10,000 entries", "QtHit_tolvana", "QtHit_baselineQTranslator", 1, true});
  addTarget({"Qt tr() miss to the source text", "QtMiss_tolvana", "QtMiss_baselineQTranslator", 1, true});
  addTarget({"retranslating 500 labels", "Retranslate_tolvana", "Retranslate_baselineSwapQTranslator", 1.5, true});
  int status = runWithRatios(argc, argv);
  answerWith(files.tolvana);
  return status;
}
