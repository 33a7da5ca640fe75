// Every file call of a session fails in turn: each failure is reported and
// leaves the database unusable, and the file left behind holds the last
// completed save or is refused with a clear error.
#include <fnmatch.h>
#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <string>

#include "Qmdb/Qmdb"
#include "Qmencoding/QmCFile.h"
#include "support/TestSupport.h"

namespace {

using qmdb::test::renderChildren;
using qmdb::test::ScopedEnv;
using qmdb::test::TempDir;

// Whether a failing file operation may leave this report.
bool expectedReport(const std::string& code, const std::string& message) {
  // The one silent failure: the first seek of an open, before anything was read.
  if (code.empty()) return message.empty();
  const char* output = "Could not open output file '*' for ";
  const std::multimap<std::string, std::string> patterns = {
      {"NOFILEWRITE", std::string(output) + "writing"},
      {"NOFILEWRITE", std::string(output) + "updating"},
      {"NOFILEWRITE", "Could not fwrite page * (disk full\\?)"},
      {"NOFILEOPEN", std::string(output) + "writing"},
      {"NOFILEOPEN", std::string(output) + "updating"},
      {"NOFILEOPEN", "Could not open file *"},
      {"NOFILESEEK", "Could not fseek page * for writing"},
      {"NOFILESEEK", "Could not fseek page * for reading"},
      {"NOFILEREAD", "Could not fread page *"},
      {"ILLEGALQMB", "Cannot load illegal QMB file: *"},
      {"INCOMPLETEFILE", "Cannot load incomplete QMB file: *"}};
  auto [from, to] = patterns.equal_range(code);
  for (auto p = from; p != to; ++p) {
    if (fnmatch(p->second.c_str(), message.c_str(), 0) == 0) return true;
  }
  return false;
}

struct Outcome {
  bool failed = false;  // some operation reported a failure
  std::string code;
  std::string message;
  bool whileReading = false;  // it came after the file was completely saved
  bool saved = false;         // some save completed
  std::string lastSaved;      // the tree as the last completed save left it
  std::string reread;         // the tree read back at the end of the session
};

// Notes the first failure of `db`, checking that it is a reported file failure.
void observe(Qmdb& db, Outcome& outcome, bool reading = false) {
  if (db.isValid() || outcome.failed) return;
  outcome.failed = true;
  outcome.whileReading = reading;
  outcome.code = db.errorCode() != nullptr ? db.errorCode() : "";
  outcome.message = db.errorMessage() != nullptr ? db.errorMessage() : "";
}

// Saves and, when the save went through, notes that the file now holds `content`.
void save(Qmdb& db, Outcome& outcome, const std::string& content) {
  db.flush(false);
  observe(db, outcome);
  if (db.isValid()) {
    outcome.saved = true;
    outcome.lastSaved = content;
  }
}

// Builds past a cache of two small frames, saves, builds on, closes (saving),
// reopens read-only and reads everything back.
Outcome session(const std::string& path) {
  Outcome outcome;
  {
    Qmdb db(path.c_str(), QmdbFileWrite, 2, 1024);
    observe(db, outcome);
    long top = db.addNode(1, "top");
    std::string content = "top(";
    for (int i = 0; i < 60; ++i) {
      std::string text = "text of item " + std::to_string(i);
      long item = db.addNode(top, "item");
      db.addString(item, text.c_str());
      observe(db, outcome);
      content += (i > 0 ? ",item('" : "item('") + text + "')";
    }
    save(db, outcome, content + ")");
    for (int i = 0; i < 40; ++i) {
      db.addString(top, "more");
      content += ",'more'";
    }
    save(db, outcome, content + ")");
  }  // the closing save rewrites the header; its failure has no one to tell
  Qmdb db(path.c_str(), QmdbFileRead, 2, 0);
  observe(db, outcome, true);
  outcome.reread = renderChildren(db, 1);
  observe(db, outcome, true);
  return outcome;
}

TEST(IoFaults, EveryFailingCallIsReportedAndLeavesAReadableOrRefusedFile) {
  TempDir tmp;
  ScopedEnv tmpdir("TMPDIR", tmp.path().c_str());
  QmCFileFailAfter(LONG_MAX);  // armed but never reached: counts the calls
  Outcome clean = session(tmp.file("clean.qmb"));
  long calls = QmCFileCallCount();
  QmCFileFailAfter(0);
  ASSERT_FALSE(clean.failed);
  ASSERT_GT(calls, 20);

  int opened = 0;
  int refused = 0;
  for (long n = 1; n <= calls; ++n) {
    SCOPED_TRACE("failing call " + std::to_string(n));
    std::string path = tmp.file("db" + std::to_string(n) + ".qmb");
    QmCFileFailAfter(n);
    Outcome faulty = session(path);
    QmCFileFailAfter(0);
    if (!faulty.failed) {
      // Only the closing save failed, after everything had been saved once.
      EXPECT_EQ(faulty.reread, clean.reread);
      continue;
    }
    EXPECT_TRUE(expectedReport(faulty.code, faulty.message))
        << faulty.code << ": " << faulty.message;

    Qmdb after(path.c_str(), QmdbFileRead, 2, 0);
    if (!after.isValid()) {
      ++refused;
      ASSERT_NE(after.errorCode(), nullptr);
      EXPECT_TRUE(expectedReport(after.errorCode(), after.errorMessage()))
          << after.errorCode() << ": " << after.errorMessage();
      continue;
    }
    ++opened;
    // A save is all or nothing: the file holds exactly what the last completed
    // save wrote, however the session was cut short.
    ASSERT_TRUE(faulty.saved);
    EXPECT_EQ(renderChildren(after, 1), faulty.whileReading ? clean.reread : faulty.lastSaved);
  }
  EXPECT_GT(opened, 0);
  EXPECT_GT(refused, 0);
}

}  // namespace
