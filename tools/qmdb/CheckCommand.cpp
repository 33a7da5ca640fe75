// qmdb check: opens a database read-only, runs the integrity check of
// Check.h over it and prints its verdict: each problem on its own line, or
// one line saying that the file is sound.
#include "Check.h"
#include "Tool.h"

#include <iostream>

namespace qmdbtool {

bool printCheck(Qmdb& db, const std::string& dbName, std::ostream& out) {
  CheckReport report = checkDatabase(db, dbName.c_str(), out);
  if (report.problems != 0) return false;
  out << dbName << ": ok (" << report.objects << " objects, " << report.indexes << " indexes)\n";
  return true;
}

int checkCommand(const Args& args) {
  ParsedArgs parsed = parseArgs(args, {});
  if (!parsed.error.empty()) return usageError("check", parsed.error);
  if (parsed.positional.size() != 1) return usageError("check", "expects DB.qmb");
  const std::string& dbName = parsed.positional[0];
  std::unique_ptr<Qmdb> db = openDatabase(dbName, QmdbFileRead);
  if (!db) return kFailure;
  return printCheck(*db, dbName, std::cout) ? kOk : kFailure;
}

}  // namespace qmdbtool
