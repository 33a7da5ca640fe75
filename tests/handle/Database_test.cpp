// The database handle: opening, the file it leaves, saving, updatability, clearing,
// reference counts, hooks and the error state.
#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "Qmdb/Qmdb"
#include "Qmdb/handle/Internal.h"
#include "Qmdb/store/PageCache.h"
#include "Qmencoding/QmCFile.h"
#include "support/TestSupport.h"

namespace {

using qmdb::handle::Internal;
using qmdb::test::readFile;
using qmdb::test::ScopedEnv;
using qmdb::test::TempDir;
using qmdb::test::word;
using qmdb::test::writeFile;

class DatabaseTest : public ::testing::Test {
 protected:
  TempDir tmp;
  ScopedEnv tmpdir{"TMPDIR", tmp.path().c_str()};
  ScopedEnv pages{"QMPAGES", nullptr};
  ScopedEnv pageSize{"QMPAGESIZE", nullptr};

  std::vector<uint8_t> emptyDatabaseBytes(int32_t size) {
    std::string name = tmp.file("empty.qmb");
    { Qmdb db(name.c_str(), QmdbFileWrite, 0, size); }
    return readFile(name);
  }
  // Expects `db` to have failed with `code` and `message`.
  static void expectFailed(Qmdb& db, const char* code, const std::string& message) {
    EXPECT_FALSE(db.isValid());
    ASSERT_NE(db.errorCode(), nullptr);
    EXPECT_STREQ(db.errorCode(), code);
    EXPECT_EQ(std::string(db.errorMessage()), message);
    EXPECT_FALSE(db.clearError());
  }
};

TEST_F(DatabaseTest, NewNamedDatabaseLeavesTheSixtyByteFile) {
  std::vector<uint8_t> bytes = emptyDatabaseBytes(4096);
  ASSERT_EQ(bytes.size(), 60u);
  EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), "\xFFQMB");
  // page size, heap top, first index, version; zeros up to the root record's end
  EXPECT_EQ(qmdb::test::words(bytes, 4, 14), "4096 60 0 5 0 0 0 0 0 0 0 0 0 0");

  ScopedEnv other("QMPAGESIZE", "8192");
  Qmdb db(tmp.file("empty.qmb").c_str(), QmdbFileRead);
  EXPECT_TRUE(db.isValid());
  EXPECT_FALSE(db.isUpdatable());
  EXPECT_EQ(db.getSize(), 60);
  EXPECT_EQ(db.getPageSize(), 4096);
  EXPECT_EQ(db.errorCode(), nullptr);
  EXPECT_FALSE(db.clear());
}

