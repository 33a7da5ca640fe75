// Every allocation of a session (build, edit in a coding and through the flat
// interface, copy from a scratch database, search, index, flush, edit, close)
// fails in turn, once and from then on. Nothing may throw or abort; a database
// usable before its close reopens exactly as it held, one whose close went
// wrong holds its last flushed state or the newer one. The session allocates
// nothing of its own while the seam (FailingNew.cpp covers operator new) is armed.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "Qmdb/Qmdb"
#include "Qmdb/qmdb.h"
#include "Qmdb/store/Allocation.h"
#include "support/TestSupport.h"

namespace {

using qmdb::store::allocationsCounted;
using qmdb::store::failAllocationAfter;

// Arms the seam for one run: allocation `at` fails (and, when sticky, every
// later one); 0 only counts. A pause keeps the count while the test looks.
class Trigger {
 public:
  Trigger(long at, bool sticky) : at_(at), sticky_(sticky) {}
  void arm() {
    if (at_ > used_) {
      failAllocationAfter(at_ - used_, sticky_);
    } else if (at_ != 0 && sticky_) {
      failAllocationAfter(1, true);
    } else {
      failAllocationAfter(LONG_MAX);  // count on, fail nothing
    }
  }
  void pause() {
    used_ += allocationsCounted();
    failAllocationAfter(0);
  }
  long used() const { return used_; }

