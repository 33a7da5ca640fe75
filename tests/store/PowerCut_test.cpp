// Power cuts: a run is cut at every file call in turn, for every way a disk
// may lose what was not synced, and the file is opened again. It must hold
// exactly (walk and bytes) the last acknowledged save or the next one, never
// an earlier one, a mix or a file that does not open.
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

const char* const kWayNames[] = {"synced only", "all written", "written to synced names"};

// Calls `attempt(cut, way)` for every way of losing power and every call up to `calls`.
template <typename Attempt>
void everyCut(long calls, Attempt attempt) {
  for (PowerCut::Survivors way :
       {PowerCut::Survivors::kSyncedOnly, PowerCut::Survivors::kAllWritten,
        PowerCut::Survivors::kWrittenToSyncedNames}) {
    for (long cut = 1; cut <= calls; ++cut) {
      SCOPED_TRACE("power cut at call " + std::to_string(cut) + ", " +
                   kWayNames[static_cast<int>(way)]);
      attempt(cut, way);
    }
  }
}

// A saved state: the walk of the whole tree and the file's bytes.
struct Saved {
  std::string walk;
  std::vector<uint8_t> bytes;
  bool operator==(const Saved& other) const { return walk == other.walk && bytes == other.bytes; }
};

// Three saves (a clear() before the last) on a file that holds the base state;
// how many were acknowledged (returned with the database usable), each one's
// state added to `saved`.
int editingRun(const std::string& name, std::vector<Saved>& saved) {
  Qmdb db(name.c_str(), QmdbFileUpdate, 3, 0);
  if (!db.isValid()) return 0;
  long top = db.first(1);
  // Two saved pages changed in the cache: the save itself saves them away.
  db.addNode(db.first(top), "early");
  db.addNode(db.last(top), "late");
  db.flush(false);
  if (!db.isValid()) return 0;
  saved.push_back({renderChildren(db, 1), readFile(name)});
  addItems(db, top, "second save ", 30);  // overwrites saved pages on the way
  db.flush(false);
  if (!db.isValid()) return 1;
  saved.push_back({renderChildren(db, 1), readFile(name)});
  addItems(db, top, "cleared ", 10);
  db.clear();
  addItems(db, db.addNode(1, "after"), "third save ", 25);
  db.setUpdatable(false);
  if (!db.isValid()) return 2;
  saved.push_back({renderChildren(db, 1), readFile(name)});
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
    states.push_back({renderChildren(db, 1), readFile(name)});
  }
  long calls = 0;
  {
    PowerCut layer(0);
    ASSERT_EQ(editingRun(name, states), 3);
    calls = layer.calls();
  }
  ASSERT_EQ(states.size(), 4u);
  ASSERT_GT(calls, 50);

  int outcomes[3][2] = {};  // per way: cuts that left the last acknowledged save, the next
  everyCut(calls, [&](long cut, PowerCut::Survivors way) {
    writeFile(name, states[0].bytes);
    remove(journal.c_str());
    int acknowledged = 0;
    {
      PowerCut layer(cut);
      std::vector<Saved> ignored;
      acknowledged = editingRun(name, ignored);
      EXPECT_TRUE(layer.cut());
      layer.restore(way);
    }
    Qmdb db(name.c_str(), QmdbFileRead);
    ASSERT_TRUE(db.isValid()) << (db.errorCode() ? db.errorCode() : "") << " "
                              << (db.errorMessage() ? db.errorMessage() : "");
    EXPECT_FALSE(exists(journal));
    Saved held{renderChildren(db, 1), readFile(name)};
    if (held == states[acknowledged]) {
      ++outcomes[static_cast<int>(way)][0];
    } else if (acknowledged < 3 && held == states[acknowledged + 1]) {
      ++outcomes[static_cast<int>(way)][1];
    } else {
      ADD_FAILURE() << "after " << acknowledged << " acknowledged saves the file ("
                    << held.bytes.size() << " bytes) holds " << held.walk.substr(0, 200);
    }
  });
  for (int way = 0; way < 3; ++way) {
    printf("power cuts, %s: %ld points, %d held the last acknowledged save, %d the next\n",
           kWayNames[way], calls, outcomes[way][0], outcomes[way][1]);
  }
}

// A new database written over a larger old one: the file holds the old one,
// the new one (byte for byte what a new name gets) once its first save
// returned, or bytes that no opening accepts; never a mix that opens.
TEST(PowerCut, ANewDatabaseOverAnOldFileIsTheOldTheNewOrRefused) {
  TempDir tmp;
  std::string name = tmp.file("db.qmb");
  auto build = [](const std::string& at) {
    Qmdb db(at.c_str(), QmdbFileWrite, 3, 1024);
    if (!db.isValid()) return false;
    addItems(db, db.addNode(1, "new"), "new ", 100);
    db.flush(false);
    return db.isValid();
  };
  ASSERT_TRUE(build(tmp.file("fresh.qmb")));
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
    ASSERT_TRUE(build(name));
    calls = layer.calls();
  }
  EXPECT_EQ(readFile(name), fresh);

  everyCut(calls, [&](long cut, PowerCut::Survivors way) {
    writeFile(name, old);
    bool acknowledged = false;
    {
      PowerCut layer(cut);
      acknowledged = build(name);
      layer.restore(way);
    }
    std::vector<uint8_t> bytes = readFile(name);
    if (bytes == fresh) return;
    EXPECT_FALSE(acknowledged);
    if (bytes == old) return;
    Qmdb db(name.c_str(), QmdbFileRead);
    EXPECT_FALSE(db.isValid()) << "a mix that opens: " << renderChildren(db, 1).substr(0, 100);
  });
}

}  // namespace