TEST_F(DatabaseTest, EveryOpenFailureHasItsCodeAndMessage) {
  std::string missing = tmp.file("missing.qmb");
  std::string nowhere = tmp.file("no/such/dir.qmb");
  {
    Qmdb db(missing.c_str(), QmdbFileRead);
    expectFailed(db, "NOFILEOPEN", "Could not open file " + missing);
    EXPECT_EQ(db.getSize(), 0);
    EXPECT_EQ(db.getName(), nullptr);
    // The coding stack works even here; popping an empty stack is harmless.
    EXPECT_FALSE(db.pushCoding("no-such-coding"));
    EXPECT_TRUE(db.pushCoding("LATIN1") && db.pushTransparentCoding());
    EXPECT_TRUE(db.popCoding() && db.popCoding() && db.popCoding());
  }
  Qmdb update(missing.c_str(), QmdbFileUpdate);
  expectFailed(update, "NOFILEWRITE", "Could not open output file '" + missing + "' for updating");
  Qmdb write(nowhere.c_str(), QmdbFileWrite);
  expectFailed(write, "NOFILEWRITE", "Could not open output file '" + nowhere + "' for writing");

  std::vector<uint8_t> good = emptyDatabaseBytes(1024);
  struct Damage {
    const char* what;
    size_t offset;  // of a word set to `value`, or where the file is cut
    int32_t value;
    const char* code;
    const char* message;
  };
  const Damage damages[] = {
      {"magic", 0, 0x424d51fe, "ILLEGALQMB", "Cannot load illegal QMB file: "},
      {"version", 16, 4, "OLDVERSION", "Cannot load outdated QMB file: "},
      {"page size", 4, 0, "INCOMPLETEFILE", "Cannot load incomplete QMB file: "},
      {"small page", 4, 59, "INCOMPLETEFILE", "Cannot load incomplete QMB file: "},
      {"heap top", 8, 39, "INCOMPLETEFILE", "Cannot load incomplete QMB file: "},
      {"cut header", 39, -1, "ILLEGALQMB", "Cannot load illegal QMB file: "},
  };
  std::string bad = tmp.file("bad.qmb");
  for (const Damage& d : damages) {
    SCOPED_TRACE(d.what);
    std::vector<uint8_t> bytes = good;
    if (d.value == -1) bytes.resize(d.offset);
    for (int i = 0; i < 4 && d.value != -1; ++i) bytes[d.offset + i] = d.value >> (8 * i);
    writeFile(bad, bytes);
    Qmdb db(bad.c_str(), d.value == -1 ? QmdbFileRead : QmdbFileUpdate);
    expectFailed(db, d.code, d.message + bad);
  }
  // Cut short of its heap top: it opens, and the first read of the page fails for good.
  writeFile(bad, std::vector<uint8_t>(good.begin(), good.begin() + 50));
  Qmdb db(bad.c_str(), QmdbFileRead);
  ASSERT_TRUE(db.isValid());
  EXPECT_EQ(db.getSize(), 60);
  EXPECT_EQ(db.first(1), 0);
  expectFailed(db, "NOFILEREAD", "Could not fread page 0");
}

TEST_F(DatabaseTest, ModesWithoutANameAndUnknownModes) {
  Qmdb store;
  EXPECT_TRUE(store.isValid());
  EXPECT_TRUE(store.isUpdatable());
  EXPECT_EQ(store.getSize(), 60);
  EXPECT_EQ(store.getName(), nullptr);
  EXPECT_EQ(store.getRef(), 1);
  for (QmdbFileMode mode : {QmdbFileRead, QmdbFileUpdate}) {
    Qmdb db(nullptr, mode, 0, 0);
    EXPECT_FALSE(db.isValid());
    EXPECT_EQ(db.errorCode(), nullptr);
  }
  emptyDatabaseBytes(1024);
  Qmdb db(tmp.file("empty.qmb").c_str(), static_cast<QmdbFileMode>(7), 0, 0);
  EXPECT_TRUE(db.isValid());
  EXPECT_FALSE(db.isUpdatable());
}

TEST_F(DatabaseTest, SpillingStoreMakesOneTemporaryFileAndRemovesIt) {
  {
    Qmdb db(nullptr, QmdbFileWrite, 2, 1024);
    long top = db.addNode(1, "top");
    for (int i = 0; i < 20; ++i) db.addString(top, "fits in two pages");
    EXPECT_TRUE(tmp.list().empty());
    EXPECT_EQ(db.getName(), nullptr);
    for (int i = 0; i < 200; ++i) db.addString(top, "spills to a third page and more");
    ASSERT_EQ(tmp.list().size(), 1u);
    ASSERT_NE(db.getName(), nullptr);
    EXPECT_EQ(std::string(db.getName()), tmp.file(tmp.list()[0]));
    EXPECT_EQ(tmp.list()[0].rfind("qmb_", 0), 0u);
    EXPECT_EQ(db.count(top, QmdbSiblings), 220);
    EXPECT_TRUE(db.clear());
    EXPECT_TRUE(tmp.list().empty());
    EXPECT_EQ(db.getSize(), 60);
    EXPECT_EQ(db.first(1), 0);
  }
  EXPECT_TRUE(tmp.list().empty());
}

