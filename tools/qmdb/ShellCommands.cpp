// The shell's commands and the one way they name objects. A target is "#H"
// (the object with handle H) or "#H/PATH" (a path from it); XPath evaluated
// from the current node when it looks like XPath (it begins with '/' or holds
// "//", '[' or '@'); or else a path of the library's language from the
// current node ("species/name", "..", ".../name"). Looking commands take the
// current node when no target is given; editing commands change every object
// a target finds unless they need exactly one.
#include <Qmdb/QmdbXPath>
#include <Qmdb/QmdbXml>

#include "Shell.h"
#include "Tool.h"

#include <set>
#include <streambuf>

namespace qmdbtool {
namespace {

bool isEditable(Qmdb& db, long object) {
  QmdbObjectType kind = db.objectType(object);
  return object != 1 && (kind == QmdbNode || kind == QmdbEntity || kind == QmdbPi);
}

// The length of a leading "#H" of `target` (followed by its end or '/'), or 0.
size_t handleLength(const std::string& target) {
  size_t end = target.find_first_not_of("0123456789", 1);
  if (end == std::string::npos) end = target.size();
  bool handle = target.size() > 1 && target[0] == '#' && end > 1;
  return handle && (end == target.size() || target[end] == '/') ? end : 0;
}

// An XPath failure as the shell reports it: the message, and where a syntax error is.
std::string xpathFailure(const QmdbXPath::Result& result) {
  return result.message + (result.offset >= 0 ? " at offset " + std::to_string(result.offset) : "");
}

// Every object that `target` names, in order; false (reported) when it names nothing.
bool resolve(Shell& shell, Qmdb& db, const std::string& target, std::vector<long>& found) {
  found.clear();
  if (looksLikeXPath(target) && handleLength(target) == 0) {
    QmdbXPath::Result result =
        QmdbXPath::forEach(db, target, shell.current(), {}, [&](const QmdbXPath::Node& node) {
          found.push_back(node.attribute == 0 ? node.object : 0);
          return node.attribute == 0;
        });
    if (!result) return shell.fail(target + ": " + xpathFailure(result));
    if (result.value.kind != QmdbXPath::Value::NodeSet)
      return shell.fail(target + " is no node-set");
    if (!found.empty() && found.back() == 0) return shell.fail(target + " finds an attribute");
  } else {
    long start = shell.current();
    size_t skip = handleLength(target);
    if (skip != 0) {
      start = std::stol(target.substr(1, skip - 1));
      if (start != 1 && !db.isObject(start, QmdbNoObject)) {
        return shell.fail(target.substr(0, skip) + " is not an object of the database");
      }
    } else if (target[0] == '/') {
      start = 1;
    }
    if (skip != 0 && skip == target.size()) {
      found.push_back(start);
    } else {
      QmdbList list;
      db.findPath(&list, target.c_str() + skip + (target[skip] == '/' ? 1 : 0), start, true);
      for (long object = list.first(); object != 0; object = list.next()) found.push_back(object);
    }
  }
  if (found.empty()) return shell.fail(target + " finds nothing");
  return true;
}

// The one object that `target` names (the current node for ""); false (reported) otherwise.
bool resolveOne(Shell& shell, Qmdb& db, const std::string& target, long& object) {
  if (target.empty()) {
    object = shell.current();
    return true;
  }
  std::vector<long> found;
  if (!resolve(shell, db, target, found)) return false;
  if (found.size() != 1) {
    return shell.fail(target + " finds " + std::to_string(found.size()) + " objects, not one");
  }
  object = found[0];
  return true;
}

// The objects named by the optional last argument (the current node when absent).
bool resolveOptional(Shell& shell, Qmdb& db, const std::vector<std::string>& positional, size_t at,
                     std::vector<long>& found) {
  if (positional.size() <= at) {
    found.assign(1, shell.current());
    return true;
  }
  return resolve(shell, db, positional[at], found);
}

// Parses the arguments, reporting misuse; false when they are wrong.
bool parse(Shell& shell, const Words& args, size_t least, size_t most, ParsedArgs& parsed,
           const std::set<std::string>& flags = {}, const std::set<std::string>& valued = {}) {
  parsed = parseArgs(args, flags, valued);
  if (!parsed.error.empty()) return shell.fail(parsed.error);
  if (parsed.positional.size() < least || parsed.positional.size() > most) {
    return shell.fail("wrong number of arguments (see '--help')");
  }
  return true;
}

bool isNodeOrRoot(Qmdb& db, long object) {
  return object == 1 || db.objectType(object) == QmdbNode;
}

std::string nameOf(long object) {
  return object == 1 ? "/" : "#" + std::to_string(object);
}

// --- looking ---

// The looking commands "COMMAND [TARGET] [FLAGS]": runs `look` on every
// object the target names (the current node without one); false (reported)
// when the arguments are wrong or `look` fails.
using Look = bool (*)(Shell& shell, Qmdb& db, long target, const ParsedArgs& parsed);
bool lookAtEach(Shell& shell, const Words& args, const std::set<std::string>& flags, Look look) {
  ParsedArgs parsed;
  Qmdb* db = shell.database();
  std::vector<long> targets;
  if (db == nullptr || !parse(shell, args, 0, 1, parsed, flags) ||
      !resolveOptional(shell, *db, parsed.positional, 0, targets)) {
    return false;
  }
  for (long target : targets) {
    if (!look(shell, *db, target, parsed)) return false;
  }
  return true;
}

bool runLs(Shell& shell, const Words& args) {
  return lookAtEach(shell, args, {"--whitespace"},
                    [](Shell& shell, Qmdb& db, long target, const ParsedArgs& parsed) {
                      long limit = walkLimit(db);
                      for (long child = db.first(target); child != 0 && limit-- > 0;
                           child = db.next(child, QmdbSiblings)) {
                        if (parsed.has("--whitespace") || db.objectType(child) != QmdbString ||
                            !isWhitespace(db.getValue(child))) {
                          shell.out() << describeObject(db, child) << '\n';
                        }
                      }
                      return true;
                    });
}

// Passes characters on to another stream buffer, remembering the last one,
// so that cat can end its output with a newline without holding it.
class LastCharacter : public std::streambuf {
 public:
  explicit LastCharacter(std::streambuf* to) : to_(to) {}
  char last() const { return last_; }

