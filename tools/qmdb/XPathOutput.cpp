// XPath results as the shell shows them, and the test of whether a path is
// XPath. The node-set is written while the expression walks the database, so
// its size does not matter.
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
        out << describeNode(db, node) << '\n';
        return static_cast<bool>(out);
      });
  if (!result) {
    error = result.message;
    if (result.offset >= 0) error += " at offset " + std::to_string(result.offset);
    return false;
  }
  if (result.value.kind != QmdbXPath::Value::NodeSet) {
    out << QmdbXPath::toString(db, result.value) << '\n';
  }
  return true;
}

}  // namespace qmdbtool
