// XPath results as the xpath command and the shell write them (lines, JSON
// lines or XML), and the test of whether a path is XPath. The node-set is
// written while the expression walks the database, so its size does not matter.
#include <Qmdb/QmdbXPath>
#include <Qmdb/QmdbXml>

#include <cmath>
#include <cstdio>

#include "Tool.h"

namespace qmdbtool {

bool looksLikeXPath(const std::string& path) {
  return (!path.empty() && path[0] == '/') || path.find("//") != std::string::npos ||
         path.find_first_of("[@") != std::string::npos;
}

namespace {

std::string jsonString(const std::string& text) {
  std::string out = "\"";
  for (char c : text) {
    unsigned char byte = static_cast<unsigned char>(c);
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      default:
        if (controlEscape(c) != nullptr) {
          out += controlEscape(c);
        } else if (byte < 0x20) {
          char escape[8];
          snprintf(escape, sizeof escape, "\\u%04x", byte);
          out += escape;
        } else {
          out += c;
        }
    }
  }
  return out + "\"";
}

const char* nodeKind(Qmdb& db, const QmdbXPath::Node& node) {
  if (node.attribute != 0) return "attribute";
  if (db.objectType(node.object) == QmdbPi && copyText(db.getGid(node.object)) == kCommentTarget) {
    return "comment";
  }
  return kindName(db.objectType(node.object));
}

std::string jsonNode(Qmdb& db, const QmdbXPath::Node& node) {
  std::string out = "{\"handle\":" + std::to_string(node.object);
  if (node.attribute != 0) out += ",\"attribute\":" + std::to_string(node.attribute);
  out += ",\"kind\":\"" + std::string(nodeKind(db, node)) + "\"";
  std::string name = QmdbXPath::name(db, node);
  if (!name.empty()) out += ",\"name\":" + jsonString(name);
  return out + ",\"value\":" + jsonString(QmdbXPath::stringValue(db, node)) + "}";
}

std::string jsonValue(const QmdbXPath::Value& value) {
  switch (value.kind) {
    case QmdbXPath::Value::Number:
      return std::isfinite(value.number) ? QmdbXPath::numberToString(value.number)
                                         : jsonString(QmdbXPath::numberToString(value.number));
    case QmdbXPath::Value::String:
      return jsonString(value.string);
    default:
      return value.boolean ? "true" : "false";
  }
}

// Writes a node as XML: an element, text, pi or comment as
// the XML component writes it, an attribute as name="value"; false (with the
// reason in `error`) when the XML cannot be written.
bool writeXml(Qmdb& db, const QmdbXPath::Node& node, std::ostream& out, std::string& error) {
  if (node.attribute != 0) {
    out << QmdbXPath::name(db, node) << "=\""
        << QmdbXml::escape(QmdbXPath::stringValue(db, node), true) << "\"\n";
    return true;
  }
  QmdbXml::SaveOptions options;
  options.declaration = false;
  QmdbObjectType type = db.objectType(node.object);
  bool text = type == QmdbString || type == QmdbEntity;
  // A text node is a run of strings and entities: each is written in turn.
  for (long h = node.object; h != 0; h = text ? db.next(h, QmdbSiblings) : 0) {
    QmdbObjectType kind = db.objectType(h);
    if (h != node.object && kind != QmdbString && kind != QmdbEntity) break;
    QmdbXml::Result saved = QmdbXml::saveStream(db, out, options, h);
    if (!saved) {
      error = saved.message;
      return false;
    }
  }
  out << "\n";
  return true;
}

}  // namespace

std::string describeNode(Qmdb& db, const QmdbXPath::Node& node) {
  QmdbObjectType type = db.objectType(node.object);
  if (node.attribute == 0 && type != QmdbString && type != QmdbEntity) {
    return describeObject(db, node.object);
  }
  std::string name = QmdbXPath::name(db, node);
  if (node.attribute == 0) name = copyText(db.getId(node.object));
  return std::to_string(node.object) + "\t" + nodeKind(db, node) + "\t" +
         (name.empty() ? "-" : name) + "\t" + shortText(QmdbXPath::stringValue(db, node));
}

QmdbXPath::Result printXPath(Qmdb& db, const std::string& expression, long context,
                             const std::map<std::string, std::string>& variables,
                             XPathFormat format, std::ostream& out) {
  QmdbXPath::Variables bound;
  for (const auto& variable : variables) {
    bound[variable.first] = QmdbXPath::Value::ofString(variable.second);
  }
  std::string xmlError;
  QmdbXPath::Result result =
      QmdbXPath::forEach(db, expression, context, bound, [&](const QmdbXPath::Node& node) {
        if (format == XPathFormat::Xml) return writeXml(db, node, out, xmlError);
        out << (format == XPathFormat::Json ? jsonNode(db, node) : describeNode(db, node)) << '\n';
        return static_cast<bool>(out);
      });
  if (!xmlError.empty()) {
    result.ok = false;
    result.message = "cannot write XML: " + xmlError;
    result.offset = -1;
  } else if (result && result.value.kind != QmdbXPath::Value::NodeSet) {
    out << (format == XPathFormat::Json ? jsonValue(result.value)
                                        : QmdbXPath::toString(db, result.value))
        << '\n';
  }
  return result;
}

}  // namespace qmdbtool
