// Run in a script context without a web view around it, where the app has placed the native
// objects "TolvanaNative" and "TLLog" into the global object; look-ups are synchronous calls.

// A bare script engine may have no console, or only the log the app placed there; its
// messages are then dropped rather than ending the script.
(function (global) {
  if (typeof global.console !== "object" || global.console === null) global.console = {};
  if (typeof global.console.log !== "function") global.console.log = function () {};
  if (typeof global.console.error !== "function") global.console.error = function () {};
})(this);

console.log("loading tolvana native JS");

function isRdyTolvanaNative() {
  return typeof TolvanaNative !== "undefined";
}

function isRdyTLLog() {
  return typeof TLLog !== "undefined";
}

var DOMManipulator = {
  hasAnyAttribute: function (element, attributes) {
    if (!element.getAttribute) return false;
    for (var i = 0; i < attributes.length; i++) {
      if (element.getAttribute(attributes[i]) !== null) return true;
    }
    return false;
  },
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

  callbacks: function () {
    if (!TolvanaNative.callbacks) TolvanaNative.callbacks = {};
    return TolvanaNative.callbacks;
  },

  updatePage: function (root) {
    if (isRdyTLLog()) TLLog.debug("translating html content.");
    if (!isRdyTolvanaNative()) {
      console.error("Tolvana.updatePage : interface not ready");
      return;
    }
    if (typeof document === "undefined") return;
    var elements = DOMManipulator.elementsWithAttributes(root || document, Tolvana.attributes);
    elements.forEach(function (element) {
      Tolvana.attributes.forEach(function (attribute) {
        var key = element.getAttribute(attribute);
        if (key === null) return;
        var rule = element.getAttribute("tolvana-plural-rule");
        var quantity = element.getAttribute("tolvana-plural-quantity");
        if (rule === null && quantity !== null) rule = TolvanaNative.getPluralRuleForQuantity(quantity);
        var text = Tolvana.getString(key, element.getAttribute("tolvana-args"),
                                     element.getAttribute("tolvana-args-separator"), rule, element.innerHTML);
        if (text) DOMManipulator.write(element, attribute, text);
      });
    });
  },

  getString: function (key, args, separator, pluralRule, defaultValue) {
    TLLog.debug("get String defaultValue : " + defaultValue);
    if (!isRdyTolvanaNative()) {
      console.error("Tolvana.getString : interface not ready");
      return "";
    }
    if (pluralRule) {
      return TolvanaNative.getStringWithArgumentsAndPluralRule(key, args, separator || ",", pluralRule, defaultValue);
    }
    if (args) return TolvanaNative.getStringWithArguments(key, args, separator || ",", defaultValue);
    return TolvanaNative.getString(key, defaultValue);
  },

  getPluralString: function (key, pluralRule, args, separator) {
    return Tolvana.getString(key, args, separator, pluralRule);
  },

  getQuantityString: function (key, quantity, args, separator) {
    return Tolvana.getString(key, args, separator, TolvanaNative.getPluralRuleForQuantity(quantity));
  },

  updateGroups: function (groups, languages, callback) {
    if (!isRdyTolvanaNative()) {
      console.error("Tolvana.updateGroups : interface not ready");
      return;
    }
    var id = "updateGroupsCallback-" + Tolvana.guid();
    Tolvana.callbacks()[id] = callback;
    TolvanaNative.updateGroups(groups, languages, ",", id);
  }
};

function TolvanaUpdateGroupsFinished(id, value) {
  if (!isRdyTolvanaNative()) {
    console.error("TolvanaUpdateGroupsFinished : interface not ready");
    return;
  }
  var callbacks = Tolvana.callbacks();
  var callback = callbacks[id];
  delete callbacks[id];
  if (callback) callback(value);
}

(function start() {
  // A context without a document has no page to translate; its scripts call Tolvana itself.
  if (Tolvana.initialized || typeof document === "undefined") return;
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
