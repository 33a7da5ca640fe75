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
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace QmdbXPath {
struct Node;
struct Result;
}  // namespace QmdbXPath

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
int shellCommand(const Args& args);

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
/// How shortText and JSON output write a newline, CR or tab (a backslash and
/// n, r or t); null for any other character.
const char* controlEscape(char c);
/// True when `text` is not null and holds only spaces, tabs, newlines and CRs.
bool isWhitespace(const char* text);
/// "node", "string", "entity" or "pi"; "?" for anything else.
const char* kindName(QmdbObjectType kind);
/// The text content of an object: a string's text, an entity's value, a pi's
/// data, or the texts below a node with each run of whitespace made one space
/// (at most about `limit` bytes of it).
std::string textContent(Qmdb& db, long object, size_t limit);
/// One line on an object, tab-separated: handle, kind, name (gid, entity name
/// or pi target; "-" for none) and a short text.
std::string describeObject(Qmdb& db, long object);
/// True when `path` looks like XPath rather than the library's path language:
/// it begins with '/' or holds "//", '[' or '@'.
bool looksLikeXPath(const std::string& path);
/// One line on an XPath node, as describeObject's: handle, kind, name ("-"
/// for none) and a short text; an attribute is shown by its owner's handle.
std::string describeNode(Qmdb& db, const QmdbXPath::Node& node);
/// How printXPath writes a node: describeNode's line, a JSON object on a line,
/// or XML (an attribute as name="value").
enum class XPathFormat { Lines, Json, Xml };
/// Writes the node-set or the value (as XPath's string() converts it; a JSON
/// value in Json) that `expression` gives from `context`, with the variables
/// bound to strings. The nodes are written as they are found, never all held
/// at once. Gives the evaluation's result: on failure its message and the
/// offset of a syntax error (-1 otherwise, also for a node that cannot be
/// written as XML, "cannot write XML: ...").
QmdbXPath::Result printXPath(Qmdb& db, const std::string& expression, long context,
                             const std::map<std::string, std::string>& variables,
                             XPathFormat format, std::ostream& out);
/// Writes describeObject's line for each object of `objects`, in list order.
void printObjects(Qmdb& db, QmdbList& objects, std::ostream& out);
/// Writes the indented outline of `top` (1: the whole document), leaving out
/// the strings of whitespace alone unless `whitespace`; false when the walk
/// does not end (a damaged tree).
bool printOutline(Qmdb& db, long top, bool whitespace, std::ostream& out);
/// Writes the counts of what the database (whose file is `dbName`) holds;
/// false when the document tree is damaged.
bool printStats(Qmdb& db, const std::string& dbName, std::ostream& out);
/// Runs the integrity check, writing each problem or the "ok" verdict; true when sound.
bool printCheck(Qmdb& db, const std::string& dbName, std::ostream& out);
/// Writes one line per index: its name and its number of keys, tab-separated.
void printIndexes(Qmdb& db, std::ostream& out);
/// Writes the keys of `index`, one a line, in byte order.
void printKeys(Qmdb& db, long index, std::ostream& out);
/// Writes, as printObjects, the entries of `index` under `from`, or with `to`
/// under every key from `from` up to the keys that begin with `to`.
void printLookup(Qmdb& db, long index, const std::string& from, const std::string* to,
                 std::ostream& out);

/// What fillIndex stored.
struct IndexFill {
  long indexed = 0;
  long skipped = 0;  // objects without the attribute, or refused
};
/// Stores every object of `objects` in `index`: under the value of its
/// attribute `attribute`, or under its own text when `attribute` is empty.
IndexFill fillIndex(Qmdb& db, long index, QmdbList& objects, const std::string& attribute);
/// "NAME: N indexed, M skipped (no attribute A)", the report of an index fill.
std::string describeFill(const std::string& indexName, const std::string& attribute,
                         const IndexFill& fill);

/// The most objects that a walk can meet in the database: every object takes
/// at least 24 bytes of heap, so a longer walk means a damaged file.
long walkLimit(const Qmdb& db);

}  // namespace qmdbtool

#endif