 protected:
  int_type overflow(int_type c) override {
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    last_ = traits_type::to_char_type(c);
    return to_->sputc(last_);
  }
  std::streamsize xsputn(const char* text, std::streamsize n) override {
    if (n > 0) last_ = text[n - 1];
    return to_->sputn(text, n);
  }

 private:
  std::streambuf* to_;
  char last_ = '\n';
};

bool runCat(Shell& shell, const Words& args) {
  return lookAtEach(shell, args, {}, [](Shell& shell, Qmdb& db, long target, const ParsedArgs&) {
    shell.out().flush();
    LastCharacter tracker(shell.out().rdbuf());
    std::ostream out(&tracker);
    QmdbXml::SaveOptions options;
    options.declaration = false;
    QmdbXml::Result result = QmdbXml::saveStream(db, out, options, target);
    out.flush();
    if (tracker.last() != '\n') shell.out() << '\n';
    return result.ok || shell.fail(result.message);
  });
}

bool runCd(Shell& shell, const Words& args) {
  Qmdb* db = shell.database();
  long target = 1;
  if (db == nullptr) return false;
  std::string where;  // the words joined, so that XPath with blanks need not be quoted
  for (const std::string& word : args) where += (where.empty() ? "" : " ") + word;
  if (where == "..") {  // a top-level node's parent is the root
    target = db->parent(shell.current()) != 0 ? db->parent(shell.current()) : 1;
  } else if (!where.empty() && !resolveOne(shell, *db, where, target)) {
    return false;
  }
  if (!isNodeOrRoot(*db, target)) return shell.fail(where + " is not a node");
  shell.setCurrent(target);
  return true;
}

bool runPwd(Shell& shell, const Words& args) {
  if (!args.empty()) return shell.fail("takes no arguments");
  if (shell.database() == nullptr) return false;
  shell.out() << shell.pathOf(shell.current()) << '\n';
  return true;
}

bool runTree(Shell& shell, const Words& args) {
  return lookAtEach(shell, args, {"--whitespace"},
                    [](Shell& shell, Qmdb& db, long target, const ParsedArgs& parsed) {
                      return printOutline(db, target, parsed.has("--whitespace"), shell.out()) ||
                             shell.fail("the document tree is damaged (run 'check')");
                    });
}

bool runFind(Shell& shell, const Words& args) {
  ParsedArgs parsed;
  Qmdb* db = shell.database();
  if (db == nullptr || !parse(shell, args, 1, 1, parsed, {"-i"})) return false;
  QmdbList found;
  const std::string& path = parsed.positional[0];
  db->findPath(&found, path.c_str(), shell.current(), !parsed.has("-i"));
  printObjects(*db, found, shell.out());
  if (found.length() == 0 && looksLikeXPath(path)) {
    shell.fail("nothing found; " + path + " looks like XPath, which 'xpath' evaluates");
  }
  return true;
}

// The words of an expression are joined again, so that it need not be quoted
// as a whole: xpath count(//a) + 1.
bool runXPath(Shell& shell, const Words& args) {
  Qmdb* db = shell.database();
  if (db == nullptr) return false;
  std::string expression;
  std::map<std::string, std::string> variables;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--var") {
      size_t equals = i + 1 < args.size() ? args[i + 1].find('=') : std::string::npos;
      if (equals == std::string::npos || equals == 0) return shell.fail("--var takes NAME=VALUE");
      variables[args[i + 1].substr(0, equals)] = args[i + 1].substr(equals + 1);
      ++i;
    } else {
      expression += (expression.empty() ? "" : " ") + args[i];
    }
  }
  if (expression.empty()) return shell.fail("expects an expression");
  QmdbXPath::Result result =
      printXPath(*db, expression, shell.current(), variables, XPathFormat::Lines, shell.out());
  return result || shell.fail(xpathFailure(result));
}

