// Power cuts: an editing run with three saves (a clear() before the last) is
// cut at every file call in turn, everything that was not synced is dropped
// as a disk would drop it, and the file is opened again. It must hold exactly
// the last acknowledged save or the next one, never an earlier one, a mix or
// a file that does not open. The file's bytes must be those of that save,
// and a walk of the whole tree tells which save it is.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Qmdb/Qmdb"
#include "support/PowerCut.h"
#include "support/TestSupport.h"

namespace {

using qmdb::test::exists;
using qmdb::test::PowerCut;
using qmdb::test::readFile;
using qmdb::test::renderChildren;
using qmdb::test::TempDir;
using qmdb::test::writeFile;

void addItems(Qmdb& db, long parent, const char* text, int count) {
  for (int i = 0; i < count; ++i) {
    long item = db.addNode(parent, "item");
    db.addString(item, (text + std::to_string(i)).c_str());
  }
}

// A saved state: the walk of the whole tree and the file's bytes.
struct Saved {
  std::string walk;
  std::vector<uint8_t> bytes;
};

Saved savedState(Qmdb& db, const std::string& name) {
  return {renderChildren(db, 1), readFile(name)};
}

// The run, on a file that holds the base state. Returns how many of its saves
// were acknowledged (returned with the database still usable); `saved` gets
// each acknowledged save's state.
int editingRun(const std::string& name, std::vector<Saved>& saved) {
  Qmdb db(name.c_str(), QmdbFileUpdate, 3, 0);
  if (!db.isValid()) return 0;
  long top = db.first(1);
  // Two saved pages changed in the cache: the save itself saves them away.
  db.addNode(db.first(top), "early");
  db.addNode(db.last(top), "late");
  db.flush(false);
  if (!db.isValid()) return 0;
  saved.push_back(savedState(db, name));
  addItems(db, top, "second save ", 30);  // overwrites saved pages on the way
  db.flush(false);
  if (!db.isValid()) return 1;
  saved.push_back(savedState(db, name));
  addItems(db, top, "cleared ", 10);
  db.clear();
  top = db.addNode(1, "after");
  addItems(db, top, "third save ", 25);
  db.setUpdatable(false);
  if (!db.isValid()) return 2;
  saved.push_back(savedState(db, name));
  return 3;
}

TEST(PowerCut, EveryCutLeavesTheLastAcknowledgedSaveOrTheNext) {
  TempDir tmp;
  std::string name = tmp.file("db.qmb");
  std::string journal = name + "-journal";
  std::vector<Saved> states;
  {
    Qmdb db(name.c_str(), QmdbFileWrite, 2, 1024);
    addItems(db, db.addNode(1, "top"), "base ", 30);
    db.flush(false);
    states.push_back(savedState(db, name));
  }
  const std::vector<uint8_t> base = states[0].bytes;

  long calls = 0;
  {
    PowerCut layer(0);
    ASSERT_EQ(editingRun(name, states), 3);
    calls = layer.calls();
  }
  ASSERT_EQ(states.size(), 4u);
  ASSERT_GT(calls, 50);

  // Per way of losing power: cuts that left the last acknowledged save, the next.
  const PowerCut::Survivors ways[] = {PowerCut::Survivors::kSyncedOnly,
                                      PowerCut::Survivors::kAllWritten,
                                      PowerCut::Survivors::kWrittenToSyncedNames};
  const char* wayNames[] = {"synced only", "all written", "written to synced names"};
  int outcomes[3][2] = {};
  for (int way = 0; way < 3; ++way) {
    PowerCut::Survivors survivors = ways[way];
    for (long cut = 1; cut <= calls; ++cut) {
      SCOPED_TRACE("power cut at call " + std::to_string(cut) + ", " + wayNames[way]);
      writeFile(name, base);
      remove(journal.c_str());
      int acknowledged = 0;
      {
        PowerCut layer(cut);
        std::vector<Saved> ignored;
        acknowledged = editingRun(name, ignored);
        EXPECT_TRUE(layer.cut());
        layer.restore(survivors);
      }
      Qmdb db(name.c_str(), QmdbFileRead);
      ASSERT_TRUE(db.isValid()) << (db.errorCode() ? db.errorCode() : "") << " "
                                << (db.errorMessage() ? db.errorMessage() : "");
      EXPECT_FALSE(exists(journal));
      std::string walk = renderChildren(db, 1);
      std::vector<uint8_t> bytes = readFile(name);
      if (walk == states[acknowledged].walk && bytes == states[acknowledged].bytes) {
        ++outcomes[way][0];
      } else if (acknowledged + 1 < 4 && walk == states[acknowledged + 1].walk &&
                 bytes == states[acknowledged + 1].bytes) {
        ++outcomes[way][1];
      } else {
        ADD_FAILURE() << "after " << acknowledged << " acknowledged saves the file ("
                      << bytes.size() << " bytes) holds " << walk.substr(0, 200);
      }
    }
    printf("power cuts, %s: %ld points, %d held the last acknowledged save, %d the next\n",
           wayNames[way], calls, outcomes[way][0], outcomes[way][1]);
  }
}

// A new database written over a larger old one: the file holds the old
// database, the new one once its first save returned, or bytes that no
// opening accepts; never a mix that opens. Once saved, it is byte for byte
// the file a new name would have got.
TEST(PowerCut, ANewDatabaseOverAnOldFileIsTheOldTheNewOrRefused) {
  TempDir tmp;
  std::string name = tmp.file("db.qmb");
  auto build = [](const std::string& at, std::string* walk) {
    Qmdb db(at.c_str(), QmdbFileWrite, 3, 1024);
    if (!db.isValid()) return false;
    addItems(db, db.addNode(1, "new"), "new ", 100);
    db.flush(false);
    if (!db.isValid()) return false;
    if (walk != nullptr) *walk = renderChildren(db, 1);
    return true;
  };
  std::string walk;
  ASSERT_TRUE(build(tmp.file("fresh.qmb"), &walk));
  const std::vector<uint8_t> fresh = readFile(tmp.file("fresh.qmb"));
  {
    Qmdb db(name.c_str(), QmdbFileWrite, 2, 1024);
    addItems(db, db.addNode(1, "old"), "an older and longer text ", 200);
  }
  const std::vector<uint8_t> old = readFile(name);
  ASSERT_GT(old.size(), fresh.size());

  long calls = 0;
  {
    PowerCut layer(0);
    ASSERT_TRUE(build(name, nullptr));
    calls = layer.calls();
  }
  EXPECT_EQ(readFile(name), fresh);

  const PowerCut::Survivors ways[] = {PowerCut::Survivors::kSyncedOnly,
                                      PowerCut::Survivors::kAllWritten,
                                      PowerCut::Survivors::kWrittenToSyncedNames};
  for (PowerCut::Survivors way : ways) {
    for (long cut = 1; cut <= calls; ++cut) {
      SCOPED_TRACE("power cut at call " + std::to_string(cut) + ", way " +
                   std::to_string(static_cast<int>(way)));
      writeFile(name, old);
      bool acknowledged = false;
      {
        PowerCut layer(cut);
        acknowledged = build(name, nullptr);
        layer.restore(way);
      }
      std::vector<uint8_t> bytes = readFile(name);
      if (bytes == fresh) continue;
      EXPECT_FALSE(acknowledged);
      if (bytes == old) continue;
      Qmdb db(name.c_str(), QmdbFileRead);
      EXPECT_FALSE(db.isValid()) << "a mix that opens: " << renderChildren(db, 1).substr(0, 100);
    }
  }
}

}  // namespace
