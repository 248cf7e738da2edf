// One QApplication with tolvana-qt-web linked: real pages in a QWebEngineView and in a QML
// scene's WebEngineView the test creates as any app would, and page scripts in a QJSEngine.
#include <gtest/gtest.h>

#include <QApplication>
#include <QJSEngine>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QProcess>
#include <QQmlApplicationEngine>
#include <QtWebEngineQuick>
#include <QUrlQuery>
#include <QWebEnginePage>
#include <QWebEngineView>
#include <functional>
#include <tolvana/qt/ScriptEngine.h>

#include "../../tests/QtTestSupport.h"

namespace {

// The value of a script expression in the page, waited for.
QVariant evaluate(QWebEnginePage* page, const QString& script) {
  QVariant result;
  bool done = false;
  page->runJavaScript(script, [&](const QVariant& value) {
    result = value;
    done = true;
  });
  spinUntil([&] { return done; });
  return result;
}

const char kPage[] = R"html(<!DOCTYPE html><html><head><meta charset="utf-8"></head><body>
  <h1 tolvana-text="web.title">Title</h1>
  <p tolvana-text="web.greeting" tolvana-args="Ada, Grace">Greeting</p>
  <p tolvana-text="web.basket" tolvana-plural-quantity="3" tolvana-args="3">Basket</p>
  <p tolvana-text="web.files" tolvana-plural-rule="one" tolvana-plural-quantity="7">Files</p>
  <p tolvana-text="web.escapes">Note</p>
  <p tolvana-text="no.such.key">Shown as it was</p>
  <input tolvana-placeholder="web.search" placeholder="Search">
</body></html>)html";

// Each marked element's text (placeholders by attribute), by key.
const char kTexts[] =
    "JSON.stringify(Array.prototype.map.call(document.querySelectorAll('[tolvana-text],[tolvana-placeholder]'),"
    " function (e) { return [e.getAttribute('tolvana-text') || e.getAttribute('tolvana-placeholder'),"
    " e.hasAttribute('tolvana-text') ? e.textContent : e.getAttribute('placeholder')]; })"
    ".reduce(function (all, pair) { all[pair[0]] = pair[1]; return all; }, {}))";

QJsonObject pageTexts(QWebEnginePage* page) {
  return QJsonDocument::fromJson(evaluate(page, kTexts).toString().toUtf8()).object();
}

TEST(QtWeb, PageTextsComeFromTheStoreAlsoForNodesAddedLater) {
  QWebEngineView view;
  view.setHtml(QString::fromUtf8(kPage), QUrl(QStringLiteral("file:///test/")));
  view.resize(400, 300);
  view.show();
  ASSERT_TRUE(spinUntil([&] {
    QString title = pageTexts(view.page())["web.title"].toString();
    return !title.isEmpty() && title != "Title";
  }));
  const std::pair<const char*, const char*> expected[] = {
      {"web.title", "Tolvana auf einer Webseite"},
      {"web.greeting", "Hallo Ada und Grace!"},
      {"web.basket", "3 Artikel im Korb"},
      {"web.files", "Eine Datei"},  // the plural word wins over the quantity
      // The line feed arrives as a backslash and the quotes as entities, which show as quotes.
      {"web.escapes", "Die Texte kommen aus dem Speicher.\\Anführungszeichen bleiben \"Anführungszeichen\"."},
      {"no.such.key", "Shown as it was"},
      {"web.search", "Seite durchsuchen"},
  };
  // Each element asks on its own, and the answers come back in any order.
  auto answered = [&] {
    QJsonObject texts = pageTexts(view.page());
    for (const auto& [key, text] : expected) {
      if (texts[key].toString().toStdString() != text) return false;
    }
    return true;
  };
  spinUntil(answered);
  QJsonObject texts = pageTexts(view.page());
  for (const auto& [key, text] : expected) EXPECT_EQ(texts[key].toString().toStdString(), text) << key;

  evaluate(view.page(), "var p = document.createElement('p'); p.setAttribute('tolvana-text', 'web.later');"
                        "p.textContent = 'Later'; document.body.appendChild(p); true");
  EXPECT_TRUE(spinUntil([&] { return pageTexts(view.page())["web.later"].toString() != "Later"; }));
  EXPECT_EQ(pageTexts(view.page())["web.later"].toString(), "Nach dem Laden hinzugefügt, auch übersetzt");
}