bool runAttrs(Shell& shell, const Words& args) {
  return lookAtEach(shell, args, {}, [](Shell& shell, Qmdb& db, long target, const ParsedArgs&) {
    long limit = db.getSize() / 16;
    for (long a = db.attribute(target, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true);
         a != 0 && limit-- > 0; a = db.nextAttribute(a)) {
      shell.out() << copyText(db.attrName(a)) << "=\"" << copyText(db.attrValue(a)) << "\"\n";
    }
    return true;
  });
}

bool runStats(Shell& shell, const Words& args) {
  Qmdb* db = shell.database();
  if (db == nullptr) return false;
  if (!args.empty()) return shell.fail("takes no arguments");
  if (!printStats(*db, shell.session().file(), shell.out())) {
    return shell.fail("the document tree is damaged (run 'check')");
  }
  return true;
}

bool runCheck(Shell& shell, const Words& args) {
  Qmdb* db = shell.database();
  if (db == nullptr) return false;
  if (!args.empty()) return shell.fail("takes no arguments");
  return printCheck(*db, shell.session().file(), shell.out()) ||
         shell.fail("the database has problems");
}

bool runIndexes(Shell& shell, const Words& args) {
  Qmdb* db = shell.database();
  if (db == nullptr) return false;
  if (!args.empty()) return shell.fail("takes no arguments");
  printIndexes(*db, shell.out());
  return true;
}

// The index named `name`; 0 (reported) when there is none.
long findIndex(Shell& shell, Qmdb& db, const std::string& name) {
  long index = db.index(name.c_str());
  if (index == 0) shell.fail("no index named '" + name + "'");
  return index;
}

bool runKeys(Shell& shell, const Words& args) {
  ParsedArgs parsed;
  Qmdb* db = shell.database();
  if (db == nullptr || !parse(shell, args, 1, 1, parsed)) return false;
  long index = findIndex(shell, *db, parsed.positional[0]);
  if (index == 0) return false;
  printKeys(*db, index, shell.out());
  return true;
}

