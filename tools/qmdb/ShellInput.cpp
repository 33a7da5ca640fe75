// The shell's input: splitting lines into commands and words, and reading
// lines from a stream, a "-c" argument, or a terminal through libedit, whose
// history is loaded when the terminal source is made and written after every
// line, so a session that is killed keeps what was typed.
#include "ShellInput.h"

#include <editline/readline.h>

#include <cstdlib>

namespace qmdbtool {
namespace {

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

}  // namespace

bool splitCommands(const std::string& line, std::vector<Words>& commands, std::string& error) {
  commands.clear();
  size_t first = line.find_first_not_of(" \t\r\n");
  if (first == std::string::npos || line[first] == '#') return true;
  Words words;
  size_t i = 0;
  auto endCommand = [&]() {
    if (!words.empty()) commands.push_back(words);
    words.clear();
  };
  while (i < line.size()) {
    char c = line[i];
    if (isBlank(c)) {
      ++i;
    } else if (c == ';') {
      endCommand();
      ++i;
    } else if (c == '\'' || c == '"') {  // a quoted word
      std::string word;
      size_t j = i + 1;
      for (; j < line.size() && line[j] != c; ++j) {
        if (c == '"' && line[j] == '\\' && j + 1 < line.size()) {
          char escaped = line[++j];
          word += escaped == 'n' ? '\n' : escaped == 't' ? '\t' : escaped;
        } else {
          word += line[j];
        }
      }
      if (j == line.size()) {
        error = std::string("unclosed ") + c + " quote";
        return false;
      }
      words.push_back(word);
      i = j + 1;
    } else {  // a plain word; a quote within it is kept with what it encloses
      std::string word;
      while (i < line.size() && !isBlank(line[i]) && line[i] != ';') {
        char q = line[i];
        if (q == '\'' || q == '"') {
          size_t close = line.find(q, i + 1);
          if (close == std::string::npos) {
            error = std::string("unclosed ") + q + " quote";
            return false;
          }
          word += line.substr(i, close + 1 - i);
          i = close + 1;
        } else {
          word += q;
          ++i;
        }
      }
      words.push_back(word);
    }
  }
  endCommand();
  return true;
}

bool StreamSource::read(const std::string&, std::string& line, bool) {
  if (!std::getline(in_, line)) return false;
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return true;
}

bool TextSource::read(const std::string&, std::string& line, bool) {
  if (done_) return false;
  done_ = true;
  line = text_;
  return true;
}

TerminalSource::TerminalSource(std::string historyFile) : historyFile_(std::move(historyFile)) {
  using_history();
  stifle_history(1000);
  if (!historyFile_.empty()) read_history(historyFile_.c_str());
}

TerminalSource::~TerminalSource() {
  clear_history();
}

bool TerminalSource::read(const std::string& prompt, std::string& line, bool remember) {
  char* typed = readline(prompt.c_str());
  if (typed == nullptr) return false;
  line = typed;
  free(typed);
  if (remember && line.find_first_not_of(" \t") != std::string::npos) {
    HIST_ENTRY* last = history_get(history_base + history_length - 1);
    if (last == nullptr || line != last->line) {
      add_history(line.c_str());
      if (!historyFile_.empty()) write_history(historyFile_.c_str());
    }
  }
  return true;
}

std::string defaultHistoryFile() {
  if (const char* file = getenv("QMDB_HISTORY")) return file;
  if (const char* home = getenv("HOME")) return std::string(home) + "/.qmdb_history";
  return "";
}

}  // namespace qmdbtool
