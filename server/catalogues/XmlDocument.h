// XmlDocument: a catalogue's XML read safely through libxml2, and the little the XML formats
// need to walk it and to write text back. Nothing is fetched (no DTD, no network), no entity
// is declared (a document that declares one is refused before it is parsed, since entities
// are how a small file grows to gigabytes), and nesting is bounded.
#pragma once

#include <libxml/tree.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tolvana::server {

class XmlDocument {
 public:
  // Throws CatalogueError naming the line of a syntax error.
  explicit XmlDocument(std::string_view text);
  xmlNode* root() const { return xmlDocGetRootElement(doc_.get()); }

  // The element children of node with the local name (namespaces aside).
  static std::vector<xmlNode*> children(const xmlNode* node, std::string_view name);
  static xmlNode* child(const xmlNode* node, std::string_view name);
  // Every element below node with the local name, at any depth up to the bound.
  static std::vector<xmlNode*> descendants(const xmlNode* node, std::string_view name);
  static bool named(const xmlNode* node, std::string_view name);
  // An attribute's value, "" when absent.
  static std::string attribute(const xmlNode* node, const char* name);
  // The text inside node, markup left out; "" for nullptr.
  static std::string text(const xmlNode* node);

 private:
  std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> doc_;
};

// Text as XML character data or attribute value. Control characters that XML 1.0 cannot carry
// are left out; a carriage return is kept as a reference.
std::string xmlEscaped(std::string_view text);

}  // namespace tolvana::server
