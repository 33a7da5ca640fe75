// XPath results as the tool shows them: a node-set like find's lines, other
// values as text. The node-set is written while the expression walks the
// database, so its size does not matter.
#include <Qmdb/QmdbXPath>

#include "Tool.h"

namespace qmdbtool {

bool looksLikeXPath(const std::string& path) {
  return (!path.empty() && path[0] == '/') || path.find("//") != std::string::npos ||
         path.find_first_of("[@") != std::string::npos;
}

bool printXPath(Qmdb& db, const std::string& expression, long context,
                const std::map<std::string, std::string>& variables, std::ostream& out,
                std::string& error) {
  QmdbXPath::Variables bound;
  for (const auto& variable : variables) {
    bound[variable.first] = QmdbXPath::Value::ofString(variable.second);
  }
  QmdbXPath::Result result =
      QmdbXPath::forEach(db, expression, context, bound, [&](const QmdbXPath::Node& node) {
        if (node.attribute == 0) {
          out << describeObject(db, node.object) << '\n';
        } else {
          out << node.object << "\tattribute\t" << QmdbXPath::name(db, node) << '\t'
              << shortText(QmdbXPath::stringValue(db, node)) << '\n';
        }
        return static_cast<bool>(out);
      });
  if (!result) {
    error = result.message;
    if (result.offset >= 0) error += " at offset " + std::to_string(result.offset);
    return false;
  }
  const QmdbXPath::Value& value = result.value;
  switch (value.kind) {
    case QmdbXPath::Value::NodeSet:
      break;
    case QmdbXPath::Value::Number:
      out << QmdbXPath::numberToString(value.number) << '\n';
      break;
    case QmdbXPath::Value::Boolean:
      out << (value.boolean ? "true" : "false") << '\n';
      break;
    case QmdbXPath::Value::String:
      out << value.string << '\n';
      break;
  }
  return true;
}

}  // namespace qmdbtool