bool runLookup(Shell& shell, const Words& args) {
  ParsedArgs parsed;
  Qmdb* db = shell.database();
  if (db == nullptr || !parse(shell, args, 2, 3, parsed)) return false;
  long index = findIndex(shell, *db, parsed.positional[0]);
  if (index == 0) return false;
  const std::string* to = parsed.positional.size() == 3 ? &parsed.positional[2] : nullptr;
  printLookup(*db, index, parsed.positional[1], to, shell.out());
  return true;
}

// --- editing ---

// The edits "COMMAND VALUE... [TARGET]": parses `values` values and an
// optional target, then runs `edit(db, target, values)` on every object the
// target names; false (reported) when the arguments are wrong or an edit is
// refused (edit gives the reason; "" when done).
using Edit = std::string (*)(Qmdb& db, long target, const std::vector<std::string>& values);
bool editEach(Shell& shell, const Words& args, size_t values, Edit edit) {
  ParsedArgs parsed;
  Qmdb& db = *shell.database();
  std::vector<long> targets;
  if (!parse(shell, args, values, values + 1, parsed) ||
      !resolveOptional(shell, db, parsed.positional, values, targets)) {
    return false;
  }
  for (long target : targets) {
    std::string refusal = edit(db, target, parsed.positional);
    if (!refusal.empty()) return shell.fail(nameOf(target) + ": " + refusal);
  }
  return true;
}

bool runSetAttr(Shell& shell, const Words& args) {
  return editEach(shell, args, 2, [](Qmdb& db, long target, const std::vector<std::string>& v) {
    if (!isEditable(db, target)) return std::string("has no attributes");
    long a = db.attribute(target, v[0].c_str(), QmdbNoAttributeType, QmdbNoAttributeClass, true);
    bool done = a != 0 ? db.setAttrValue(a, v[1].c_str()) != 0
                       : db.addAttribute(target, v[0].c_str(), v[1].c_str(), kXmlAttributeType,
                                         kXmlAttributeClass) != 0;
    return done ? std::string() : "cannot set the attribute " + v[0];
  });
}

bool runRmAttr(Shell& shell, const Words& args) {
  return editEach(shell, args, 1, [](Qmdb& db, long target, const std::vector<std::string>& v) {
    long a = isEditable(db, target) ? db.attribute(target, v[0].c_str(), QmdbNoAttributeType,
                                                   QmdbNoAttributeClass, true)
                                    : 0;
    if (a == 0) return "has no attribute " + v[0];
    return db.dropAttribute(target, a) ? std::string() : "cannot remove the attribute " + v[0];
  });
}

bool runSetText(Shell& shell, const Words& args) {
  return editEach(shell, args, 1, [](Qmdb& db, long target, const std::vector<std::string>& v) {
    if (target == 1 || db.objectType(target) != QmdbNode) {
      return std::string(db.setValue(target, v[0].c_str()) != 0 ? "" : "cannot set its text");
    }
    // A node's text replaces all of its content.
    for (long child = db.first(target); child != 0; child = db.first(target)) {
      if (!db.dropTree(child)) return std::string("cannot remove its content");
    }
    bool added = v[0].empty() || db.addString(target, v[0].c_str()) != 0;
    return std::string(added ? "" : "cannot add the text");
  });
}

bool runRename(Shell& shell, const Words& args) {
  return editEach(shell, args, 1, [](Qmdb& db, long target, const std::vector<std::string>& v) {
    if (!isEditable(db, target)) return std::string("has no name");
    return std::string(db.setGid(target, v[0].c_str()) != 0 ? "" : "cannot rename it");
  });
}

bool runAddNode(Shell& shell, const Words& args) {
  return editEach(shell, args, 1, [](Qmdb& db, long target, const std::vector<std::string>& v) {
    if (!isNodeOrRoot(db, target)) return std::string("is not a node");
    return std::string(db.addNode(target, v[0].c_str()) != 0 ? "" : "cannot add a node");
  });
}

bool runAddText(Shell& shell, const Words& args) {
  return editEach(shell, args, 1, [](Qmdb& db, long target, const std::vector<std::string>& v) {
    if (!isNodeOrRoot(db, target)) return std::string("is not a node");
    return std::string(db.addString(target, v[0].c_str()) != 0 ? "" : "cannot add the text");
  });
}

