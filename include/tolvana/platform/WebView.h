// WebView: a web view as the page bridge meets it. Pages talk to the app by posting message
// bodies to a named handler; the app answers by evaluating script in the page that asked.
//
// A view shows one document after another. Each message comes with the document it came
// from, and an answer is given for that document: a view that has navigated away by then
// drops it, so that what one page asked never runs in the next one, whatever its origin.
//
// Thread contract: every method is called on the main queue. A view that is gone by the time
// an answer arrives drops it; the bridge keeps the object alive, not the toolkit's view.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tolvana/Export.h"
#include "tolvana/Value.h"

namespace tolvana {

class TOLVANA_EXPORT WebView {
 public:
  // The document a message came from, as the view knows it: an id of the view's own that
  // no other document of the view shares (empty when the view cannot tell its documents
  // apart), and the document's origin as a page reads it in location.origin
  // ("https://example.com", "http://127.0.0.1:8080", "file://"; "null" when it has none).
  struct Document {
    std::string id;
    std::string origin;
  };
  // Called on the main queue with each body a page posts (a dictionary, if the page is
  // well-behaved; anything else is possible) and the document that posted it.
  using MessageHandler = std::function<void(const Value& body, const Document& from)>;
  virtual ~WebView() = default;
  // Makes window.webkit.messageHandlers.<name>.postMessage(body) reach handler from every
  // page the view loads from now on whose origin is one of origins; from every page when
  // origins is empty. Pages of other origins do not get the interface at all.
  virtual void addScriptMessageHandler(std::string_view name, const std::vector<std::string>& origins,
                                       MessageHandler handler) = 0;
  // Runs source in every page the view loads from now on, once its document has been parsed,
  // in the main frame only.
  virtual void addUserScript(std::string_view source) = 0;
  // Runs script in the document `to` if the view still shows it, else drops it; its result
  // is dropped too. A document with an empty id stands for whatever the view shows.
  virtual void evaluateJavaScript(std::string_view script, const Document& to) = 0;
};

}  // namespace tolvana
