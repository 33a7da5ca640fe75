// libxml2 as a peer: its tree API (xmlNewDocNode, xmlNewProp, xmlNewDocText,
// xmlNewDocPI, xmlAddChild) and xmlSaveFile; xmlReadFile and a walk of the
// DOM for the cold walk; XPath for the path searches.
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "Peer.h"

namespace bench {

namespace {

const xmlChar* x(const char* s) {
  return reinterpret_cast<const xmlChar*>(s);
}
const char* c(const xmlChar* s) {
  return reinterpret_cast<const char*>(s);
}

class Libxml2Peer : public Peer {
 public:
  const char* name() const override { return "libxml2"; }

  void build(const EventList& list, const std::string& path) override {
    doc_ = xmlNewDoc(x("1.0"));
    std::vector<xmlNodePtr> open{reinterpret_cast<xmlNodePtr>(doc_)};
    open.reserve(64);
    for (const Event& e : list.events()) {
      switch (e.kind) {
        case EventKind::kStart: {
          xmlNodePtr n = xmlNewDocNode(doc_, nullptr, x(list.str(e.name)), nullptr);
          xmlAddChild(open.back(), n);
          open.push_back(n);
          break;
        }
        case EventKind::kAttribute:
          xmlNewProp(open.back(), x(list.str(e.name)), x(list.str(e.value)));
          break;
        case EventKind::kText:
          xmlAddChild(open.back(), xmlNewDocText(doc_, x(list.str(e.value))));
          break;
        case EventKind::kPi:
          xmlAddChild(open.back(), xmlNewDocPI(doc_, x(list.str(e.name)), x(list.str(e.value))));
          break;
        case EventKind::kEnd:
          open.pop_back();
          break;
      }
    }
    if (xmlSaveFile(path.c_str(), doc_) < 0) throw std::runtime_error("libxml2: save failed");
  }

  PathCounts findPaths() override {
    PathCounts counts;
    xmlXPathContextPtr ctx = xmlXPathNewContext(doc_);
    counts.itemNames = count(ctx, "//item/name");
    counts.regionItems = count(ctx, "/site/regions/*/item");
    xmlXPathFreeContext(ctx);
    return counts;
  }

  void close() override {
    if (doc_ != nullptr) xmlFreeDoc(doc_);
    doc_ = nullptr;
  }

 private:
  static uint64_t count(xmlXPathContextPtr ctx, const char* path) {
    xmlXPathObjectPtr result = xmlXPathEvalExpression(x(path), ctx);
    if (result == nullptr) throw std::runtime_error("libxml2: XPath failed");
    uint64_t n =
        result->nodesetval != nullptr ? static_cast<uint64_t>(result->nodesetval->nodeNr) : 0;
    xmlXPathFreeObject(result);
    return n;
  }

  xmlDocPtr doc_ = nullptr;
};

void attributeValue(Digest& d, xmlAttrPtr a) {
  xmlNodePtr t = a->children;
  if (t == nullptr) {
    d.str("");
  } else if (t->type == XML_TEXT_NODE && t->next == nullptr) {
    d.str(c(t->content));
  } else {
    xmlChar* s = xmlNodeListGetString(a->doc, t, 1);
    d.str(c(s));
    xmlFree(s);
  }
}

void walkChildren(Digest& d, xmlNodePtr first) {
  for (xmlNodePtr n = first; n != nullptr; n = n->next) {
    switch (n->type) {
      case XML_ELEMENT_NODE:
        d.object();
        d.tag('S');
        d.str(c(n->name));
        for (xmlAttrPtr a = n->properties; a != nullptr; a = a->next) {
          d.tag('A');
          d.str(c(a->name));
          attributeValue(d, a);
        }
        walkChildren(d, n->children);
        d.tag('E');
        break;
      case XML_TEXT_NODE:
        d.object();
        d.tag('T');
        d.str(c(n->content));
        break;
      case XML_PI_NODE:
        d.object();
        d.tag('P');
        d.str(c(n->name));
        d.str(c(n->content));
        break;
      default:
        break;
    }
  }
}

}  // namespace

std::unique_ptr<Peer> makeLibxml2Peer() {
  return std::make_unique<Libxml2Peer>();
}

Digest walkLibxml2(const std::string& path) {
  xmlDocPtr doc = xmlReadFile(path.c_str(), nullptr, XML_PARSE_NONET);
  if (doc == nullptr) throw std::runtime_error("libxml2: cannot parse " + path);
  Digest d;
  walkChildren(d, doc->children);
  xmlFreeDoc(doc);
  return d;
}

}  // namespace bench
