// Test documents for the XPath tests (see XmlFixture.h).
#include "XmlFixture.h"

#include <gtest/gtest.h>
#include <libxml/entities.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstring>

namespace qmdb::test {
namespace {

std::string fullName(const xmlChar* name, xmlNs* ns) {
  std::string out;
  if (ns != nullptr && ns->prefix != nullptr) {
    out = reinterpret_cast<const char*>(ns->prefix);
    out += ':';
  }
  out += reinterpret_cast<const char*>(name);
  return out;
}

void addText(Qmdb& db, long parent, const std::string& text, bool split) {
  if (!split || text.size() <= 3) {
    db.addString(parent, text.c_str());
    return;
  }
  for (size_t i = 0; i < text.size(); i += 3) db.addString(parent, text.substr(i, 3).c_str());
}

void copyChildren(Qmdb& db, xmlNode* first, long parent, bool split) {
  for (xmlNode* n = first; n != nullptr; n = n->next) {
    switch (n->type) {
      case XML_ELEMENT_NODE: {
        long e = db.addNode(parent, fullName(n->name, n->ns).c_str());
        for (xmlNs* ns = n->nsDef; ns != nullptr; ns = ns->next) {
          std::string name = ns->prefix ? "xmlns:" + std::string((const char*)ns->prefix) : "xmlns";
          db.addAttribute(e, name.c_str(), (const char*)ns->href, (QmdbAttributeType)1,
                          (QmdbAttributeClass)1);
        }
        for (xmlAttr* a = n->properties; a != nullptr; a = a->next) {
          xmlChar* value = xmlNodeListGetString(n->doc, a->children, 1);
          db.addAttribute(e, fullName(a->name, a->ns).c_str(), (const char*)value,
                          (QmdbAttributeType)1, (QmdbAttributeClass)1);
          xmlFree(value);
        }
        copyChildren(db, n->children, e, split);
        break;
      }
      case XML_TEXT_NODE:
      case XML_CDATA_SECTION_NODE:
        addText(db, parent, (const char*)n->content, split);
        break;
      case XML_COMMENT_NODE:
        db.addPi(parent, "#comment", (const char*)n->content);
        break;
      case XML_PI_NODE:
        db.addPi(parent, (const char*)n->name, (const char*)n->content);
        break;
      case XML_ENTITY_REF_NODE: {
        xmlEntity* entity = xmlGetDocEntity(n->doc, n->name);
        const xmlChar* value = entity != nullptr ? entity->content : nullptr;
        db.addEntity(parent, (const char*)n->name, (const char*)value, (QmdbEntityType)1);
        break;
      }
      case XML_DTD_NODE:
        db.addPi(parent, "#doctype", (const char*)n->name);
        break;
      default:
        break;
    }
  }
}

}  // namespace

bool loadXml(Qmdb& db, const std::string& xml, bool splitText) {
  xmlDoc* doc =
      xmlReadMemory(xml.data(), static_cast<int>(xml.size()), "test.xml", nullptr, XML_PARSE_NONET);
  if (doc == nullptr) return false;
  copyChildren(db, doc->children, 1, splitText);
  xmlFreeDoc(doc);
  return true;
}

std::string renderNode(Qmdb& db, const QmdbXPath::Node& node) {
  if (node.attribute != 0) {
    return "@" + QmdbXPath::name(db, node) + "=" + QmdbXPath::stringValue(db, node);
  }
  if (node.object == 1) return "/";
  switch (db.objectType(node.object)) {
    case QmdbNode:
      return db.getGid(node.object);
    case QmdbString:
    case QmdbEntity:
      return "'" + QmdbXPath::stringValue(db, node) + "'";
    case QmdbPi:
      if (std::strcmp(db.getGid(node.object), "#comment") == 0) {
        return "!" + QmdbXPath::stringValue(db, node);
      }
      return "?" + QmdbXPath::name(db, node);
    default:
      return "?";
  }
}

std::string query(Qmdb& db, const std::string& expression, long context,
                  const QmdbXPath::Variables& variables) {
  QmdbXPath::Result r = QmdbXPath::evaluate(db, expression, context, variables);
  if (!r) return "ERROR@" + std::to_string(r.offset);
  const QmdbXPath::Value& v = r.value;
  switch (v.kind) {
    case QmdbXPath::Value::NodeSet: {
      std::string out;
      for (const QmdbXPath::Node& n : v.nodes) {
        if (!out.empty()) out += ' ';
        out += renderNode(db, n);
      }
      return out;
    }
    case QmdbXPath::Value::Number:
      return QmdbXPath::numberToString(v.number);
    case QmdbXPath::Value::String:
      return "\"" + v.string + "\"";
    default:
      return v.boolean ? "true" : "false";
  }
}

void expectAll(Qmdb& db, const std::vector<Case>& cases) {
  for (const Case& c : cases) EXPECT_EQ(query(db, c.expression), c.expected) << c.expression;
}

}  // namespace qmdb::test
