// The qmdb shell, driven by scripts (standard input and -c) with exact
// expected sessions, and by a terminal (a pty) for line editing and history.
#include "tools/ToolRun.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>

namespace qmdb::test {
namespace {

const char* const kGuide =
    "<guide><group n=\"1\"><species id=\"s1\"><name>Moth</name></species>"
    "<species id=\"s2\"><name>Beetle</name></species></group><group n=\"2\"/></guide>";

const char* const kGuideOutline =
    "guide\n"
    "  group n=\"1\"\n"
    "    species id=\"s1\"\n"
    "      name\n"
    "        \"Moth\"\n"
    "    species id=\"s2\"\n"
    "      name\n"
    "        \"Beetle\"\n"
    "  group n=\"2\"\n";

// A directory holding guide.qmb, made from kGuide.
struct GuideDir {
  TempDir dir;
  GuideDir() {
    writeText(dir.file("guide.xml"), kGuide);
    EXPECT_EQ(tool(dir, "import guide.xml guide.qmb").status, 0);
  }
  // Runs the shell on guide.qmb with `script` as its standard input.
  Outcome script(const std::string& text, const std::string& options = "") {
    writeText(dir.file("script.txt"), text);
    return tool(dir, "shell guide.qmb " + options + " < script.txt");
  }
  std::string outline() { return tool(dir, "tree guide.qmb --whitespace").out; }
  // The files of the directory other than the fixture's own.
  std::string others() {
    std::string names;
    for (const std::string& name : dir.list()) {
      if (name != "guide.xml" && name != "guide.qmb" && name != "script.txt") names += name + " ";
    }
    return names;
  }
};

TEST(Shell, LooksAround) {
  GuideDir guide;
  Outcome run = guide.script(
      "# looking around\n"
      "ls\n"
      "cd guide ; ls\n"
      "cd #112; pwd; attrs\n"
      "cd species/name\n"
      "cd ..; pwd; cd ..; pwd\n"
      "tree #112/species\n"
      "find .../name\n"
      "indexes; lookup ids s1\n"
      "cd #9999; cd #192/nothing\n"
      "frob\n");
  EXPECT_EQ(run.out,
            "60\tnode\tguide\tMothBeetle\n"
            "112\tnode\tgroup\tMothBeetle\n"
            "500\tnode\tgroup\t\n"
            "/guide[1]/group[1]\n"
            "n=\"1\"\n"
            "/guide[1]\n"
            "/\n"
            "species id=\"s1\"\n  name\n    \"Moth\"\n"
            "species id=\"s2\"\n  name\n    \"Beetle\"\n"
            "272\tnode\tname\tMoth\n"
            "424\tnode\tname\tBeetle\n");
  EXPECT_EQ(run.err,
            "cd: species/name finds 2 objects, not one\n"
            "lookup: no index named 'ids'\n"
            "cd: #9999 is not an object of the database\n"
            "cd: #192/nothing finds nothing\n"
            "frob: unknown command ('help' lists the commands)\n");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(guide.others(), "");

  // cat writes XML, each piece ending its line.
  run = tool(guide.dir, "shell guide.qmb -c 'cat #192; cd #112; cat species/name; cat /'");
  EXPECT_EQ(run.out,
            "<species id=\"s1\"><name>Moth</name></species>\n"
            "<name>Moth</name>\n<name>Beetle</name>\n" +
                std::string(kGuide) + "\n");
  EXPECT_EQ(run.status, 0);

  // The second group is the second of its name; the shared commands agree with the tool's.
  run =
      tool(guide.dir, "shell guide.qmb -c 'cd /guide/group/../group; cd #500; pwd; stats; check'");
  EXPECT_EQ(run.status, 1);  // the first cd finds both groups
  EXPECT_EQ(run.out, "/guide[1]/group[2]\n" + tool(guide.dir, "stats guide.qmb").out +
                         tool(guide.dir, "check guide.qmb").out);
}

TEST(Shell, EvaluatesXPath) {
  GuideDir guide;
  Outcome run = guide.script(
      "xpath count(//species) + 1\n"
      "xpath //species[@id='s2']/name; xpath //@id; xpath string(//name)\n"
      "xpath //name[. = $n] --var n=Moth; xpath 1 div 0; xpath -0 = 0; xpath //a[\n"
      "cd //species[ 2 ]; pwd; cd /guide/group[2]; pwd; cd //@id; cd //nothing; cd //a[\n"
      "find //species; find ../group\n"
      "rm //species[@id='s1']; rename kind /guide/*/species; tree /\n"
      "quit\nn\n");
  EXPECT_EQ(run.out,
            "3\n"
            "424\tnode\tname\tBeetle\n"
            "192\tattribute\tid\ts1\n"
            "356\tattribute\tid\ts2\n"
            "Moth\n"
            "272\tnode\tname\tMoth\n"
            "Infinity\n"
            "true\n"
            "/guide[1]/group[1]/species[2]\n"
            "/guide[1]/group[2]\n"
            "112\tnode\tgroup\tMothBeetle\n"
            "500\tnode\tgroup\t\n"
            "guide\n  group n=\"1\"\n    kind id=\"s2\"\n      name\n        \"Beetle\"\n"
            "  group n=\"2\"\n"
            "Save the edits to guide.qmb? (y)es, (n)o, (c)ancel: n\n");
  EXPECT_EQ(run.err,
            "xpath: expected an expression at the end at offset 4\n"
            "cd: //@id finds an attribute\n"
            "cd: //nothing finds nothing\n"
            "cd: //a[: expected an expression at the end at offset 4\n"
            "find: nothing found; //species looks like XPath, which 'xpath' evaluates\n");
  EXPECT_EQ(run.status, 1);
}

TEST(Shell, EditsAndSaves) {
  GuideDir guide;
  Outcome run = guide.script(
      "cd #192\n"
      "set-attr status rare; set-attr id S1; rm-attr id\n"
      "rename kind name; set-text \"Glimmer moth; grey\"\n"
      "cd ..; add-node species; mv species --before #192\n"
      "add-text \"  x y  \" #500; set-attr n 9 /guide/group\n"
      "cp #356 #500; rm --unwrap #500/species\n"
      "mv #500/name #112 ; rm --keep #356; mv #356 --after #192\n"
      "index ids .../species --key @id; index names .../name; drop-index names\n"
      "keys ids; lookup ids s2; lookup ids a z; indexes\n"
      "save\n");
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out,
            "kept #356 (detached)\n"
            "ids: 1 indexed, 2 skipped (no attribute id)\n"
            "names: 2 indexed, 0 skipped (no text)\n"
            "s2\n"
            "356\tnode\tspecies\tBeetle\n"
            "356\tnode\tspecies\tBeetle\n"
            "ids\t1\n");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(guide.outline(),
            "guide\n"
            "  group n=\"9\"\n"
            "    species status=\"rare\"\n"
            "      \"Glimmer moth; grey\"\n"
            "    species id=\"s2\"\n"
            "      name\n"
            "        \"Beetle\"\n"
            "    species\n"
            "    name\n"
            "      \"Beetle\"\n"
            "  group n=\"9\"\n"
            "    \"  x y  \"\n");
  EXPECT_EQ(tool(guide.dir, "indexes guide.qmb").out, "ids\t1\n");
  EXPECT_EQ(tool(guide.dir, "check guide.qmb").status, 0);
  EXPECT_EQ(guide.others(), "");