// True when `ancestor` is `object` or one of its ancestors.
bool contains(Qmdb& db, long ancestor, long object) {
  long limit = walkLimit(db);
  for (long p = object; p != 0 && limit-- > 0; p = db.parent(p)) {
    if (p == ancestor) return true;
  }
  return ancestor == 1;
}

bool runRm(Shell& shell, const Words& args) {
  ParsedArgs parsed;
  Qmdb& db = *shell.database();
  std::vector<long> targets;
  if (!parse(shell, args, 1, 1, parsed, {"--keep", "--unwrap"}) ||
      !resolve(shell, db, parsed.positional[0], targets)) {
    return false;
  }
  bool keep = parsed.has("--keep"), unwrap = parsed.has("--unwrap");
  std::set<long> chosen(targets.begin(), targets.end());
  for (long target : targets) {
    if (target == 1) return shell.fail("the root cannot be removed");
    bool inside = false;  // within another target's subtree, which goes with it
    for (long p = db.parent(target); p != 0 && !inside && !unwrap; p = db.parent(p)) {
      inside = chosen.count(p) != 0;
    }
    if (inside) continue;
    if (contains(db, target, shell.current()) && (!unwrap || target == shell.current())) {
      long parent = db.parent(target);
      shell.setCurrent(parent != 0 ? parent : 1);
    }
    bool done = keep ? (unwrap ? db.removeObject(target) : db.removeTree(target)) != 0
                     : (unwrap ? db.dropObject(target) : db.dropTree(target));
    if (!done) return shell.fail(nameOf(target) + ": cannot remove it");
    if (keep) shell.out() << "kept #" << target << " (detached)\n";
  }
  return true;
}

// Where mv and cp put things: after `after` among the children of `parent`.
struct Place {
  long parent = 1;
  long after = 0;
};

// The place named by "DEST" (as its last child), "--after SIBLING" or "--before SIBLING".
bool resolvePlace(Shell& shell, Qmdb& db, ParsedArgs& parsed, Place& place) {
  bool after = parsed.has("--after"), before = parsed.has("--before");
  if (after + before + (parsed.positional.size() == 2) != 1) {
    return shell.fail("expects TARGET and one of DEST, --after SIBLING or --before SIBLING");
  }
  long anchor = 0;
  if (parsed.positional.size() == 2) {
    if (!resolveOne(shell, db, parsed.positional[1], anchor)) return false;
    if (!isNodeOrRoot(db, anchor)) return shell.fail(parsed.positional[1] + " is not a node");
    place.parent = anchor;
    place.after = db.last(anchor);
    return true;
  }
  const std::string& sibling = parsed.options[after ? "--after" : "--before"];
  if (!resolveOne(shell, db, sibling, anchor)) return false;
  if (anchor == 1 || !db.isAttached(anchor)) return shell.fail(sibling + " has no parent");
  place.parent = db.parent(anchor) != 0 ? db.parent(anchor) : 1;
  place.after = after ? anchor : db.previous(anchor, QmdbSiblings);
  return true;
}

// mv and cp: each target in turn, in order, at the place.
bool moveOrCopy(Shell& shell, const Words& args, bool move) {
  ParsedArgs parsed;
  Qmdb& db = *shell.database();
  std::vector<long> targets;
  Place place;
  if (!parse(shell, args, 1, 2, parsed, {}, {"--after", "--before"}) ||
      !resolve(shell, db, parsed.positional[0], targets) ||
      !resolvePlace(shell, db, parsed, place)) {
    return false;
  }
  for (long target : targets) {
    if (target == 1) return shell.fail("the root cannot be moved or copied");
    long placed = target;
    if (!move) {
      placed = db.insertTreeCopy(place.parent, place.after, target, true, true, false, false);
    } else if (place.after != target) {  // else it is already there
      placed = db.moveTree(place.parent, place.after, target);
    }
    if (placed == 0) {
      return shell.fail(nameOf(target) + ": cannot " + (move ? "move" : "copy") + " it into " +
                        nameOf(place.parent));
    }
    place.after = placed;
  }
  return true;
}

