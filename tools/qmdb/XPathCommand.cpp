// qmdb xpath: evaluates an XPath 1.0 expression over a database from its root
// node. Node-sets are printed a node per line as find prints objects (or as
// JSON lines with --json); a number, string or boolean is printed as its
// value. Nodes are streamed as they are found, so a large result is never
// held in memory.
#include <Qmdb/QmdbXPath>
#include <Qmdb/QmdbXml>

#include <cmath>
#include <cstdio>
#include <iostream>

#include "Tool.h"

namespace qmdbtool {
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

namespace {

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

// Writes a node as XML on standard output: an element, text, pi or comment as
// the XML component writes it, an attribute as name="value"; false (with the
// reason in `error`) when the XML cannot be written.
bool writeXml(Qmdb& db, const QmdbXPath::Node& node, std::string& error) {
  std::cout.flush();
  if (node.attribute != 0) {
    std::cout << QmdbXPath::name(db, node) << "=\""
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
    QmdbXml::Result saved = QmdbXml::saveStream(db, std::cout, options, h);
    if (!saved) {
      error = saved.message;
      return false;
    }
  }
  std::cout << "\n";
  return true;
}

}  // namespace

int xpathCommand(const Args& args) {
  std::vector<std::string> positional;
  QmdbXPath::Variables variables;
  bool json = false;
  bool xml = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (arg == "--json") {
      json = true;
    } else if (arg == "--xml") {
      xml = true;
    } else if (arg == "--var") {
      if (i + 1 == args.size()) return usageError("xpath", "--var takes NAME=VALUE");
      const std::string& binding = args[++i];
      size_t equals = binding.find('=');
      if (equals == std::string::npos || equals == 0) {
        return usageError("xpath", "--var takes NAME=VALUE, not '" + binding + "'");
      }
      variables[binding.substr(0, equals)] = QmdbXPath::Value::ofString(binding.substr(equals + 1));
    } else if (arg.size() > 1 && arg[0] == '-' && arg != "--") {
      return usageError("xpath", "unknown option '" + arg + "'");
    } else {
      positional.push_back(arg);
    }
  }
  if (positional.size() != 2) return usageError("xpath", "expects DB.qmb and EXPR");
  if (json && xml) return usageError("xpath", "--json and --xml exclude each other");
  const std::string& expression = positional[1];
  std::unique_ptr<Qmdb> db = openDatabase(positional[0], QmdbFileRead);
  if (!db) return kFailure;

  std::string xmlError;
  QmdbXPath::Result result =
      QmdbXPath::forEach(*db, expression, 1, variables, [&](const QmdbXPath::Node& node) {
        if (xml) return writeXml(*db, node, xmlError);
        std::string line = json ? jsonNode(*db, node) : describeNode(*db, node);
        printf("%s\n", line.c_str());
        return true;
      });
  std::cout.flush();
  if (!xmlError.empty()) return failure(positional[0], "cannot write XML: " + xmlError);
  if (!result) {
    fprintf(stderr, "qmdb xpath: %s\n", result.message.c_str());
    if (result.offset < 0) return kFailure;
    fprintf(stderr, "  %s\n  %s^\n", expression.c_str(),
            std::string(static_cast<size_t>(result.offset), ' ').c_str());
    return kUsage;
  }
  if (result.value.kind != QmdbXPath::Value::NodeSet) {
    std::string text = json ? jsonValue(result.value) : QmdbXPath::toString(*db, result.value);
    printf("%s\n", text.c_str());
  }
  return kOk;
}

}  // namespace qmdbtool