 private:
  const long at_;
  const bool sticky_;
  long used_ = 0;
};

// Copies a library text while the seam is paused.
std::string text(const char* t) {
  return t != nullptr ? t : "-";
}

// What a caller can see: every object in document order with its kind, names,
// value, notation and attributes, then every index with its keys and entries.
std::string digest(Qmdb& db) {
  std::string out;
  for (long p = db.next(1, QmdbTree); p != 0; p = db.next(p, QmdbTree)) {
    if (p < 0) {
      out += ")";
      continue;
    }
    out += "[" + std::to_string(db.objectType(p)) + " " + text(db.getGid(p)) + " " +
           text(db.getId(p)) + " " + text(db.getValue(p)) + " " + text(db.getNotation(p));
    for (long a = db.attribute(p, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, false);
         a != 0; a = db.nextAttribute(a)) {
      out += " @" + text(db.attrName(a)) + "=" + text(db.attrValue(a));
    }
    if (db.objectType(p) != QmdbNode) out += ")";
  }
  for (long i = db.index(nullptr); i != 0; i = db.nextIndex(i)) {
    out += "\nindex " + text(db.indexName(i)) + ":";
    QmdbStringList keys;
    db.indexKeys(&keys, i);
    for (char* k = keys.first(); k != nullptr; k = keys.next()) {
      QmdbList hits;
      db.getIndex(&hits, i, k, nullptr);
      out += std::string(" ") + k + "=" + std::to_string(hits.length());
    }
  }
  return out;
}

// What one run of the session left behind.
struct Outcome {
  bool made = false;           // Qmdb_new gave a database
  bool flushed = false;        // the flush succeeded and left the database usable
  std::string atFlush;         // its digest then
  bool usableAtEnd = false;    // usable just before the close
  std::string atEnd;           // its digest then
  bool closeReported = false;  // the close printed a problem
};

const char* const kNames[] = {"chapter", "section", "note"};
const char* const kKeys[] = {"alpha", "beta", "gamma", "delta", "omega", "pi"};
const char* const kLatin1Text =
    "\351t\351 comme hiver, na\357ve fa\347ade, \340 la fen\352tre du ch\342teau fort";
const char* const kTexts[] = {"A short text", "Another text of some more length, to fill pages",
                              "x", "The last of the texts"};

void session(const char* path, FILE* errors, Trigger& trigger, Outcome& out) {
  trigger.arm();
  Qmdb* db = Qmdb_new(path, QmdbFileWrite, 3, 1024);
  if (db == nullptr) return;
  out.made = true;
  db->errorTo(errors);
  const QmdbAttributeType type = static_cast<QmdbAttributeType>(1);
  const QmdbAttributeClass cls = static_cast<QmdbAttributeClass>(1);

  // Build.
  long book = db->addNode(1, "book");
  long chapters[12] = {};
  for (int i = 0; i < 12; ++i) {
    long c = db->addNode(book, kNames[i % 3]);
    chapters[i] = c;
    db->addAttribute(c, "id", kKeys[i % 6], type, cls);
    db->addString(c, kTexts[i % 4]);
    if (i % 4 == 0) {
      db->addPi(c, "target", "data of the pi");
      db->addEntity(c, "ent", "replacement", static_cast<QmdbEntityType>(2));
    }
  }

  // Text in a pushed coding, in and out, long enough to grow its strings.
  if (db->pushCoding("ISO8859-1")) {
    long cafe = db->addNode(book, "caf\351-cr\350me-br\373l\351e");
    db->setValue(db->addString(cafe, "\xE9t\xE9"), kLatin1Text);
    db->getGid(cafe);
    db->getValue(db->first(cafe));
    long a = db->addAttribute(cafe, "r\xF4le", "ma\xEEtre", type, cls);
    db->attrName(a);
    db->attrValue(a);
    db->popCoding();
  }
  // The flat interface converts from and to ISO 8859-1.
  long flat = Qmdb_addNode(db, book, "fl\xE2t-and-a-long-name-for-the-flat-interface");
  Qmdb_setValue(db, flat, kLatin1Text);
  char value[128];
  Qmdb_getValue(value, sizeof value, db, flat);
  char buffer[32];
  Qmdb_getGid(buffer, sizeof buffer, db, flat);

  // Edits.
  db->setGid(chapters[0], "renamed");
  db->setValue(chapters[1], "a value");
  db->setId(chapters[2], "an-id");
  db->setNotation(db->first(chapters[4]), "notation");
  db->moveTree(book, 0, chapters[3]);
  db->addTreeCopy(book, chapters[2], true, true, false, false);
  db->removeTree(chapters[5]);
  db->dropTree(chapters[6]);
  db->setAttrValue(db->attribute(chapters[7], "id", type, cls, true), "zeta");

  // A nameless scratch database spilling to a swap file, copied, linked and indexed.
  Qmdb* scratch = Qmdb_new(nullptr, QmdbFileDefault, 1, 1024);
  long fromScratch = 0;
  if (scratch != nullptr) {
    fromScratch = scratch->addNode(1, "scratch");
    for (int i = 0; i < 40; ++i) scratch->addString(fromScratch, kTexts[i % 4]);
    scratch->addAttribute(fromScratch, "from", "scratch", type, cls);
    db->addTreeCopy(book, scratch, fromScratch, true, true, false, true);
    db->linkToObject(chapters[8], scratch, fromScratch);
  }

  // Search and index work.
  QmdbList found;
  db->findPath(&found, "book/chapter", 1, true);
  db->findPath(&found, ".../NOTE", 1, false);
  long ix = db->addIndex("ids");
  for (long c : chapters) db->putIndex(ix, c, nullptr, false);
  for (int i = 0; i < 6; ++i) db->putIndex(ix, chapters[i], kKeys[i], i % 2 == 0);
  QmdbStringList keys;
  db->indexKeys(&keys, ix);
  QmdbStringList sought;
  sought.add("beta");
  sought.add("omega");
  QmdbList hits;
  db->getIndex(&hits, ix, &sought);
  db->getIndex(&hits, ix, const_cast<char*>("a"), const_cast<char*>("g"));
  db->pullIndex(&hits, ix, const_cast<char*>("pi"), nullptr);
  db->setIndexName(db->addIndex("spare"), "renamed index");
  if (scratch != nullptr) {
    db->putIndex(ix, scratch, fromScratch, "from another database", false);
    Qmdb_delete(scratch);
  }
  db->addHook(&hits, const_cast<char*>("hook"), nullptr, nullptr);
  if (char** names = db->namesHooked()) {
    for (char** n = names; *n != nullptr; ++n) free(*n);
    free(names);
  }

  // A flush, then more edits that only the close saves.
  bool flushed = db->flush(false);
  trigger.pause();
  if (flushed && db->isValid()) {
    out.flushed = true;
    out.atFlush = digest(*db);
  }
  trigger.arm();
  db->setUpdatable(false);
  db->setUpdatable(true);
  long late = db->addNode(book, "late");
  db->addString(late, "written after the flush");
  db->putIndex(ix, late, "late", false);
  db->deleteHook(const_cast<char*>("hook"));

  trigger.pause();
  out.usableAtEnd = db->isValid();
  if (out.usableAtEnd) out.atEnd = digest(*db);
  long printed = ftell(errors);
  trigger.arm();
  Qmdb_delete(db);
  trigger.pause();
  out.closeReported = ftell(errors) != printed;
}

// How the runs ended: no database made, unusable before the close, usable but
// the close reported a problem, usable and reopened exactly as it held.
struct Tally {
  long noDatabase = 0, unusable = 0, closeReported = 0, intact = 0;
};

// Runs the session with allocation `at` failing (0: none) and checks what it
// left; the number of allocations the run made.
long runAndCheck(long at, bool sticky, Tally& tally) {
  SCOPED_TRACE("allocation " + std::to_string(at) + (sticky ? " and after" : " once"));
  qmdb::test::TempDir dir;
  std::string path = dir.file("sweep.qmb");
  FILE* errors = tmpfile();
  Trigger trigger(at, sticky);
  Outcome out;
  try {
    session(path.c_str(), errors, trigger, out);
  } catch (...) {
    trigger.pause();
    ADD_FAILURE() << "an exception left the library";
  }
  trigger.pause();
  fclose(errors);
  if (at == 0) {
    EXPECT_TRUE(out.made && out.flushed && out.usableAtEnd && !out.closeReported);
  }
  if (!out.made) {
    ++tally.noDatabase;
    return trigger.used();
  }
  if (!out.usableAtEnd) {
    ++tally.unusable;
  } else if (out.closeReported) {
    ++tally.closeReported;
  } else {
    ++tally.intact;
  }

  Qmdb again(path.c_str(), QmdbFileRead);
  if (out.usableAtEnd && !out.closeReported) {
    EXPECT_TRUE(again.isValid());
    EXPECT_EQ(digest(again), out.atEnd);
  } else if (out.flushed) {
    // The close failed or was not asked to save: all of it or none of it.
    EXPECT_TRUE(again.isValid());
    std::string held = digest(again);
    EXPECT_TRUE(held == out.atEnd || held == out.atFlush) << held;
  }
  return trigger.used();
}

class AllocationSweep : public ::testing::Test {
 protected:
  void TearDown() override { failAllocationAfter(0); }
};

TEST_F(AllocationSweep, EveryAllocationOfASessionFailsInTurn) {
  // Hundreds of runs sync their saves: cheap in memory.
  struct stat shm;
  bool inMemory =
      stat("/dev/shm", &shm) == 0 && S_ISDIR(shm.st_mode) && access("/dev/shm", W_OK) == 0;
  qmdb::test::ScopedEnv tmp("TMPDIR", inMemory ? "/dev/shm" : getenv("TMPDIR"));
  Tally tally;
  const long total = runAndCheck(0, false, tally);
  ASSERT_GT(total, 100);                                   // the session really allocates
  for (long at = 1; at <= total && !HasFailure(); ++at) {  // a failing run is enough
    for (bool sticky : {false, true}) runAndCheck(at, sticky, tally);
  }
  printf(
      "allocation points: %ld, each failing once and from then on; runs: %ld without a "
      "database, %ld unusable before the close, %ld whose close reported a problem, %ld intact\n",
      total, tally.noDatabase, tally.unusable, tally.closeReported, tally.intact);
}

}  // namespace