bool runMv(Shell& shell, const Words& args) {
  return moveOrCopy(shell, args, true);
}

bool runCp(Shell& shell, const Words& args) {
  return moveOrCopy(shell, args, false);
}

bool runIndex(Shell& shell, const Words& args) {
  ParsedArgs parsed;
  Qmdb& db = *shell.database();
  if (!parse(shell, args, 2, 2, parsed, {}, {"--key"})) return false;
  std::string attribute = parsed.has("--key") ? parsed.options["--key"] : "";
  if (parsed.has("--key")) {
    if (attribute.size() < 2 || attribute[0] != '@') return shell.fail("--key takes @ATTR");
    attribute.erase(0, 1);
  }
  const std::string& name = parsed.positional[0];
  QmdbList found;
  db.findPath(&found, parsed.positional[1].c_str(), shell.current(), true);
  long index = db.index(name.c_str());
  if (index == 0) index = db.addIndex(name.c_str());
  if (index == 0) return shell.fail("cannot make the index '" + name + "'");
  shell.out() << describeFill(name, attribute, fillIndex(db, index, found, attribute)) << '\n';
  return true;
}

bool runDropIndex(Shell& shell, const Words& args) {
  ParsedArgs parsed;
  Qmdb& db = *shell.database();
  if (!parse(shell, args, 1, 1, parsed)) return false;
  if (db.index(parsed.positional[0].c_str()) == 0) {
    return shell.fail("no index named '" + parsed.positional[0] + "'");
  }
  return db.dropIndex(parsed.positional[0].c_str()) || shell.fail("cannot drop the index");
}

// --- the session ---

bool runSave(Shell& shell, const Words& args) {
  if (!args.empty()) return shell.fail("takes no arguments");
  if (shell.database() == nullptr) return false;
  std::string error;
  return shell.session().save(error) || shell.fail(error);
}

bool runOpen(Shell& shell, const Words& args) {
  if (args.size() != 1) return shell.fail("expects FILE");
  if (!shell.mayLeave()) return shell.fail("the database stays open");
  return shell.open(args[0]);
}

bool runTimer(Shell& shell, const Words& args) {
  if (args.size() != 1 || (args[0] != "on" && args[0] != "off")) {
    return shell.fail("expects on or off");
  }
  shell.setTimer(args[0] == "on");
  return true;
}

bool runQuit(Shell& shell, const Words& args) {
  if (!args.empty()) return shell.fail("takes no arguments");
  if (!shell.mayLeave()) return true;  // the user chose to stay
  shell.quit();
  return true;
}

bool runHelp(Shell& shell, const Words& args);

}  // namespace

