// The shell's session loop: reads lines, splits them into commands, runs each
// through the command table, reports failures and, at the end, what became of
// unsaved edits. A script ends with status 1 when any command failed, and at
// once with --bail; edits that a script leaves unsaved are discarded with a
// warning and status 1, since nobody is there to be asked.
#include "Shell.h"

#include "Tool.h"

#include <chrono>
#include <cstring>
#include <filesystem>
#include <iomanip>

namespace qmdbtool {
namespace {

const ShellCommand* findShellCommand(const std::string& name) {
  for (const ShellCommand* command = kShellCommands; command->name != nullptr; ++command) {
    if (name == command->name) return command;
  }
  return nullptr;
}

}  // namespace

bool Shell::open(const std::string& file) {
  std::string error;
  if (!database_.open(file, error)) {
    err_ << "qmdb shell: " << error << '\n';
    return false;
  }
  current_ = 1;
  return true;
}

bool Shell::fail(const std::string& message) {
  out_.flush();
  err_ << command_ << ": " << message << '\n';
  return false;
}

Qmdb* Shell::database() {
  if (!database_.isOpen()) fail("no database is open (use .open FILE)");
  return database_.db();
}

bool Shell::execute(const Words& command) {
  command_ = command[0];
  const ShellCommand* found = findShellCommand(command[0]);
  if (found == nullptr) return fail("unknown command ('help' lists the commands)");
  Words args(command.begin() + 1, command.end());
  if (args.size() == 1 && (args[0] == "--help" || args[0] == "-h")) {
    out_ << "usage: " << found->synopsis << "\n\n" << found->help << '\n';
    return true;
  }
  if (found->edits) {
    if (database() == nullptr) return false;
    std::string error;
    if (!database_.beginEdit(error)) return fail(error);
  }
  auto start = std::chrono::steady_clock::now();
  bool ok = found->run(*this, args);
  if (found->edits) database_.noteEdit();
  if (timer_) {
    std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    out_ << "time " << std::fixed << std::setprecision(3) << took.count() << " ms\n";
    out_ << std::defaultfloat;
  }
  out_.flush();
  return ok;
}

int Shell::run(LineSource& input, bool bail) {
  input_ = &input;
  int status = kOk;
  while (!quitting_) {
    std::string line;
    if (!input.read(input.interactive() ? prompt() : "", line, true)) {
      if (input.interactive()) {
        out_ << '\n';
        if (!mayLeave()) continue;
      } else if (database_.unsaved()) {
        err_ << "qmdb shell: the unsaved edits of " << database_.file()
             << " are discarded (end with 'save' to keep them)\n";
        status = kFailure;
      }
      break;
    }
    std::vector<Words> commands;
    std::string error;
    if (!splitCommands(line, commands, error)) {
      err_ << "qmdb shell: " << error << '\n';
      status = kFailure;
      if (bail) break;
      continue;
    }
    bool stop = false;
    for (const Words& command : commands) {
      if (!execute(command)) {
        status = kFailure;
        stop = bail;
      }
      if (stop || quitting_) break;
    }
    if (stop) break;
  }
  input_ = nullptr;
  return input.interactive() ? kOk : status;
}

bool Shell::mayLeave() {
  if (!database_.unsaved()) return true;
  if (input_ == nullptr) return false;
  std::string question = "Save the edits to " + database_.file() + "? (y)es, (n)o, (c)ancel: ";
  for (;;) {
    std::string answer;
    if (!input_->interactive()) out_ << question << std::flush;
    if (!input_->read(question, answer, false)) {
      if (!input_->interactive()) out_ << '\n';
      return false;
    }
    if (!input_->interactive()) out_ << answer << '\n';
    if (answer == "y" || answer == "yes") {
      std::string error;
      if (database_.save(error)) return true;
      err_ << "save: " << error << '\n';
      return false;
    }
    if (answer == "n" || answer == "no") return true;
    if (answer == "c" || answer == "cancel") return false;
  }
}

std::string Shell::pathOf(long node) {
  Qmdb* db = database_.db();
  if (db == nullptr || node == 1) return "/";
  std::string path;
  long steps = walkLimit(*db);
  for (long p = node; p != 0 && steps > 0; p = db->parent(p)) {
    std::string name = copyText(db->getId(p));
    long position = 1;
    for (long s = db->previous(p, QmdbSiblings); s != 0 && --steps > 0;
         s = db->previous(s, QmdbSiblings)) {
      if (db->objectType(s) == QmdbNode && (name.empty() || copyText(db->getId(s)) == name)) {
        ++position;
      }
    }
    path = "/" + (name.empty() ? std::string("*") : name) + "[" + std::to_string(position) + "]" +
           path;
  }
  return path;
}

std::string Shell::prompt() {
  if (!database_.isOpen()) return "qmdb> ";
  std::string path = pathOf(current_);
  constexpr size_t kLongest = 40;
  if (path.size() > kLongest) {
    size_t cut = path.find('/', path.size() - kLongest);
    if (cut != std::string::npos) path = "..." + path.substr(cut);
  }
  std::string name = std::filesystem::path(database_.file()).filename().string();
  return name + (database_.unsaved() ? "*" : "") + ":" + path + "> ";
}

}  // namespace qmdbtool
