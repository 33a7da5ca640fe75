// qmdb tree and qmdb find: show a document, or what a path finds in it. tree
// prints an indented outline, one object a line; find prints one tab-separated
// line per object found (handle, kind, name, short text) for scripts to read.
#include "Tool.h"

#include <cstdio>
#include <iostream>

namespace qmdbtool {
namespace {

// The outline line of one object, without its indentation.
std::string outlineLine(Qmdb& db, long object) {
  std::string name = copyText(db.getId(object));
  std::string value = shortText(copyText(db.getValue(object)));
  switch (db.objectType(object)) {
    case QmdbNode: {
      std::string line = name.empty() ? "(node without gid)" : name;
      long limit = db.getSize() / 16;
      for (long a = db.attribute(object, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true);
           a != 0 && limit-- > 0; a = db.nextAttribute(a)) {
        std::string attributeName = copyText(db.attrName(a));
        line += " " + attributeName + "=\"" + shortText(copyText(db.attrValue(a))) + "\"";
      }
      return line;
    }
    case QmdbString:
      return "\"" + value + "\"";
    case QmdbEntity:
      return "&" + name + ";=\"" + value + "\"";
    case QmdbPi:
      if (name == kCommentTarget) return "<!--" + value + "-->";
      return "<?" + name + (value.empty() ? "" : " " + value) + "?>";
    default:
      return "(not an object: " + std::to_string(object) + ")";
  }
}

}  // namespace

bool printOutline(Qmdb& db, long top, bool whitespace, std::ostream& out) {
  long steps = walkLimit(db);
  size_t depth = 0;
  long p = top;
  if (top == 1) {
    p = db.next(1, QmdbTree);
  }
  while (p != 0) {
    if (--steps < 0) return false;
    QmdbObjectType kind = db.objectType(p);
    bool indentation = kind == QmdbString && !whitespace && isWhitespace(db.getValue(p));
    if (p > 0 && !indentation) {
      out << std::string(depth * 2, ' ') << outlineLine(db, p) << '\n';
      if (kind == QmdbNode) ++depth;
    } else if (p < 0 && depth > 0) {  // a damaged file may end more nodes than it started
      --depth;
    }
    if (p == -top || (p == top && kind != QmdbNode)) break;
    p = db.next(p, QmdbTree);
  }
  return true;
}

void printObjects(Qmdb& db, QmdbList& objects, std::ostream& out) {
  for (long object = objects.first(); object != 0; object = objects.next()) {
    out << describeObject(db, object) << '\n';
  }
}

int treeCommand(const Args& args) {
  ParsedArgs parsed = parseArgs(args, {"--whitespace"});
  if (!parsed.error.empty()) return usageError("tree", parsed.error);
  if (parsed.positional.empty() || parsed.positional.size() > 2) {
    return usageError("tree", "expects DB.qmb and at most one path");
  }
  const std::string& dbName = parsed.positional[0];
  std::unique_ptr<Qmdb> db = openDatabase(dbName, QmdbFileRead);
  if (!db) return kFailure;

  QmdbList tops;
  if (parsed.positional.size() == 2) {
    db->findPath(&tops, parsed.positional[1].c_str(), 1, true);
  } else {
    tops.add(1);
  }
  for (long top = tops.first(); top != 0; top = tops.next()) {
    if (!printOutline(*db, top, parsed.has("--whitespace"), std::cout)) {
      return failure(dbName, "the document tree is damaged (run 'qmdb check')", db.get());
    }
  }
  return kOk;
}

int findCommand(const Args& args) {
  ParsedArgs parsed = parseArgs(args, {"-i"});
  if (!parsed.error.empty()) return usageError("find", parsed.error);
  if (parsed.positional.size() != 2) return usageError("find", "expects DB.qmb and PATH");
  std::unique_ptr<Qmdb> db = openDatabase(parsed.positional[0], QmdbFileRead);
  if (!db) return kFailure;

  QmdbList found;
  const std::string& path = parsed.positional[1];
  db->findPath(&found, path.c_str(), 1, !parsed.has("-i"));
  printObjects(*db, found, std::cout);
  if (found.length() == 0 && looksLikeXPath(path)) {
    fprintf(stderr,
            "qmdb find: nothing found; '%s' looks like XPath, which find does not read\n"
            "(find takes names, *, ., .. and ... between slashes, from the root)\n"
            "try: qmdb xpath %s '%s'\n",
            path.c_str(), parsed.positional[0].c_str(), path.c_str());
  }
  return kOk;
}

}  // namespace qmdbtool
