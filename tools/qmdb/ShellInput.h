// Where the shell's commands come from, and how a line becomes commands.
// A line holds commands separated by ';'; a command is words separated by
// blanks. A word that begins with a quote is quoted: '...' literally, "..."
// with the escapes \n \t \" and \\. A quote inside a word is kept, with what
// it encloses, as written, so that XPath such as //a[@id='x y'] stays one
// word. A line whose first non-blank character is '#' is a comment.
#ifndef QMDB_TOOLS_QMDB_SHELLINPUT_H
#define QMDB_TOOLS_QMDB_SHELLINPUT_H

#include <istream>
#include <string>
#include <vector>

namespace qmdbtool {

/// One command: its name and arguments.
using Words = std::vector<std::string>;

/// The commands of `line`, empty ones left out; false with `error` set when a
/// quote is not closed.
bool splitCommands(const std::string& line, std::vector<Words>& commands, std::string& error);

/// A source of input lines.
class LineSource {
 public:
  virtual ~LineSource() = default;
  /// Reads the next line (without its newline) after showing `prompt` where
  /// the source shows prompts, keeping it in the history when `remember`;
  /// false at the end of the input.
  virtual bool read(const std::string& prompt, std::string& line, bool remember) = 0;
  /// True when a person is typing (prompts, questions and history apply).
  virtual bool interactive() const = 0;
};

/// Lines of a stream (a script, or standard input that is not a terminal).
class StreamSource : public LineSource {
 public:
  /// Reads from `in`, which the caller keeps alive.
  explicit StreamSource(std::istream& in) : in_(in) {}
  bool read(const std::string& prompt, std::string& line, bool remember) override;
  bool interactive() const override { return false; }

 private:
  std::istream& in_;
};

/// The commands of one "-c" argument, then the end of input.
class TextSource : public LineSource {
 public:
  /// A source whose only line is `text`.
  explicit TextSource(std::string text) : text_(std::move(text)) {}
  bool read(const std::string& prompt, std::string& line, bool remember) override;
  bool interactive() const override { return false; }

 private:
  std::string text_;
  bool done_ = false;
};

/// A terminal, read with line editing; the history is kept in the file
/// `historyFile` ("" keeps none) between sessions.
class TerminalSource : public LineSource {
 public:
  /// Starts line editing and loads the history file, if any.
  explicit TerminalSource(std::string historyFile);
  /// Forgets the history in memory (the file keeps it).
  ~TerminalSource() override;
  TerminalSource(const TerminalSource&) = delete;
  TerminalSource& operator=(const TerminalSource&) = delete;
  bool read(const std::string& prompt, std::string& line, bool remember) override;
  bool interactive() const override { return true; }

 private:
  std::string historyFile_;
};

/// The history file of the interactive shell: $QMDB_HISTORY, else
/// $HOME/.qmdb_history, else "".
std::string defaultHistoryFile();

}  // namespace qmdbtool

#endif