TEST_F(DatabaseTest, SaveShrinkUpdatabilityAndChangedFlag) {
  std::string name = tmp.file("db.qmb");
  Qmdb db(name.c_str(), QmdbFileWrite, 8, 1024);
  EXPECT_FALSE(db.hasChanged());
  long top = db.addNode(1, "top");
  EXPECT_TRUE(db.hasChanged());
  EXPECT_FALSE(db.hasChanged());
  for (int i = 0; i < 300; ++i) db.addString(top, "a text of some length");
  EXPECT_EQ(Internal::store(db)->frameCount, 8);
  EXPECT_TRUE(db.flush(true));
  EXPECT_EQ(Internal::store(db)->frameCount, 2);
  EXPECT_EQ(readFile(name).size(), static_cast<size_t>(db.getSize()));

  db.hasChanged();
  EXPECT_TRUE(db.setUpdatable(false));
  EXPECT_FALSE(db.isUpdatable());
  EXPECT_EQ(db.addString(top, "refused"), 0);
  EXPECT_FALSE(db.hasChanged());
  EXPECT_TRUE(db.setUpdatable(true));
  EXPECT_NE(db.addString(top, "accepted"), 0);
  EXPECT_EQ(db.count(top, QmdbSiblings), 301);
  long size = db.getSize();
  EXPECT_TRUE(db.setUpdatable(false));  // saves; readers may come in now

  Qmdb again(name.c_str(), QmdbFileRead);
  EXPECT_EQ(again.getSize(), size);
  EXPECT_EQ(again.count(again.first(1), QmdbSiblings), 301);
  EXPECT_STREQ(again.getValue(again.last(again.first(1))), "accepted");
}

// The file calls `step` makes (closing and locks are not counted).
template <typename Step>
long fileCallsOf(Step step) {
  QmCFileFailAfter(LONG_MAX);  // armed but never reached: counts the calls
  step();
  long calls = QmCFileCallCount();
  QmCFileFailAfter(0);
  return calls;
}

TEST_F(DatabaseTest, ASaveWithNothingNewTouchesNoFile) {
  std::string name = tmp.file("db.qmb");
  auto db = std::make_unique<Qmdb>(name.c_str(), QmdbFileWrite, 3, 1024);
  long top = db->addNode(1, "top");
  long first = db->addNode(top, "first");
  long second = db->addNode(top, "second");
  for (int i = 0; i < 100; ++i) db->addString(top, "a text of some length");
  EXPECT_GT(fileCallsOf([&] { db->flush(false); }), 0);
  const std::vector<uint8_t> saved = readFile(name);
  EXPECT_EQ(fileCallsOf([&] { db->flush(false); }), 0);
  EXPECT_EQ(fileCallsOf([&] { EXPECT_TRUE(db->setUpdatable(false)); }), 0);
  EXPECT_TRUE(db->setUpdatable(true));

  // A saved page changed in its frame: the heap and the header stay as saved.
  db->removeTree(first);
  EXPECT_GT(fileCallsOf([&] { db->flush(false); }), 0);
  EXPECT_EQ(fileCallsOf([&] { db->flush(false); }), 0);

  // A saved page changed, then evicted: no frame is dirty, yet the save must run.
  db->removeTree(second);
  for (long p = db->first(top); p != 0; p = db->next(p, QmdbSiblings)) db->getValue(p);
  EXPECT_TRUE(qmdb::test::exists(name + "-journal"));
  EXPECT_GT(fileCallsOf([&] { db->flush(false); }), 0);
  EXPECT_FALSE(qmdb::test::exists(name + "-journal"));  // the save completed

  // Pages written past the saved heap top while no frame stays dirty.
  db->addString(top, "grown");
  qmdb::store::writeAllDirty(*Internal::store(*db));
  EXPECT_GT(fileCallsOf([&] { db->flush(false); }), 0);

  // Dropping the one index changes only the header: with no frame dirty it is still saved.
  EXPECT_NE(db->addIndex("keys"), 0);
  db->flush(false);
  EXPECT_TRUE(db->dropIndex("keys"));
  for (auto* f = Internal::store(*db)->head; f != nullptr; f = f->next) f->dirty = false;
  db->flush(false);
  const std::vector<uint8_t> last = readFile(name);
  EXPECT_NE(last, saved);
  EXPECT_EQ(fileCallsOf([&] { db.reset(); }), 0);  // close after a flush
  EXPECT_EQ(readFile(name), last);

  {
    Qmdb again(name.c_str(), QmdbFileUpdate);
    EXPECT_EQ(again.count(again.first(1), QmdbSiblings), 101);
    EXPECT_EQ(again.objectType(again.first(again.first(1))), QmdbString);
    EXPECT_STREQ(again.getValue(again.last(again.first(1))), "grown");
    EXPECT_EQ(again.index("keys"), 0);
    EXPECT_EQ(fileCallsOf([&] { again.flush(false); }), 0);
    again.addNode(1, "second");
  }  // the closing save writes the change
  Qmdb reread(name.c_str(), QmdbFileRead);
  EXPECT_STREQ(reread.getId(reread.last(1)), "second");
}

