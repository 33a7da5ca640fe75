// Test documents for the XPath tests (see XmlFixture.h).
#include "XmlFixture.h"

#include <Qmdb/QmdbXml>
#include <gtest/gtest.h>

#include <cstring>

namespace qmdb::test {

bool loadXml(Qmdb& db, const std::string& xml, bool splitText) {
  if (!QmdbXml::loadMemory(db, xml.data(), xml.size(), "test.xml")) return false;
  for (long h = db.next(1, QmdbTree); splitText && h != 0; h = db.next(h, QmdbTree)) {
    if (h < 0 || db.objectType(h) != QmdbString) continue;
    std::string text = db.getValue(h);
    for (; text.size() > 3; text.erase(0, 3)) {
      db.setValue(h, text.substr(0, 3).c_str());
      h = db.insertString(db.parent(h), h, text.substr(3).c_str());
    }
  }
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
  if (!r) return "ERROR@" + std::to_string(r.offset) + (r.message.empty() ? " unexplained" : "");
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

void expectAll(Qmdb& db, const std::vector<Case>& cases, long context,
               const QmdbXPath::Variables& variables) {
  for (const Case& c : cases) {
    EXPECT_EQ(query(db, c.expression, context, variables), c.expected) << c.expression;
  }
}

}  // namespace qmdb::test
