// qmdb: the command-line tool over Qmdb databases. main dispatches on the
// first argument to one function per command; usage() lists the commands and
// `qmdb COMMAND --help` explains one. Exit codes: 0 done, 1 failed, 2 misused.
#include "Tool.h"

#include <cstdio>
#include <cstring>

namespace qmdbtool {
namespace {

struct Command {
  const char* name;
  int (*run)(const Args&);
  const char* synopsis;
  const char* help;
};

const Command kCommands[] = {
    {"import", importCommand,
     "import DOC.xml DB.qmb [--comments] [--no-dtd] [--no-default-attributes] [--no-external] "
     "[--strict]",
     "Parses the XML document DOC.xml (\"-\": standard input) and stores it as the\n"
     "new database DB.qmb (an existing DB.qmb is replaced, but only once the import\n"
     "has succeeded). Elements become nodes with their gid and their attributes in\n"
     "document order (namespace declarations first, then those the DTD supplies);\n"
     "every attribute gets type code 1 and class code 1. Character data becomes\n"
     "strings (adjacent data and CDATA sections are one string; a text too long for\n"
     "one heap page is split into several strings). Processing instructions become\n"
     "pis (target, data). The DOCTYPE becomes a pi with the target \"#doctype\"\n"
     "holding what stands between \"<!DOCTYPE \" and \">\". A reference to an\n"
     "entity whose replacement is text becomes an entity object (name, value); one\n"
     "whose replacement holds markup is loaded in its place; one that cannot be\n"
     "resolved is kept as an entity object without value, with a warning.\n"
     "The encoding that the document declares is honoured (any that iconv knows);\n"
     "the database holds UTF-8. The external DTD and entities are read from local\n"
     "files and XML catalogs only, never from the network.\n"
     "\n"
     "  --comments               keep comments, as pis with the target \"#comment\"\n"
     "  --no-dtd                 do not read the external DTD\n"
     "  --no-default-attributes  do not add the attributes that the DTD supplies\n"
     "  --no-external            do not read external entities (they stay unresolved)\n"
     "  --strict                 an unresolved entity reference is an error\n"
     "\n"
     "Malformed XML is reported as FILE:LINE:COLUMN: MESSAGE and leaves no\n"
     "database behind. A progress bar is shown on a terminal for inputs over 4 MB."},
    {"export", exportCommand,
     "export DB.qmb [OUT.xml] [--encoding ENC] [--node H] [--no-declaration]",
     "Writes the document of DB.qmb as XML to OUT.xml, or to standard output (also\n"
     "for \"-\"). Nodes become elements (an empty one as <a/>), with their attributes\n"
     "in list order; strings become text; pis become <?target data?>, pis with the\n"
     "target \"#comment\" comments and the \"#doctype\" pi the DOCTYPE, which\n"
     "declares every entity the document references; entities become references.\n"
     "A text that is not valid UTF-8 is an error naming its object.\n"
     "\n"
     "  --encoding ENC   write in ENC (any name iconv knows; default UTF-8), with\n"
     "                   character references for what ENC cannot hold\n"
     "  --node H         write only the object H and what is below it\n"
     "  --no-declaration leave out the <?xml ...?> declaration"},
    {"tree", treeCommand, "tree DB.qmb [PATH] [--whitespace]",
     "Prints an indented outline of the document, or of each object that PATH\n"
     "finds from the database root: nodes as their gid and attributes\n"
     "(name=\"value\"), strings in quotes, pis as <?target data?>, comments as\n"
     "<!--text-->, entities as &name;=\"value\". Texts are cut after 60\n"
     "characters with \"...\"; newlines show as \\n. PATH is as for find.\n"
     "\n"
     "  --whitespace  show the strings of whitespace alone too (the indentation\n"
     "                between elements), which are left out by default"},
    {"find", findCommand, "find DB.qmb PATH [-i]",
     "Prints one line for each object that PATH leads to from the database root:\n"
     "handle, kind (node, string, entity, pi), name (gid, entity name or pi target;\n"
     "\"-\" for none) and a short text (for a node, the texts below it with the\n"
     "whitespace collapsed), separated by tabs. A path is steps separated by '/':\n"
     "a name (children with that gid), \"*\" (every child), \".\" (the object\n"
     "itself), \"..\" (its parent) and \"...\" (the object and everything below\n"
     "it), e.g. \"guide/group/species/name\" or \".../name\". Finding nothing\n"
     "prints nothing and is not an error (exit status 0).\n"
     "\n"
     "  -i  compare names ignoring the case of ASCII letters\n"
     "\n"
     "When a PATH that looks like XPath (it begins with '/', or holds '//', '['\n"
     "or '@') finds nothing, a note on stderr points to qmdb xpath."},
    {"xpath", xpathCommand, "xpath DB.qmb EXPR [--var NAME=VALUE]... [--json|--xml]",
     "Evaluates the XPath 1.0 expression EXPR with the document's root as the\n"
     "context node. A node-set is printed a node per line in document order, as\n"
     "find prints objects (handle, kind, name, short text; an attribute shows its\n"
     "element's handle, the kind \"attribute\", its name and value); a number,\n"
     "string or boolean is printed as its value. Comments are pis with the target\n"
     "\"#comment\"; adjacent strings and entities are one text node.\n"
     "An equality test on an attribute, as in //E[@A='v'], is answered from an\n"
     "index named \"E/@A\" when there is one (qmdb index DB 'E/@A' '.../E' --key @A).\n"
     "\n"
     "  --var NAME=VALUE  binds $NAME to the string VALUE (repeatable)\n"
     "  --json            one JSON object per node ({\"handle\", \"kind\", \"name\",\n"
     "                    \"value\"}, plus \"attribute\" for attributes), or the\n"
     "                    value as JSON\n"
     "  --xml             each node as XML (an attribute as name=\"value\"), one a line\n"
     "\n"
     "A malformed expression is reported with a mark under the fault (exit 2)."},
    {"index", indexCommand, "index DB.qmb NAME PATH [--key @ATTR]",
     "Stores every object that PATH finds in the index NAME of DB.qmb, making the\n"
     "index when it does not exist yet: under the value of its attribute ATTR\n"
     "with --key @ATTR (objects without that attribute are skipped), or else\n"
     "under its own text (a node's gid, a string's text, a pi's target). Prints\n"
     "how many objects were indexed and skipped. Indexing the same objects again\n"
     "stores them again."},
    {"lookup", lookupCommand, "lookup DB.qmb NAME KEY [TO]",
     "Prints, like find, the objects stored in the index NAME under KEY, or with\n"
     "TO under every key from KEY up to the keys that begin with TO, in key order."},
    {"keys", keysCommand, "keys DB.qmb NAME",
     "Prints the keys of the index NAME, one a line, in byte order."},
    {"indexes", indexesCommand, "indexes DB.qmb",
     "Prints one line per index of DB.qmb: its name and its number of keys,\n"
     "separated by a tab."},
    {"stats", statsCommand, "stats DB.qmb",
     "Prints the file size, page size and heap size of DB.qmb, the number of\n"
     "objects of each kind and of attributes in the document (objects that are\n"
     "not in the tree are not counted), and the indexes with their key counts."},
    {"shell", shellCommand, "shell [DB.qmb] [-c COMMANDS] [--bail]",
     "An interactive shell over DB.qmb (a new database when there is no such\n"
     "file), with line editing and a history kept in ~/.qmdb_history (or\n"
     "$QMDB_HISTORY). It keeps a current node, looks (ls, cd, pwd, cat, tree,\n"
     "find, xpath, attrs, stats, check, indexes, keys, lookup) and edits (set-attr,\n"
     "rm-attr, set-text, rename, add-node, add-text, rm, mv, cp, index,\n"
     "drop-index).\n"
     "Edits go to a working copy beside the file (DB.qmb.shell-PID) until\n"
     "'save'; quit asks before unsaved edits are lost. 'help' in the shell lists\n"
     "the commands.\n"
     "\n"
     "Commands are read from standard input when it is not a terminal, one or\n"
     "more a line separated by ';', or from -c. At the end of such input,\n"
     "unsaved edits are discarded with a warning and exit status 1.\n"
     "\n"
     "  -c COMMANDS  run COMMANDS (separated by ';') instead of reading input\n"
     "  --bail       stop at the first command that fails (exit status 1)\n"
     "\n"
     "Exit status: 0 when every command succeeded, 1 when one failed, 2 for\n"
     "wrong arguments."},
    {"check", checkCommand, "check DB.qmb",
     "Verifies DB.qmb: its header, every object of the document tree and its\n"
     "links, the attribute lists, and that every index entry names a live object.\n"
     "Prints each problem as \"DB.qmb: problem: ...\" and exits with 1, or prints\n"
     "\"DB.qmb: ok (N objects, M indexes)\" and exits with 0."},
};

const Command* findCommandByName(const char* name) {
  for (const Command& command : kCommands) {
    if (strcmp(command.name, name) == 0) return &command;
  }
  return nullptr;
}

void usage(FILE* out) {
  fprintf(out, "usage: qmdb COMMAND ARGUMENTS...\n\ncommands:\n");
  for (const Command& command : kCommands) fprintf(out, "  qmdb %s\n", command.synopsis);
  fprintf(out,
          "\n'qmdb help COMMAND' or 'qmdb COMMAND --help' explains a command. Exit status: 0 done, "
          "1 failed,\n"
          "2 wrong arguments.\n");
}

}  // namespace

int usageError(const char* command, const std::string& message) {
  fprintf(stderr, "qmdb %s: %s\n", command, message.c_str());
  if (const Command* found = findCommandByName(command)) {
    fprintf(stderr, "usage: qmdb %s\n", found->synopsis);
  }
  return kUsage;
}

}  // namespace qmdbtool