const ShellCommand kShellCommands[] = {
    {"ls", runLs, "ls [TARGET] [--whitespace]",
     "Lists the children of the current node (or of each object TARGET finds),\n"
     "one a line like find: handle, kind, name and a short text. Strings of\n"
     "whitespace alone are left out unless --whitespace.",
     false},
    {"cd", runCd, "cd [TARGET|XPATH]",
     "Makes the node TARGET finds the current node; the root without TARGET.", false},
    {"pwd", runPwd, "pwd", "Prints the path of the current node, as /name[position]/...", false},
    {"cat", runCat, "cat [TARGET]",
     "Writes the current node, or each object TARGET finds, as XML (the whole\n"
     "document for /).",
     false},
    {"tree", runTree, "tree [TARGET] [--whitespace]",
     "Prints the outline of the current node, or of each object TARGET finds.", false},
    {"find", runFind, "find PATH [-i]",
     "Prints, like ls, every object that PATH leads to from the current node\n"
     "(-i: names compared ignoring ASCII case).",
     false},
    {"xpath", runXPath, "xpath EXPR [--var NAME=VALUE]...",
     "Evaluates the XPath 1.0 expression EXPR with the current node as the\n"
     "context node and $NAME bound to the string VALUE. A node-set is printed\n"
     "like find, an attribute node as OWNER, \"attribute\", name and value;\n"
     "a number, string or boolean as its value.",
     false},
    {"attrs", runAttrs, "attrs [TARGET]", "Prints the attributes, one a line: name=\"value\".",
     false},
    {"stats", runStats, "stats", "Prints the counts of what the database holds.", false},
    {"check", runCheck, "check", "Checks the database's integrity.", false},
    {"indexes", runIndexes, "indexes", "Lists the indexes and their numbers of keys.", false},
    {"keys", runKeys, "keys NAME", "Lists the keys of the index NAME.", false},
    {"lookup", runLookup, "lookup NAME KEY [TO]",
     "Prints the objects of the index NAME under KEY, or under the keys from KEY\n"
     "up to those that begin with TO.",
     false},
    {"set-attr", runSetAttr, "set-attr NAME VALUE [TARGET]",
     "Sets the attribute NAME (adding it when it is missing).", true},
    {"rm-attr", runRmAttr, "rm-attr NAME [TARGET]", "Removes the attribute NAME.", true},
    {"set-text", runSetText, "set-text TEXT [TARGET]",
     "Sets the text: a node's whole content becomes TEXT; a string's text, an\n"
     "entity's value or a pi's data becomes TEXT.",
     true},
    {"rename", runRename, "rename NAME [TARGET]", "Renames a node, entity or pi.", true},
    {"add-node", runAddNode, "add-node NAME [TARGET]", "Appends a new node as the last child.",
     true},
    {"add-text", runAddText, "add-text TEXT [TARGET]", "Appends a new string as the last child.",
     true},
    {"rm", runRm, "rm TARGET [--keep] [--unwrap]",
     "Drops each object TARGET finds with everything below it. --unwrap takes the\n"
     "object alone, its children taking its place; --keep detaches instead of\n"
     "dropping, so that the object can be moved back by its handle (mv #H DEST).",
     true},
    {"mv", runMv, "mv TARGET (DEST | --after SIBLING | --before SIBLING)",
     "Moves each object TARGET finds, with its subtree, to the end of DEST or\n"
     "next to SIBLING, keeping their order.",
     true},
    {"cp", runCp, "cp TARGET (DEST | --after SIBLING | --before SIBLING)",
     "Copies each object TARGET finds, with its subtree and attributes, as mv moves.", true},
    {"index", runIndex, "index NAME PATH [--key @ATTR]",
     "Stores each object PATH finds from the current node in the index NAME\n"
     "(made when missing), under its attribute ATTR or its own text.",
     true},
    {"drop-index", runDropIndex, "drop-index NAME", "Drops the index NAME.", true},
    {"save", runSave, "save", "Writes the edits to the database file.", false},
    {".open", runOpen, ".open FILE",
     "Opens another database (a new one when FILE does not exist); asks first\n"
     "about unsaved edits.",
     false},
    {".timer", runTimer, ".timer on|off", "Prints the time each command takes.", false},
    {"quit", runQuit, "quit", "Leaves the shell; asks first about unsaved edits.", false},
    {"exit", runQuit, "exit", "The same as quit.", false},
    {"help", runHelp, "help [COMMAND]", "Lists the commands, or explains one.", false},
    {nullptr, nullptr, nullptr, nullptr, false},
};

namespace {

bool runHelp(Shell& shell, const Words& args) {
  if (args.size() > 1) return shell.fail("expects at most one command");
  for (const ShellCommand* command = kShellCommands; command->name != nullptr; ++command) {
    if (args.empty()) {
      shell.out() << "  " << command->synopsis << '\n';
    } else if (args[0] == command->name) {
      shell.out() << "usage: " << command->synopsis << "\n\n" << command->help << '\n';
      return true;
    }
  }
  if (!args.empty()) return shell.fail("no command '" + args[0] + "'");
  shell.out() << "\nA TARGET is #HANDLE, #HANDLE/PATH, XPath (when it begins with '/' or\n"
                 "holds //, [ or @), or a PATH of names, *, ., .. and ... separated by\n"
                 "'/'; XPath and paths start at the current node. Several commands on a\n"
                 "line are separated by ';'. Edits stay unsaved until 'save'. 'COMMAND\n"
                 "--help' explains a command.\n";
  return true;
}

}  // namespace

}  // namespace qmdbtool
