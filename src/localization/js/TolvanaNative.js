// Placed into every page of a web view. Finds the elements marked with Tolvana's attributes,
// asks the app for their texts through the "TolvanaNative" message handler and writes them
// in; the app answers later by calling TolvanaGetStringFinished / TolvanaUpdateGroupsFinished.
console.log("loading tolvana native JS");

function isRdyTolvanaNative() {
  return !!(window.webkit && window.webkit.messageHandlers && window.webkit.messageHandlers.TolvanaNative);
}

function isRdyTLLog() {
  return isRdyTolvanaNative();
}

function tolvanaHandler() {
  return window.webkit.messageHandlers.TolvanaNative;
}

function tolvanaCallbacks() {
  var handler = tolvanaHandler();
  if (!handler.callbacks) handler.callbacks = {};
  return handler.callbacks;
}

var TLLog = {
  debug: function (message) {
    if (isRdyTLLog()) tolvanaHandler().postMessage({ method: "TLLogDebug", message: String(message) });
  },
  info: function (message) {
    if (isRdyTLLog()) tolvanaHandler().postMessage({ method: "TLLogInfo", message: String(message) });
  }
};

var DOMManipulator = {
  hasAnyAttribute: function (element, attributes) {
    if (!element.getAttribute) return false;
    for (var i = 0; i < attributes.length; i++) {
      if (element.getAttribute(attributes[i]) !== null) return true;
    }
    return false;
  },
  // The root itself when it carries an attribute, then its marked descendants.
  elementsWithAttributes: function (root, attributes) {
    var found = [];
    if (root !== document && DOMManipulator.hasAnyAttribute(root, attributes)) found.push(root);
    if (root.querySelectorAll) {
      var selector = attributes.map(function (a) { return "[" + a + "]"; }).join(",");
      var matches = root.querySelectorAll(selector);
      for (var i = 0; i < matches.length; i++) found.push(matches[i]);
      return found;
    }
    DOMManipulator.walk(root, function (element) {
      if (DOMManipulator.hasAnyAttribute(element, attributes)) found.push(element);
    });
    return found;
  },
  walk: function (node, visit) {
    for (var child = node.firstChild; child; child = child.nextSibling) {
      if (child.nodeType === 1) {
        visit(child);
        DOMManipulator.walk(child, visit);
      }
    }
  },
  // "tolvana-text" replaces the content; any other attribute names the element attribute
  // after its first "-" ("tolvana-placeholder" → "placeholder").
  write: function (element, attribute, text) {
    if (attribute === "tolvana-text") element.innerHTML = text;
    else element.setAttribute(attribute.substring(attribute.indexOf("-") + 1), text);
  }
};

var Tolvana = {
  attributes: ["tolvana-text", "tolvana-placeholder"],
  updateTextOnPageChange: true,
  initialized: false,

  guid: function () {
    function hex(count) {
      var out = "";
      for (var i = 0; i < count; i++) out += Math.floor(Math.random() * 16).toString(16);
      return out;
    }
    return hex(8) + "-" + hex(4) + "-" + hex(4) + "-" + hex(4) + "-" + hex(4) + hex(8);
  },

  callbackToUUID: function (method, callback) {
    var id = method + "Callback-" + Tolvana.guid();
    tolvanaCallbacks()[id] = callback;
    return id;
  },

  updatePage: function (root) {
    if (isRdyTLLog()) TLLog.debug("translating html content.");
    if (!isRdyTolvanaNative()) {
      TLLog.debug("Tolvana.updatePage : interface not ready");
      return;
    }
    var elements = DOMManipulator.elementsWithAttributes(root || document, Tolvana.attributes);
    elements.forEach(function (element) {
      Tolvana.attributes.forEach(function (attribute) {
        var key = element.getAttribute(attribute);
        if (key === null) return;
        var rule = element.getAttribute("tolvana-plural-rule");
        var quantity = rule === null ? element.getAttribute("tolvana-plural-quantity") : null;
        Tolvana.getString(key, element.getAttribute("tolvana-args"), element.getAttribute("tolvana-args-separator"),
                          rule, quantity, element.innerHTML, function (text) {
          if (text) DOMManipulator.write(element, attribute, text);
        });
      });
    });
  },

  getString: function (key, args, separator, pluralRule, quantity, defaultValue, callback) {
    if (!isRdyTolvanaNative()) {
      console.error("Tolvana.getString: interface not ready");
      if (callback) callback(undefined, new Error("Tolvana.getString: interface not ready"));
      return;
    }
    var message = { method: "getString", id: key, value: defaultValue,
                    callback: Tolvana.callbackToUUID("getString", callback) };
    if (args !== undefined && args !== null) {
      message.args = args;
      message.argsSeparator = separator || ",";
    }
    if (pluralRule !== undefined && pluralRule !== null) message.pluralRule = pluralRule;
    if (quantity !== undefined && quantity !== null) message.pluralQuantity = quantity;
    tolvanaHandler().postMessage(message);
  },

  getPluralString: function (key, pluralRule, args, separator, callback) {
    Tolvana.getString(key, args, separator, pluralRule, null, undefined, callback);
  },

  getQuantityString: function (key, quantity, args, separator, callback) {
    Tolvana.getString(key, args, separator, null, quantity, undefined, callback);
  },

  updateGroups: function (groups, languages, callback) {
    if (!isRdyTolvanaNative()) {
      console.error("Tolvana.updateGroups : interface not ready");
      if (callback) callback(undefined, new Error("Tolvana.getString: interface not ready"));
      return;
    }
    tolvanaHandler().postMessage({ method: "updateGroups", groups: groups, languages: languages, argsSeparator: ",",
                                   callback: Tolvana.callbackToUUID("updateGroups", callback) });
  }
};

function tolvanaFinished(name, id, value) {
  if (!isRdyTolvanaNative()) {
    console.error(name + " : interface not ready");
    return;
  }
  var callbacks = tolvanaCallbacks();
  var callback = callbacks[id];
  delete callbacks[id];
  if (callback) callback(value);
}

function TolvanaGetStringFinished(id, value) {
  tolvanaFinished("TolvanaGetStringFinished", id, value);
}

function TolvanaUpdateGroupsFinished(id, value) {
  tolvanaFinished("TolvanaUpdateGroupsFinished", id, value);
}

(function start() {
  if (Tolvana.initialized) return;
  var started = false;
  function run() {
    if (started) return;
    started = true;
    Tolvana.updatePage();
    if (Tolvana.updateTextOnPageChange) {
      document.addEventListener("DOMNodeInserted", function (event) { Tolvana.updatePage(event.target); });
    }
    Tolvana.initialized = true;
  }
  if (document.readyState === "complete") return run();
  document.addEventListener("DOMContentLoaded", run);
  window.addEventListener("load", run);
  // Old engines fire neither event; scrolling only works once the document is ready.
  if (document.documentElement && document.documentElement.doScroll) {
    (function poll() {
      try {
        document.documentElement.doScroll("left");
        run();
      } catch (e) {
        setTimeout(poll, 1);
      }
    })();
  }
})();
