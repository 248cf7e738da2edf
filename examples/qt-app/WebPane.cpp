#include "WebPane.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <QWebEngineView>
#include <cstdio>

namespace {

const char kPage[] = R"html(<!DOCTYPE html>
<html><head><meta charset="utf-8"><style>
  body { font-family: "DejaVu Sans", sans-serif; margin: 24px; background: #fdfdf8; color: #222; }
  h1 { font-size: 24px; color: #1d4f91; }
  p { font-size: 16px; margin: 10px 0; }
  input { font-size: 16px; width: 320px; padding: 4px; }
  .later { color: #2e7d32; }
</style></head><body>
  <h1 tolvana-text="web.title">Web page title</h1>
  <p tolvana-text="web.greeting" tolvana-args="Ada, Grace">Greeting with arguments</p>
  <p tolvana-text="web.basket" tolvana-plural-quantity="3" tolvana-args="3">Basket by quantity</p>
  <p tolvana-text="web.files" tolvana-plural-rule="one">Files by plural word</p>
  <p tolvana-text="web.note">Note with quotes</p>
  <input tolvana-placeholder="web.search" placeholder="Search placeholder">
  <div id="later"></div>
  <script>
    window.addEventListener("load", function () {
      setTimeout(function () {
        var p = document.createElement("p");
        p.className = "later";
        p.setAttribute("tolvana-text", "web.later");
        p.textContent = "Paragraph added after loading";
        document.getElementById("later").appendChild(p);
      }, 200);
    });
  </script>
</body></html>
)html";

// The paragraph added last shows whether the page's texts have arrived.
const char kTranslated[] =
    "(function () { var p = document.querySelector('.later');"
    " return !!p && p.textContent !== 'Paragraph added after loading'; })()";

}  // namespace

std::unique_ptr<QWidget> showWebPaneAndSave(const QString& file) {
  auto pane = std::make_unique<QWebEngineView>();
  QWebEngineView* view = pane.get();
  view->resize(640, 360);
  view->setHtml(QString::fromUtf8(kPage), QUrl(QStringLiteral("file:///qt-sample/")));
  view->show();
  auto* timer = new QTimer(view);
  auto* clock = new QElapsedTimer;
  clock->start();
  QObject::connect(timer, &QTimer::timeout, view, [view, timer, clock, file] {
    view->page()->runJavaScript(QString::fromLatin1(kTranslated), [view, timer, clock, file](const QVariant& done) {
      // An untranslated page (the library switched off) is saved as it is, after a while.
      if (!timer->isActive() || (!done.toBool() && clock->elapsed() < 10000)) return;
      timer->stop();
      delete clock;
      // One more frame, so that the last text is painted before the grab.
      QTimer::singleShot(300, view, [view, file] {
        int status = view->grab().save(file, "PNG") ? 0 : 1;
        if (status) std::fprintf(stderr, "could not write %s\n", qPrintable(file));
        QCoreApplication::exit(status);
      });
    });
  });
  timer->start(100);
  return pane;
}