int main(int argc, char** argv) {
  using namespace qmdbtool;
  if (argc < 2) {
    usage(stderr);
    return kUsage;
  }
  const char* name = argv[1];
  if (strcmp(name, "--version") == 0) {
    printf("qmdb %s (library %s)\n", QMDB_VERSION, Qmdb::apiVersion());
    return kOk;
  }
  if (strcmp(name, "--help") == 0 || strcmp(name, "-h") == 0 || strcmp(name, "help") == 0) {
    if (argc > 2 && strcmp(name, "help") == 0) {
      const Command* command = findCommandByName(argv[2]);
      if (command == nullptr) {
        fprintf(stderr, "qmdb: unknown command '%s'\n", argv[2]);
        return kUsage;
      }
      printf("usage: qmdb %s\n\n%s\n", command->synopsis, command->help);
      return kOk;
    }
    usage(stdout);
    return kOk;
  }
  const Command* command = findCommandByName(name);
  if (command == nullptr) {
    fprintf(stderr, "qmdb: unknown command '%s'\n\n", name);
    usage(stderr);
    return kUsage;
  }
  Args args(argv + 2, argv + argc);
  for (const std::string& arg : args) {
    if (arg == "--help" || arg == "-h") {
      printf("usage: qmdb %s\n\n%s\n", command->synopsis, command->help);
      return kOk;
    }
  }
  return command->run(args);
}