  // Refused edits report, change nothing and leave the session going.
  run = guide.script(
      "rm /; rm #9999; set-attr a b #112/species/'Glimmer moth; grey'; mv #112 #192\n"
      "cd /guide; rm-attr nope; rename x /; cp group --after /; drop-index nope\n"
      "cd group/species; rm ..\n"
      "cd #192; rm ..; pwd; quit\nn\n");
  EXPECT_EQ(run.err,
            "rm: the root cannot be removed\n"
            "rm: #9999 is not an object of the database\n"
            "set-attr: #112/species/'Glimmer moth; grey' finds nothing\n"
            "mv: #112: cannot move it into #192\n"
            "rm-attr: #60: has no attribute nope\n"
            "rename: /: has no name\n"
            "cp: / has no parent\n"
            "drop-index: no index named 'nope'\n"
            "cd: group/species finds 3 objects, not one\n"
            "rm: .. finds nothing\n");
  // Removing the current node's group leaves the shell in what is left above it.
  EXPECT_EQ(run.out, "/guide[1]\nSave the edits to guide.qmb? (y)es, (n)o, (c)ancel: n\n");
  EXPECT_EQ(run.status, 1);
}

TEST(Shell, AsksBeforeLosingEdits) {
  GuideDir guide;
  // A script that ends with unsaved edits loses them, and says so.
  Outcome run = guide.script("add-node extra guide\nls guide\n");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err,
            "qmdb shell: the unsaved edits of guide.qmb are discarded (end with 'save' to keep "
            "them)\n");
  EXPECT_EQ(guide.outline(), kGuideOutline);
  EXPECT_EQ(guide.others(), "");

