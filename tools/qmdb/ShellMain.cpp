// qmdb shell: reads the arguments, opens the database and runs a shell
// session on a terminal (with line editing), on standard input, or on the
// commands of -c.
#include "Shell.h"
#include "Tool.h"

#include <unistd.h>

#include <iostream>

namespace qmdbtool {

int shellCommand(const Args& args) {
  ParsedArgs parsed = parseArgs(args, {"--bail"}, {"-c"});
  if (!parsed.error.empty()) return usageError("shell", parsed.error);
  if (parsed.positional.size() > 1) return usageError("shell", "expects at most one DB.qmb");
  ShellDatabase::removeWorkOnSignals();
  Shell shell(std::cout, std::cerr);
  if (parsed.positional.size() == 1 && !shell.open(parsed.positional[0])) return kFailure;
  bool bail = parsed.has("--bail");
  if (parsed.has("-c")) {
    TextSource commands(parsed.options["-c"]);
    return shell.run(commands, bail);
  }
  if (isatty(STDIN_FILENO)) {
    TerminalSource terminal(defaultHistoryFile());
    return shell.run(terminal, bail);
  }
  StreamSource input(std::cin);
  return shell.run(input, bail);
}

}  // namespace qmdbtool