// Counts the directory syncs of this thread's file calls.
thread_local int directorySyncs = 0;
int countingSyncDirectory(const char* name) {
  ++directorySyncs;
  return QmCFileSystemLayer()->syncDirectory(name);
}

TEST_F(DatabaseTest, WriteModeSyncsTheDirectoryOnlyForANewName) {
  QmCFileLayer counting = *QmCFileSystemLayer();
  counting.syncDirectory = countingSyncDirectory;
  const QmCFileLayer* before = QmCFileUseLayer(&counting);
  std::string name = tmp.file("db.qmb");
  directorySyncs = 0;
  { Qmdb db(name.c_str(), QmdbFileWrite, 0, 1024); }
  EXPECT_EQ(directorySyncs, 1);  // the new name is made durable
  directorySyncs = 0;
  {
    Qmdb db(name.c_str(), QmdbFileWrite, 0, 1024);  // emptied: the directory is as it was
    db.addNode(1, "again");
  }
  EXPECT_EQ(directorySyncs, 0);
  QmCFileUseLayer(before);
  Qmdb reread(name.c_str(), QmdbFileRead);
  EXPECT_STREQ(reread.getId(reread.first(1)), "again");
}

TEST_F(DatabaseTest, FailingDiskIsReportedAndMakesTheDatabaseUnusable) {
  FILE* errors = tmpfile();
  ASSERT_NE(errors, nullptr);
  {
    Qmdb db("/dev/full", QmdbFileWrite, 1, 65536);
    ASSERT_TRUE(db.isValid());
    db.errorTo(errors);
    long top = db.addNode(1, "top");
    std::string text(1000, 't');
    long made = 0;
    for (int i = 0; i < 200 && db.isValid(); ++i) made += db.addString(top, text.c_str()) != 0;
    EXPECT_LT(made, 200);
    EXPECT_FALSE(db.isValid());
    EXPECT_STREQ(db.errorCode(), "NOFILEWRITE");
    EXPECT_STREQ(db.errorMessage(), "Could not fwrite page 0 (disk full?)");
    EXPECT_EQ(db.addNode(1, "more"), 0);
    EXPECT_FALSE(db.flush(false));
  }
  rewind(errors);
  char printed[256] = {0};
  size_t got = fread(printed, 1, sizeof printed - 1, errors);
  fclose(errors);
  EXPECT_EQ(std::string(printed, got),
            "Qmx-FATAL ERROR (NOFILEWRITE):\nCould not fwrite page 0 (disk full?)");
}

TEST_F(DatabaseTest, ErrorStateWarningsAndTracing) {
  ScopedEnv bad("QMPAGES", "x");
  Qmdb db;
  EXPECT_TRUE(db.isValid());
  EXPECT_STREQ(db.errorCode(), "ILLEGALVALUE");
  EXPECT_STREQ(db.errorMessage(), "QMPAGES=x is invalid (should be a number), using default (8)");
  db.traceTo(stderr);
  db.traceOn(3);
  db.traceOff();
  EXPECT_TRUE(db.clearError());
  EXPECT_EQ(db.errorCode(), nullptr);
  EXPECT_EQ(db.errorMessage(), nullptr);
  EXPECT_STREQ(Qmdb::apiVersion(), "3.2d");
  EXPECT_EQ(strlen(Qmdb::compileDate()), 11u);
}

