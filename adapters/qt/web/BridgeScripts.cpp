#include "BridgeScripts.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <tolvana/TLJSBridge.h>

namespace tolvana::qt {

namespace {

// A value as JSON text, the only form in which anything goes into these scripts.
QString literal(const QJsonValue& value) {
  QString array = QString::fromUtf8(QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact));
  return array.mid(1, array.size() - 2);
}

QString originsLiteral(const QStringList& origins) { return literal(QJsonArray::fromStringList(origins)); }

}  // namespace

QString relayScript(const QString& name, const QStringList& origins, const QString& channelClient) {
  return channelClient + QStringLiteral(R"((function () {
  var origins = %2;
  if (origins.length && origins.indexOf(location.origin) < 0) return;
  var name = %1, maxLength = %3, burst = %4, perSecond = %5;
  var ids = new Uint32Array(4);
  crypto.getRandomValues(ids);
  var documentId = Array.prototype.join.call(ids, "-");
  window.tolvanaDocument = documentId;
  var tokens = burst, refilled = Date.now(), queue = [], target = null;
  // Refused here, a message never reaches the app's main thread.
  function admit(text) {
    var now = Date.now();
    tokens = Math.min(burst, tokens + (now - refilled) / 1000 * perSecond);
    refilled = now;
    if (typeof text !== "string" || text.length > maxLength || tokens < 1) return false;
    tokens -= 1;
    return true;
  }
  document.addEventListener("tolvana-native-request", function (event) {
    if (!admit(event.detail)) return;
    var body;
    try { body = JSON.parse(event.detail); } catch (e) { return; }
    var envelope = {document: documentId, origin: location.origin, body: body};
    if (target) target.postMessage(envelope);
    else if (queue.length < burst) queue.push(envelope);
  });
  function hand(method, id, value) {
    document.dispatchEvent(new CustomEvent("tolvana-native-answer", {detail: JSON.stringify([method, id, value])}));
  }
  window.TolvanaGetStringFinished = function (id, value) { hand("TolvanaGetStringFinished", id, value); };
  window.TolvanaUpdateGroupsFinished = function (id, value) { hand("TolvanaUpdateGroupsFinished", id, value); };
  (function connect() {
    if (typeof qt === "undefined" || !qt.webChannelTransport) return setTimeout(connect, 10);
    new QWebChannel(qt.webChannelTransport, function (channel) {
      target = channel.objects[name];
      queue.splice(0).forEach(function (envelope) { target.postMessage(envelope); });
    });
  })();
})();
)")
      .arg(literal(name), originsLiteral(origins))
      .arg(TLJSBridge::kMaxMessageBytes)
      .arg(TLJSBridge::kMessageBurst)
      .arg(TLJSBridge::kMessagesPerSecond);
}

QString handlerScript(const QString& name, const QStringList& origins) {
  return QStringLiteral(R"((function () {
  var origins = %2;
  if (origins.length && origins.indexOf(location.origin) < 0) return;
  var name = %1;
  window.webkit = window.webkit || {};
  window.webkit.messageHandlers = window.webkit.messageHandlers || {};
  if (window.webkit.messageHandlers[name]) return;
  window.webkit.messageHandlers[name] = {
    postMessage: function (body) {
      document.dispatchEvent(new CustomEvent("tolvana-native-request", {detail: JSON.stringify(body)}));
    }
  };
  var finishers = {TolvanaGetStringFinished: true, TolvanaUpdateGroupsFinished: true};
  document.addEventListener("tolvana-native-answer", function (event) {
    var answer;
    try { answer = JSON.parse(event.detail); } catch (e) { return; }
    if (finishers[answer[0]] === true && typeof window[answer[0]] === "function") window[answer[0]](answer[1], answer[2]);
  });
})();
)")
      .arg(literal(name), originsLiteral(origins));
}

QString guardedAnswer(const QString& script, const QString& documentId) {
  return QStringLiteral("if (window.tolvanaDocument === %1) {\n%2\n}").arg(literal(documentId), script);
}

}  // namespace tolvana::qt
