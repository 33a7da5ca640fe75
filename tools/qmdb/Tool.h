// What the qmdb command-line tool shares between its commands: the command
// functions that main dispatches to, the exit codes, the codes that import
// gives to what it stores, and small helpers that open databases, report
// errors and describe an object in one line. The tool uses only the public
// interface of the library.
#ifndef QMDB_TOOLS_QMDB_TOOL_H
#define QMDB_TOOLS_QMDB_TOOL_H

#include <Qmdb/Qmdb>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace qmdbtool {

/// The arguments of a command, without the program and command names.
using Args = std::vector<std::string>;

constexpr int kOk = 0;
constexpr int kFailure = 1;
constexpr int kUsage = 2;

/// The type and class codes that import gives every XML attribute.
constexpr QmdbAttributeType kXmlAttributeType = static_cast<QmdbAttributeType>(1);
constexpr QmdbAttributeClass kXmlAttributeClass = static_cast<QmdbAttributeClass>(1);
/// The pi target under which `import --comments` keeps an XML comment.
constexpr const char* kCommentTarget = "#comment";

int importCommand(const Args& args);
int exportCommand(const Args& args);
int treeCommand(const Args& args);
int findCommand(const Args& args);
int xpathCommand(const Args& args);
int indexCommand(const Args& args);
int lookupCommand(const Args& args);
int keysCommand(const Args& args);
int indexesCommand(const Args& args);
int statsCommand(const Args& args);
int checkCommand(const Args& args);

/// A command's arguments split into positional ones and options.
struct ParsedArgs {
  std::vector<std::string> positional;
  std::map<std::string, std::string> options;  // a flag maps to ""
  std::string error;                           // set when the arguments are wrong
  bool has(const std::string& option) const { return options.count(option) != 0; }
};
/// Splits `args`: the options named in `flags` stand alone, those in `valued`
/// take the next argument; "--" ends the options. Any other "-x" is an error.
ParsedArgs parseArgs(const Args& args, const std::set<std::string>& flags,
                     const std::set<std::string>& valued = {});

/// Prints "qmdb COMMAND: MESSAGE" and the command's synopsis on stderr; gives kUsage.
int usageError(const char* command, const std::string& message);
/// Whether the database has a problem recorded (an error code).
bool hasError(const Qmdb& db);
/// Prints "qmdb: FILE: WHAT" on stderr, followed by ": CODE: MESSAGE" when `db`
/// has an error recorded; gives kFailure.
int failure(const std::string& file, const std::string& what, const Qmdb* db = nullptr);
/// Opens the database file in `mode`; prints the error and gives null when it
/// cannot be opened.
std::unique_ptr<Qmdb> openDatabase(const std::string& file, QmdbFileMode mode);

/// A copy of a text returned by the library (which may live in a page frame); "" for null.
std::string copyText(const char* text);
/// The text with newlines, CRs and tabs shown as \n, \r and \t, cut after
/// `limit` characters (whole UTF-8 sequences) with "..." appended.
std::string shortText(const std::string& text, size_t limit = 60);
/// "node", "string", "entity" or "pi"; "?" for anything else.
const char* kindName(QmdbObjectType kind);
/// The text content of an object: a string's text, an entity's value, a pi's
/// data, or the texts below a node with each run of whitespace made one space
/// (at most about `limit` bytes of it).
std::string textContent(Qmdb& db, long object, size_t limit);
/// One line on an object, tab-separated: handle, kind, name (gid, entity name
/// or pi target; "-" for none) and a short text.
std::string describeObject(Qmdb& db, long object);
/// The most objects that a walk can meet in the database: every object takes
/// at least 24 bytes of heap, so a longer walk means a damaged file.
long walkLimit(const Qmdb& db);

}  // namespace qmdbtool

#endif