TEST_F(DatabaseTest, ReferenceCountingDestroysOnTheLastRelease) {
  std::string name = tmp.file("ref.qmb");
  Qmdb* db = new Qmdb(name.c_str(), QmdbFileWrite);
  db->addNode(1, "kept");
  db->addRef();
  EXPECT_EQ(db->getRef(), 2);
  db->release();
  EXPECT_EQ(db->getRef(), 1);
  db->release();  // destroys and saves
  Qmdb again(name.c_str(), QmdbFileRead);
  EXPECT_STREQ(again.getGid(again.first(1)), "kept");
}

// The hooked names, each followed by a space; frees what namesHooked gives.
std::string hooked(Qmdb& db) {
  char** names = db.namesHooked();
  std::string listed;
  for (char** n = names; *n != nullptr; ++n) {
    listed += std::string(*n) + " ";
    free(*n);
  }
  free(names);
  return listed;
}

TEST_F(DatabaseTest, HooksKeepGroupOrderAndCallDestroyProcedures) {
  std::string log = tmp.file("hooks.log");
  ScopedEnv logEnv("QMDB_HOOK_LOG", log.c_str());
  static char lib[] = QMDB_TEST_HOOKLIB;
  static char destroyText[] = "destroyText";
  static char missing[] = "noSuchProcedure";
  char data1[] = "one", data2[] = "two", data3[] = "three";
  {
    Qmdb db;
    int p = 0;
    int q = 0;
    char b1[] = "b1", a[] = "a", b0[] = "b0", a2[] = "a2", x[] = "x", X[] = "X";
    db.addHook(&p, b1, nullptr, nullptr);
    db.addHook(data1, a, lib, destroyText);
    db.addHook(data2, b0, lib, destroyText);
    db.addHook(&q, a2, nullptr, nullptr);
    db.addHook(&q, b1, nullptr, nullptr);  // an existing name keeps its hook
    EXPECT_EQ(hooked(db), "a a2 b1 b0 ");
    EXPECT_EQ(db.getHook(b1), &p);
    db.addHook(&p, x, nullptr, nullptr);
    EXPECT_EQ(db.getHook(X), nullptr);
    db.getHook(x) = &q;
    EXPECT_EQ(db.getHook(x), &q);
    EXPECT_EQ(db.removeHook(x), &q);
    EXPECT_EQ(db.removeHook(x), nullptr);
    db.deleteHook(b0);  // calls destroyText("two") once
    EXPECT_TRUE(db.setOdbcInfo(data3, nullptr, nullptr));
    EXPECT_EQ(db.getOdbcInfo(), data3);
    EXPECT_TRUE(db.isValid());
  }  // closing destroys "a" with destroyText("one")
  std::vector<uint8_t> calls = readFile(log);
  EXPECT_EQ(std::string(calls.begin(), calls.end()), "destroyText two\ndestroyText one\n");

  Qmdb db;
  char h[] = "h";
  char nolib[] = "/no/such/library.so";
  db.addHook(data1, h, nolib, destroyText);
  db.deleteHook(h);
  EXPECT_FALSE(db.isValid());
  EXPECT_STREQ(db.errorCode(), "NOHOOKDESTROYMETHOD");
  EXPECT_STREQ(db.errorMessage(),
               "External library not found (library /no/such/library.so, procedure destroyText)");
  db.addHook(data1, h, lib, missing);
  EXPECT_EQ(hooked(db), "h ");
  db.deleteHook(h);
  EXPECT_STREQ(db.errorCode(), "NODESTROYMETHOD");
  EXPECT_FALSE(db.setOdbcInfo(data1, nullptr, nullptr));
  EXPECT_EQ(db.getOdbcInfo(), nullptr);
}

}  // namespace
