// Locks: a second opening of a file being edited (in any process) is refused
// with LOCKED and touches nothing; readers share; recovery locks alone.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <string>

#include "Qmdb/Qmdb"
#include "Qmencoding/QmCFile.h"
#include "support/TestSupport.h"

namespace {

using qmdb::test::crashWithJournal;
using qmdb::test::exists;
using qmdb::test::readFile;
using qmdb::test::renderChildren;
using qmdb::test::TempDir;

// "ok" for an opening that works, else its error code and message.
std::string openingOutcome(const std::string& name, QmdbFileMode mode) {
  Qmdb db(name.c_str(), mode);
  if (db.isValid()) return "ok";
  return std::string(db.errorCode() != nullptr ? db.errorCode() : "-") + ": " +
         (db.errorMessage() != nullptr ? db.errorMessage() : "-");
}

// The outcome of an opening made by a child process.
std::string openingOutcomeInChild(const std::string& name, QmdbFileMode mode) {
  int channel[2];
  if (pipe(channel) != 0) return "no pipe";
  pid_t child = fork();
  if (child == 0) {
    close(channel[0]);
    std::string outcome = openingOutcome(name, mode);
    ssize_t written = write(channel[1], outcome.data(), outcome.size());
    _exit(written == static_cast<ssize_t>(outcome.size()) ? 0 : 1);
  }
  close(channel[1]);
  std::string outcome;
  char buffer[512];
  for (ssize_t got; (got = read(channel[0], buffer, sizeof buffer)) > 0;)
    outcome.append(buffer, got);
  close(channel[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return outcome;
}

// Runs `qmdb check` on the file; its exit status and output.
std::pair<int, std::string> check(const std::string& name) {
  std::string line = std::string("'") + QMDB_TOOL_PATH + "' check '" + name + "' 2>&1";
  FILE* pipe = popen(line.c_str(), "r");
  std::string out;
  char buffer[1024];
  for (size_t got; (got = fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, got);
  int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

TEST(Locking, AnotherProcessCannotOpenAFileBeingEdited) {
  TempDir tmp;
  std::string name = tmp.file("db.qmb");
  std::string journal = name + "-journal";
  std::string locked = "LOCKED: Database file " + name + " is in use by another process";
  std::string expected;
  for (QmdbFileMode writerMode : {QmdbFileWrite, QmdbFileUpdate}) {
    SCOPED_TRACE(writerMode == QmdbFileWrite ? "writer made the file" : "writer updates it");
    {
      Qmdb writer(name.c_str(), writerMode, 1, 1024);
      ASSERT_TRUE(writer.isValid());
      long top = writerMode == QmdbFileWrite ? writer.addNode(1, "top") : writer.first(1);
      for (int i = 0; i < 40; ++i) writer.addString(top, "saved");
      writer.flush(false);
      EXPECT_FALSE(exists(journal));  // made only when saved pages are overwritten
      for (int i = 0; i < 40; ++i) writer.addString(top, "pending");
      ASSERT_TRUE(exists(journal));
      std::vector<uint8_t> fileBefore = readFile(name);
      std::vector<uint8_t> journalBefore = readFile(journal);

      for (QmdbFileMode mode : {QmdbFileRead, QmdbFileUpdate, QmdbFileWrite}) {
        EXPECT_EQ(openingOutcomeInChild(name, mode), locked) << "mode " << mode;
        EXPECT_EQ(openingOutcome(name, mode), locked) << "mode " << mode << " in this process";
      }
      std::pair<int, std::string> checked = check(name);
      EXPECT_EQ(checked.first, 1);
      EXPECT_NE(checked.second.find(locked), std::string::npos) << checked.second;
      EXPECT_EQ(readFile(name), fileBefore);
      EXPECT_EQ(readFile(journal), journalBefore);

      for (int i = 0; i < 10; ++i) writer.addString(top, "last");
      EXPECT_TRUE(writer.flush(false));
      EXPECT_TRUE(writer.isValid());
      expected = renderChildren(writer, 1);
    }
    EXPECT_FALSE(exists(journal));
    Qmdb reader(name.c_str(), QmdbFileRead);
    EXPECT_EQ(renderChildren(reader, 1), expected);
  }
  std::pair<int, std::string> checked = check(name);
  EXPECT_EQ(checked.first, 0) << checked.second;
}

TEST(Locking, ReadersShareAndAWriterWaitsForNone) {
  TempDir tmp;
  std::string name = tmp.file("db.qmb");
  std::string locked = "LOCKED: Database file " + name + " is in use by another process";
  {
    Qmdb db(name.c_str(), QmdbFileWrite);
    db.addNode(1, "a");
  }
  {
    Qmdb first(name.c_str(), QmdbFileRead);
    Qmdb second(name.c_str(), QmdbFileRead);
    ASSERT_TRUE(first.isValid());
    ASSERT_TRUE(second.isValid());
    EXPECT_EQ(openingOutcomeInChild(name, QmdbFileRead), "ok");
    EXPECT_EQ(openingOutcomeInChild(name, QmdbFileUpdate), locked);
    EXPECT_EQ(openingOutcome(name, QmdbFileWrite), locked);
    // One reader cannot become a writer while the other reads; it stays a
    // usable reader.
    EXPECT_FALSE(first.setUpdatable(true));
    EXPECT_TRUE(first.isValid());
    EXPECT_FALSE(first.isUpdatable());
    EXPECT_EQ(renderChildren(first, 1), "a");
  }
  Qmdb db(name.c_str(), QmdbFileRead);
  EXPECT_TRUE(db.setUpdatable(true));  // alone now
  EXPECT_EQ(openingOutcomeInChild(name, QmdbFileRead), locked);
  db.addNode(1, "b");
  EXPECT_TRUE(db.setUpdatable(false));  // saved, and shared again
  EXPECT_EQ(openingOutcomeInChild(name, QmdbFileRead), "ok");
  EXPECT_EQ(openingOutcome(name, QmdbFileUpdate), locked);
  EXPECT_EQ(renderChildren(db, 1), "a,b");
}

TEST(Locking, RecoveryEndsSharedAndAWriterOverACrashIsSafeAtEveryCall) {
  TempDir tmp;
  std::string name = tmp.file("db.qmb");
  std::string journal = name + "-journal";
  crashWithJournal(name, "top", 1024);
  {
    Qmdb reader(name.c_str(), QmdbFileRead);  // rolls back under an exclusive lock...
    ASSERT_TRUE(reader.isValid());
    EXPECT_EQ(openingOutcomeInChild(name, QmdbFileRead), "ok");  // ...then shares again
  }
  // Opening anew in mode 'w' over a crashed file rolls it back first: dying at
  // any call of that opening leaves the old save, the new one, or a new file
  // refused for never having been saved.
  long calls = 0;
  for (long n = 1; calls == 0 || n <= calls; ++n) {
    SCOPED_TRACE("dying at call " + std::to_string(n));
    std::string before = crashWithJournal(name, "again", 1024);
    ASSERT_TRUE(exists(journal));
    QmCFileFailAfter(calls == 0 ? LONG_MAX : n, true);
    {
      Qmdb db(name.c_str(), QmdbFileWrite);
      db.addNode(1, "new");
    }
    if (calls == 0) {
      calls = QmCFileCallCount();
      n = 0;
    }
    QmCFileFailAfter(0);
    Qmdb db(name.c_str(), QmdbFileRead);  // rolls back what is left, if anything
    EXPECT_FALSE(exists(journal));
    if (db.isValid()) {
      std::string after = renderChildren(db, 1);
      EXPECT_TRUE(after == before || after == "new") << after;
    } else {
      EXPECT_STREQ(db.errorCode(), "ILLEGALQMB");
    }
  }
  EXPECT_GT(calls, 5);
}

}  // namespace
