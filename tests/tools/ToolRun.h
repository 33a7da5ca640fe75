// Running the built qmdb tool from a test, as a user runs it: a shell command
// line in a temporary directory, giving the exit status, standard output and
// standard error. A sanitizer report gets an exit status of its own.
#ifndef QMDB_TESTS_TOOLS_TOOLRUN_H
#define QMDB_TESTS_TOOLS_TOOLRUN_H

#include "support/TestSupport.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace qmdb::test {

struct Outcome {
  int status;
  std::string out;
  std::string err;
};

inline std::string quote(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

inline std::string asText(const std::vector<uint8_t>& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

inline void writeText(const std::string& path, const std::string& text) {
  writeFile(path, std::vector<uint8_t>(text.begin(), text.end()));
}

// The text with its digits dropped (handles and timings vary from run to run).
inline std::string withoutDigits(std::string text) {
  text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }),
             text.end());
  return text;
}

// Runs a shell command line in the directory.
inline Outcome shell(const TempDir& dir, const std::string& command) {
  std::string errFile = dir.file(".stderr");
  std::string line = "cd " + quote(dir.path()) +
                     " && export ASAN_OPTIONS=exitcode=86 UBSAN_OPTIONS=exitcode=87 && " + command +
                     " 2>" + quote(errFile);
  FILE* pipe = popen(line.c_str(), "r");
  std::string out;
  char buffer[4096];
  for (size_t got; (got = fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, got);
  int status = pclose(pipe);
  Outcome run{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), out, ""};
  run.err = asText(readFile(errFile));
  remove(errFile.c_str());
  return run;
}

// Runs the tool with the arguments (a shell command line's rest).
inline Outcome tool(const TempDir& dir, const std::string& args) {
  return shell(dir, quote(QMDB_TOOL_PATH) + " " + args);
}

}  // namespace qmdb::test

#endif