// A QML scene's view gets the bridge with no code of the app's; the page shows what its
// script wrote in through its title, which the item reports.
TEST(QtWeb, AQmlWebEngineViewGetsTheBridge) {
  QQmlApplicationEngine engine;
  engine.loadData("import QtQuick\nimport QtWebEngine\nWindow { width: 400; height: 300; visible: true\n"
                  "  WebEngineView { objectName: 'web'; anchors.fill: parent } }");
  ASSERT_FALSE(engine.rootObjects().isEmpty());
  QObject* view = engine.rootObjects().first()->findChild<QObject*>("web");
  ASSERT_NE(view, nullptr);
  const QString page = QString::fromUtf8(kPage).replace(
      "</body>", "<script>new MutationObserver(function () { document.title = "
                 "document.querySelector('[tolvana-text=\"web.title\"]').textContent; })"
                 ".observe(document.body, {subtree: true, childList: true, characterData: true});</script></body>");
  QMetaObject::invokeMethod(view, "loadHtml", Q_ARG(QString, page), Q_ARG(QUrl, QUrl("file:///test/")));
  EXPECT_TRUE(spinUntil([&] { return view->property("title").toString() == "Tolvana auf einer Webseite"; }))
      << view->property("title").toString().toStdString();
}

TEST(QtWeb, UpdateGroupsFromThePageBringsTheServersTexts) {
  QWebEngineView view;
  view.setHtml(QString::fromUtf8(kPage), QUrl(QStringLiteral("file:///test/")));
  view.show();
  ASSERT_TRUE(spinUntil([&] { return evaluate(view.page(), "typeof Tolvana !== 'undefined'").toBool(); }));
  evaluate(view.page(), "Tolvana.updateGroups('main', 'de', function (ok) { window.updated = ok; }); true");
  ASSERT_TRUE(spinUntil([&] { return !evaluate(view.page(), "window.updated").isNull(); }));
  EXPECT_EQ(evaluate(view.page(), "window.updated"), QVariant(true));
  evaluate(view.page(), "Tolvana.getString('web.title', null, null, null, null, 'x', function (t) { window.title = t; });"
                        "true");
  ASSERT_TRUE(spinUntil([&] { return !evaluate(view.page(), "window.title").isNull(); }));
  EXPECT_EQ(evaluate(view.page(), "window.title").toString(), "Tolvana auf einer Webseite (Version 2)");
}

TEST(QtWeb, ScriptEnginesGetTheNativeFunctionsAndThePageScript) {
  QJSEngine engine;  // as plain as a host makes it: not even a console
  tolvana::qt::attachToJSEngine(&engine);
  const std::pair<const char*, const char*> cases[] = {
      {"Tolvana.getString('web.greeting', 'Ada; Grace', ';', null, 'x')", "Hallo Ada und Grace!"},
      {"Tolvana.getQuantityString('web.basket', 1, '1')", "1 Artikel im Korb"},
      {"Tolvana.getPluralString('web.files', 'other')", "Einige Dateien"},
      {"Tolvana.getString('no.such.key', null, null, null, 'Default')", "Default"},
      {"TolvanaNative.getString()", ""},
      {"TolvanaNative.getPluralRuleForQuantity(2)", "other"},
      {"[typeof TLLog.info, typeof TLLog.Assert, typeof TLLog.debug('dropped')].join()", "function,function,undefined"},
  };
  for (const auto& [script, expected] : cases) {
    EXPECT_EQ(engine.evaluate(QString::fromUtf8(script)).toString().toStdString(), expected) << script;
  }
  engine.evaluate("Tolvana.updateGroups('main', 'de', function (ok) { updated = ok; })");
  EXPECT_TRUE(spinUntil([&] { return engine.globalObject().property("updated").isBool(); }));
  EXPECT_TRUE(engine.globalObject().property("updated").toBool());
}

// The server's URL and admin token, and an admin request to it.

void postToServer(const QString& path, const QByteArray& body) {
  QNetworkAccessManager network;
  QNetworkRequest request(QUrl(sample.serverUrl + path));
  request.setHeader(QNetworkRequest::ContentTypeHeader, "application/json");
  request.setRawHeader("Authorization", "Bearer " + sample.adminToken.toUtf8());
  QNetworkReply* reply = network.post(request, body);
  spinUntil([&] { return reply->isFinished(); });
  reply->deleteLater();
}

