// The scripts that carry the page bridge through a QWebEnginePage.
//
// The channel to the app lives in a script world of its own, which the page's scripts cannot
// reach. Two scripts meet there and in the page's world through DOM events that carry JSON
// text:
//  - the relay, in the channel's world from the document's creation on: it gives the document
//    an id that only this world knows, bounds what the page posts (size and rate) and
//    forwards each message with the id and the document's origin; answers the app runs in
//    this world, guarded by the id, are handed back to the page as data;
//  - the handler, in the page's world: window.webkit.messageHandlers.<name>.postMessage, so
//    the page script needs no variant of its own, and the delivery of answers to the page's
//    TolvanaGetStringFinished / TolvanaUpdateGroupsFinished.
// Both do nothing in a document whose origin is not among the allowed ones (when any are).
#pragma once

#include <QString>
#include <QStringList>

namespace tolvana::qt {

// The relay for the handler name, its allowed origins (all when empty) and the channel's
// client library.
QString relayScript(const QString& name, const QStringList& origins, const QString& channelClient);
// The page world's handler interface for the name.
QString handlerScript(const QString& name, const QStringList& origins);
// The app's script for the document id: it runs only while the relay's world still belongs to
// that document.
QString guardedAnswer(const QString& script, const QString& documentId);

}  // namespace tolvana::qt
