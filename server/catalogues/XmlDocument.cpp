#include "catalogues/XmlDocument.h"

#include <libxml/parser.h>

#include <mutex>

#include "catalogues/CatalogueFormats.h"

namespace tolvana::server {

namespace {

void collect(const xmlNode* node, std::string_view name, int depth, std::vector<xmlNode*>* out) {
  if (depth > kMaxCatalogueDepth) {
    throw CatalogueError("the XML nests deeper than " + std::to_string(kMaxCatalogueDepth) + " levels");
  }
  for (xmlNode* c = node->children; c; c = c->next) {
    if (c->type != XML_ELEMENT_NODE) continue;
    if (XmlDocument::named(c, name)) out->push_back(c);
    else collect(c, name, depth + 1, out);
  }
}

}  // namespace

XmlDocument::XmlDocument(std::string_view text) : doc_(nullptr, xmlFreeDoc) {
  if (text.find("<!ENTITY") != std::string_view::npos) {
    throw CatalogueError("the XML declares entities, which are not taken");
  }
  static std::once_flag initialized;
  std::call_once(initialized, xmlInitParser);  // before threads parse at once
  std::unique_ptr<xmlParserCtxt, void (*)(xmlParserCtxt*)> context(xmlNewParserCtxt(), xmlFreeParserCtxt);
  if (!context) throw CatalogueError("out of memory reading the XML");
  doc_.reset(xmlCtxtReadMemory(context.get(), text.data(), static_cast<int>(text.size()), nullptr, "UTF-8",
                               XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOCDATA));
  const xmlError* error = xmlCtxtGetLastError(context.get());
  if (!doc_ || (error && error->level >= XML_ERR_ERROR)) {
    std::string why = error && error->message ? error->message : "unreadable";
    while (!why.empty() && why.back() == '\n') why.pop_back();
    throw CatalogueError("the XML does not parse" + (error ? " (line " + std::to_string(error->line) + ")" : "") +
                         ": " + why);
  }
  if (!root()) throw CatalogueError("the XML has no root element");
}

bool XmlDocument::named(const xmlNode* node, std::string_view name) {
  return node && node->type == XML_ELEMENT_NODE && name == reinterpret_cast<const char*>(node->name);
}

std::vector<xmlNode*> XmlDocument::children(const xmlNode* node, std::string_view name) {
  std::vector<xmlNode*> out;
  for (xmlNode* c = node ? node->children : nullptr; c; c = c->next) {
    if (named(c, name)) out.push_back(c);
  }
  return out;
}

xmlNode* XmlDocument::child(const xmlNode* node, std::string_view name) {
  auto all = children(node, name);
  return all.empty() ? nullptr : all.front();
}

std::vector<xmlNode*> XmlDocument::descendants(const xmlNode* node, std::string_view name) {
  std::vector<xmlNode*> out;
  collect(node, name, 0, &out);
  return out;
}

std::string XmlDocument::attribute(const xmlNode* node, const char* name) {
  xmlChar* value = xmlGetProp(node, reinterpret_cast<const xmlChar*>(name));
  std::string out = value ? reinterpret_cast<const char*>(value) : "";
  xmlFree(value);
  return out;
}

std::string XmlDocument::text(const xmlNode* node) {
  if (!node) return {};
  xmlChar* content = xmlNodeGetContent(node);
  std::string out = content ? reinterpret_cast<const char*>(content) : "";
  xmlFree(content);
  return out;
}

std::string xmlEscaped(std::string_view text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\r': out += "&#13;"; break;
      default:
        if (static_cast<unsigned char>(c) >= 0x20 || c == '\n' || c == '\t') out += c;
    }
  }
  return out;
}

}  // namespace tolvana::server