  // quit asks: an unknown answer asks again, cancel stays, no discards.
  run = guide.script("rename book guide\nquit\nmaybe\nc\npwd\nquit\nn\npwd\n");
  const std::string question = "Save the edits to guide.qmb? (y)es, (n)o, (c)ancel: ";
  EXPECT_EQ(run.out, question + "maybe\n" + question + "c\n/\n" + question + "n\n");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(guide.outline(), kGuideOutline);

  // yes saves; the end of input while asking keeps the edits unsaved, so they are lost.
  run = guide.script("rename book guide\nquit\ny\n");
  EXPECT_EQ(run.out, question + "y\n");
  EXPECT_EQ(guide.outline().substr(0, 5), "book\n");
  run = guide.script("rename guide book\nquit\n");
  EXPECT_EQ(run.out, question + "\n");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(guide.outline().substr(0, 5), "book\n");

  // .open asks too, then opens a new database that appears at its first save.
  run = guide.script("rename guide book\n.open other.qmb\ny\nadd-node fresh /; save; ls\n");
  EXPECT_EQ(run.out, question + "y\n60\tnode\tfresh\t\n");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(guide.outline().substr(0, 6), "guide\n");
  EXPECT_EQ(tool(guide.dir, "tree other.qmb").out, "fresh\n");
  EXPECT_EQ(guide.others(), "other.qmb ");
}

TEST(Shell, ScriptsBailAndExitStatus) {
  GuideDir guide;
  Outcome run = tool(guide.dir, "shell guide.qmb -c 'pwd; frob; cd guide; pwd'");
  EXPECT_EQ(run.out, "/\n/guide[1]\n");
  EXPECT_EQ(run.status, 1);
  run = tool(guide.dir, "shell guide.qmb --bail -c 'pwd; frob; cd guide; pwd'");
  EXPECT_EQ(run.out, "/\n");
  EXPECT_EQ(run.err, "frob: unknown command ('help' lists the commands)\n");
  EXPECT_EQ(run.status, 1);
  run = guide.script("pwd\nadd-node \"oops\nadd-node x guide\nsave\n", "--bail");
  EXPECT_EQ(run.err, "qmdb shell: unclosed \" quote\n");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(guide.outline(), kGuideOutline);
  EXPECT_EQ(tool(guide.dir, "shell guide.qmb -c 'pwd; cd guide; pwd'").status, 0);

  // Without a database, commands say how to get one.
  run = tool(guide.dir, "shell -c 'ls; .open guide.qmb; ls guide'");
  EXPECT_EQ(run.err, "ls: no database is open (use .open FILE)\n");
  EXPECT_EQ(run.out, "112\tnode\tgroup\tMothBeetle\n500\tnode\tgroup\t\n");
  EXPECT_EQ(run.status, 1);

  writeText(guide.dir.file("junk.qmb"), "not a database");
  EXPECT_EQ(tool(guide.dir, "shell junk.qmb -c pwd").status, 1);

  // Quoting: single quotes are literal, double quotes know \", \n and \t.
  run = tool(guide.dir,
             "shell new.qmb -c 'add-node doc /; add-text \"a;  b\\n\" doc; "
             "set-attr k \"x\\\"y\" doc; set-attr j '\\''\\n'\\'' doc; attrs doc; save'");
  EXPECT_EQ(run.out, "k=\"x\"y\"\nj=\"\\n\"\n");
  EXPECT_EQ(tool(guide.dir, "tree new.qmb").out, "doc k=\"x\"y\" j=\"\\n\"\n  \"a;  b\\n\"\n");

  // The timer reports each command's time; help lists and explains the commands.
  // (".timer on" is timed itself, ".timer off" is not.)
  run = tool(guide.dir, "shell guide.qmb -c '.timer on; pwd; .timer off; pwd'");
  EXPECT_EQ(withoutDigits(run.out), "time . ms\n/\ntime . ms\n/\n");
  run = tool(guide.dir, "shell -c 'help; help rm; mv --help'");
  EXPECT_NE(run.out.find("  set-attr NAME VALUE [TARGET]\n"), std::string::npos);
  EXPECT_NE(run.out.find("usage: rm TARGET [--keep] [--unwrap]\n\nDrops each"), std::string::npos);
  EXPECT_NE(run.out.find("usage: mv TARGET (DEST"), std::string::npos);
}