// A hostile page's own script: it posts straight to the handler, with callback ids that carry
// script, and navigates the view to another origin while its update is held up by the server.
const char kHostilePage[] = R"html(<!DOCTYPE html><html><head><title>attacker</title></head><body><script>
  function whenReady(then) {
    if (window.webkit && window.webkit.messageHandlers && window.webkit.messageHandlers.TolvanaNative) then();
    else setTimeout(function () { whenReady(then); }, 10);
  }
  whenReady(function () {
    var handler = window.webkit.messageHandlers.TolvanaNative;
    handler.callbacks = handler.callbacks || {};
    // Ids and texts that a script call built from pasted text could not carry.
    var odd = 'a"+(document.title="escaped")+"\\\r\u2028\\x';
    handler.callbacks[odd] = function (text) { window.oddAnswer = text; };
    handler.postMessage({method: "getString", id: "web.title", callback: odd});
    handler.postMessage({method: "updateGroups", groups: "main", languages: "de",
                         callback: 'x"+(document.title="pwned:"+document.title)+"'});
    var started = Date.now();
    (function leave() {
      if (window.oddAnswer === undefined && Date.now() - started < 1500) return setTimeout(leave, 20);
      location.href = "@VICTIM@?odd=" + encodeURIComponent(String(window.oddAnswer));
    })();
  });
</script></body></html>)html";

TEST(QtWeb, APageCannotRunScriptInTheOriginItNavigatesToNorBreakTheAnswersCall) {
  postToServer("/_test/faults", R"({"delayMs": 2500, "count": 1})");
  // Two origins on the one server: the attacker's by address, the victim's by name.
  QString victim = QString(sample.serverUrl).replace("127.0.0.1", "localhost") + "/victim";
  QWebEngineView view;
  view.setHtml(QString::fromUtf8(kHostilePage).replace("@VICTIM@", victim), QUrl(sample.serverUrl + "/attacker"));
  view.show();
  ASSERT_TRUE(spinUntil([&] { return view.url().toString().startsWith(victim); }, 10000));
  // The attacker tells what its odd callback received in the address it leaves for.
  QString odd = QUrlQuery(view.url()).queryItemValue("odd", QUrl::FullyDecoded);
  EXPECT_TRUE(odd.startsWith("Tolvana auf einer Webseite")) << odd.toStdString();
  // Past the update's end: the server holds it 2.5 s.
  QElapsedTimer wait;
  wait.start();
  spinUntil([&] { return view.page()->title().startsWith("pwned") || wait.elapsed() > 5000; }, 6000);
  EXPECT_FALSE(view.page()->title().startsWith("pwned")) << view.page()->title().toStdString();
  EXPECT_NE(view.page()->title(), "escaped");
}

// A page that floods the handler: look-ups whose default text is a megabyte each, then a
// stream of small ones far faster than any page needs.
const char kFloodingPage[] = R"html(<!DOCTYPE html><html><body><script>
  (function flood() {
    if (!(window.webkit && window.webkit.messageHandlers && window.webkit.messageHandlers.TolvanaNative)) {
      return setTimeout(flood, 10);
    }
    var handler = window.webkit.messageHandlers.TolvanaNative;
    handler.callbacks = handler.callbacks || {};
    var answered = window.answered = {large: 0, small: 0};
    var megabyte = "x".repeat(1 << 20);
    for (var i = 0; i < 100; i++) {
      handler.callbacks["large" + i] = function () { answered.large++; };
      handler.postMessage({method: "getString", id: "flood." + i, value: megabyte + i, callback: "large" + i});
    }
    for (var j = 0; j < 3000; j++) {
      handler.callbacks["small" + j] = function () { answered.small++; };
      handler.postMessage({method: "getString", id: "web.title", callback: "small" + j});
    }
    window.flooded = true;
  })();
</script></body></html>)html";

TEST(QtWeb, APageFloodingTheHandlerIsServedWithinBoundsAndDoesNotHoldTheApp) {
  QWebEngineView view;
  view.setHtml(QString::fromUtf8(kFloodingPage), QUrl(sample.serverUrl + "/flood"));
  view.show();
  ASSERT_TRUE(spinUntil([&] { return evaluate(view.page(), "window.flooded === true").toBool(); }));
  bool answered = false;
  view.page()->runJavaScript("1", [&](const QVariant&) { answered = true; });
  EXPECT_TRUE(spinUntil([&] { return answered; }, 5000)) << "the app's own call into the page waited";
  spinUntil([] { return false; }, 2000);  // what is served arrives meanwhile
  EXPECT_EQ(evaluate(view.page(), "window.answered.large").toInt(), 0);
  int small = evaluate(view.page(), "window.answered.small").toInt();
  EXPECT_GT(small, 0);
  EXPECT_LT(small, 1500) << "the burst and a few seconds' share, not all 3000";
}

}  // namespace

int main(int argc, char** argv) {
  // Without the update at start, so the page first shows the archive's texts. QML's
  // WebEngineView asks for its initialisation before the application object, as in any QML app.
  return runSampleTests<QApplication>(argc, argv, "<key>TolvanaInitialUpdate</key><false/>", {"--test-fixture"},
                                      [] { QtWebEngineQuick::initialize(); });
}
