// The interactive shell of the qmdb tool: a session over one database, with
// a current node (where relative paths start), commands that look and edit,
// and edits that stay unsaved until `save` (ShellDatabase). Commands write
// their output to `out` and their errors to `err`; a failed command leaves
// the session as it was before it, except for what it reports.
#ifndef QMDB_TOOLS_QMDB_SHELL_H
#define QMDB_TOOLS_QMDB_SHELL_H

#include "ShellDatabase.h"
#include "ShellInput.h"

#include <ostream>
#include <string>
#include <vector>

namespace qmdbtool {

class Shell;

/// One command of the shell.
struct ShellCommand {
  const char* name;
  /// Runs the command on the arguments after its name; true when it succeeded
  /// (it reports its own failures through Shell::fail).
  bool (*run)(Shell& shell, const Words& args);
  const char* synopsis;
  const char* help;
  bool edits;  // changes the database: it needs a writable working copy
};

/// The commands, in the order help lists them; ends with a null name.
extern const ShellCommand kShellCommands[];

/// A shell session.
class Shell {
 public:
  /// A session without a database, writing to `out` and `err` (kept alive by the caller).
  Shell(std::ostream& out, std::ostream& err) : out_(out), err_(err) {}

  /// Opens `file` as the session's database (see ShellDatabase::open); false
  /// with the error reported.
  bool open(const std::string& file);
  /// Reads and runs commands from `input` until its end, `quit`, or with
  /// `bail` the first failure. Gives the exit status: 0 when every command
  /// succeeded, else 1.
  int run(LineSource& input, bool bail);
  /// Runs one command; true when it succeeded.
  bool execute(const Words& command);

  // --- for the commands ---
  /// The stream that commands write their output to.
  std::ostream& out() { return out_; }
  /// Reports "COMMAND: MESSAGE" on the error stream; gives false.
  bool fail(const std::string& message);
  /// The open database; null (after reporting the failure) when none is open.
  Qmdb* database();
  /// The session's database, open or not.
  ShellDatabase& session() { return database_; }
  /// The node that relative paths start from (1: the database root).
  long current() const { return current_; }
  /// Makes `node` (a node or 1) the current node.
  void setCurrent(long node) { current_ = node; }
  /// Asks, when there are unsaved edits, whether to save them; true when the
  /// session may go on to lose or replace the database (saved, or answered no).
  bool mayLeave();
  /// Ends the session after the current command.
  void quit() { quitting_ = true; }
  /// Turns the time report after each command on or off.
  void setTimer(bool on) { timer_ = on; }
  /// The path from the root to `node`, as steps name[position]: "/" for the root.
  std::string pathOf(long node);

 private:
  std::string prompt();

  std::ostream& out_;
  std::ostream& err_;
  ShellDatabase database_;
  LineSource* input_ = nullptr;
  std::string command_;  // the name of the command that is running, for messages
  long current_ = 1;
  bool quitting_ = false;
  bool timer_ = false;
};

}  // namespace qmdbtool

#endif