// A program running on a pty: what is typed goes in, what it shows comes out.
class Terminal {
 public:
  Terminal(const TempDir& dir, const std::string& command) {
    pid_ = forkpty(&fd_, nullptr, nullptr, nullptr);
    if (pid_ == 0) {
      if (chdir(dir.path().c_str()) != 0) _exit(127);
      setenv("TERM", "xterm", 1);
      setenv("QMDB_HISTORY", dir.file("history").c_str(), 1);
      setenv("ASAN_OPTIONS", "exitcode=86", 1);
      execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
  }
  ~Terminal() {
    if (pid_ > 0 && status_ < 0) kill(pid_, SIGKILL), waitpid(pid_, nullptr, 0);
    if (fd_ >= 0) close(fd_);
  }
  void type(const std::string& keys) {
    ASSERT_EQ(write(fd_, keys.data(), keys.size()), (ssize_t)keys.size());
  }
  // Reads until the output holds `text` `times` times in all; false after 10 s without.
  bool waitFor(const std::string& text, int times = 1) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (count(text) < times) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      pollfd p{fd_, POLLIN, 0};
      if (poll(&p, 1, 100) <= 0) continue;
      char buffer[4096];
      ssize_t got = read(fd_, buffer, sizeof buffer);
      if (got <= 0) return count(text) >= times;
      shown_.append(buffer, static_cast<size_t>(got));
    }
    return true;
  }
  int count(const std::string& text) const {
    int n = 0;
    for (size_t at = shown_.find(text); at != std::string::npos; at = shown_.find(text, at + 1))
      ++n;
    return n;
  }
  int wait() {
    int status = 0;
    waitpid(pid_, &status, 0);
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128;
    return status_;
  }
  const std::string& shown() const { return shown_; }

 private:
  pid_t pid_ = -1;
  int fd_ = -1;
  int status_ = -1;
  std::string shown_;
};

TEST(Shell, EditsLinesAndKeepsHistoryOnATerminal) {
  GuideDir guide;
  const std::string listing = "500\tnode\tgroup";
  {
    Terminal terminal(guide.dir, quote(QMDB_TOOL_PATH) + " shell guide.qmb");
    ASSERT_TRUE(terminal.waitFor("guide.qmb:/> ")) << terminal.shown();
    terminal.type("cd guide\r");
    ASSERT_TRUE(terminal.waitFor("guide.qmb:/guide[1]> ")) << terminal.shown();
    terminal.type("lX\x7fs\r");  // a typing mistake, rubbed out
    ASSERT_TRUE(terminal.waitFor(listing, 1)) << terminal.shown();
    terminal.type("s\x01l\r");  // Ctrl-A goes to the start of the line
    ASSERT_TRUE(terminal.waitFor(listing, 2)) << terminal.shown();
    terminal.type("\x1b[A\r");  // the up arrow brings "ls" back
    ASSERT_TRUE(terminal.waitFor(listing, 3)) << terminal.shown();
    terminal.type("rename book\r");
    ASSERT_TRUE(terminal.waitFor("guide.qmb*:/book[1]> ")) << terminal.shown();
    // Ctrl-D asks about the edits; wait for the editor, or line mode reads an empty line.
    usleep(300 * 1000);
    terminal.type("\x04");
    ASSERT_TRUE(terminal.waitFor("(c)ancel: ")) << terminal.shown();
    terminal.type("n\r");
    EXPECT_EQ(terminal.wait(), 0) << terminal.shown();
  }
  EXPECT_EQ(guide.outline(), kGuideOutline);
  {
    // The history of the last session is there in the next one.
    Terminal terminal(guide.dir, quote(QMDB_TOOL_PATH) + " shell guide.qmb");
    ASSERT_TRUE(terminal.waitFor("guide.qmb:/> ")) << terminal.shown();
    terminal.type("\x1b[A\x1b[A\x1b[A\r");  // rename, ls, cd guide: answers are not kept
    ASSERT_TRUE(terminal.waitFor("guide.qmb:/guide[1]> ")) << terminal.shown();
    terminal.type("quit\r");
    EXPECT_EQ(terminal.wait(), 0) << terminal.shown();
  }
  {
    // Ctrl-C ends the session; the working copy of its edits goes with it.
    Terminal terminal(guide.dir, quote(QMDB_TOOL_PATH) + " shell guide.qmb");
    terminal.type("add-node x /\r");
    ASSERT_TRUE(terminal.waitFor("guide.qmb*:/> ")) << terminal.shown();
    EXPECT_NE(guide.others().find("guide.qmb.shell-"), std::string::npos);
    usleep(300 * 1000);
    terminal.type("\x03");
    EXPECT_EQ(terminal.wait(), 128) << terminal.shown();
  }
  EXPECT_EQ(guide.others(), "history ");
  EXPECT_EQ(guide.outline(), kGuideOutline);
}

}  // namespace
}  // namespace qmdb::test
