// qmdb xpath: evaluates an XPath 1.0 expression over a database from its root
// node. Node-sets are printed a node per line as find prints objects (or as
// JSON lines with --json); a number, string or boolean is printed as its
// value. The printing is XPathOutput.cpp's, shared with the shell.
#include <Qmdb/QmdbXPath>

#include <cstdio>
#include <iostream>

#include "Tool.h"

namespace qmdbtool {

int xpathCommand(const Args& args) {
  std::vector<std::string> positional;
  std::map<std::string, std::string> variables;
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
      variables[binding.substr(0, equals)] = binding.substr(equals + 1);
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

  XPathFormat format = json ? XPathFormat::Json : xml ? XPathFormat::Xml : XPathFormat::Lines;
  QmdbXPath::Result result = printXPath(*db, expression, 1, variables, format, std::cout);
  std::cout.flush();
  if (result) return kOk;
  fprintf(stderr, "qmdb xpath: %s\n", result.message.c_str());
  if (result.offset < 0) return kFailure;
  fprintf(stderr, "  %s\n  %s^\n", expression.c_str(),
          std::string(static_cast<size_t>(result.offset), ' ').c_str());
  return kUsage;
}

}  // namespace qmdbtool
