// Building documents: the file depends on the calls alone (not the cache, not the class, not
// how records were written together), and overrides still take part in adding.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Qmdb/Qmdb"
#include "Qmdb/edits/Attributes.h"
#include "Qmdb/handle/Internal.h"
#include "Qmdb/objects/Creation.h"
#include "Qmdb/objects/Records.h"
#include "Qmdb/store/PageCache.h"
#include "support/TestSupport.h"

namespace {

using qmdb::handle::Internal;
using qmdb::test::readFile;
using qmdb::test::renderChildren;
using qmdb::test::ScopedEnv;
using qmdb::test::TempDir;
namespace edits = qmdb::edits;
namespace objects = qmdb::objects;
namespace store = qmdb::store;

class BuildingTest : public ::testing::Test {
 protected:
  TempDir tmp;
  ScopedEnv tmpdir{"TMPDIR", tmp.path().c_str()};
};

// Overrides nothing: the adding methods go through the virtual members.
class Derived : public Qmdb {
 public:
  using Qmdb::Qmdb;
};

// Texts of every length around small pages' ends, names, attributes, entities, pis, insertions.
void buildDocument(Qmdb& db) {
  long top = db.addNode(1, "top");
  long previous = 0;
  for (int i = 0; i < 120; ++i) {
    std::string name = "n" + std::to_string(i % 7);
    long n = db.addNode(top, name.c_str());
    db.addString(n,
                 std::string(static_cast<size_t>(i % 61), static_cast<char>('a' + i % 26)).c_str());
    if (i % 3 == 0)
      db.addAttribute(n, "id", std::to_string(i).c_str(), QmdbAttributeType(1),
                      QmdbAttributeClass(1));
    if (i % 5 == 0) db.addPi(n, "pi", "data");
    if (i % 11 == 0) db.addEntity(n, "ent", i % 2 ? "value" : nullptr, QmdbEntityType(2));
    if (previous != 0 && i % 4 == 0) db.insertString(top, previous, "inserted");
    if (i % 9 == 0) db.insertNode(n, 0, "first");
    previous = n;
  }
  db.addNode(1, nullptr);
  db.addString(1, "");
}

std::vector<uint8_t> builtBytes(bool derived, const std::string& name, long frames, long pageSize) {
  {
    std::unique_ptr<Qmdb> db(derived ? new Derived(name.c_str(), QmdbFileWrite, frames, pageSize)
                                     : new Qmdb(name.c_str(), QmdbFileWrite, frames, pageSize));
    buildDocument(*db);
    db->flush(false);
  }
  return readFile(name);
}

TEST_F(BuildingTest, TheFileDependsOnTheCallsAloneNotOnTheCacheOrTheClass) {
  const long pageSizes[] = {1024, 1100, 1537, 4096};
  for (long pageSize : pageSizes) {
    SCOPED_TRACE("page size " + std::to_string(pageSize));
    const std::vector<uint8_t> reference = builtBytes(false, tmp.file("ref.qmb"), 64, pageSize);
    ASSERT_GT(reference.size(), static_cast<size_t>(3 * pageSize));
    // With one to three frames the heap top's page is evicted and read back into other frames.
    for (long frames : {1L, 2L, 3L, 8L}) {
      SCOPED_TRACE("frames " + std::to_string(frames));
      EXPECT_EQ(builtBytes(false, tmp.file("plain.qmb"), frames, pageSize), reference);
      EXPECT_EQ(builtBytes(true, tmp.file("derived.qmb"), frames, pageSize), reference);
    }
  }
}

// The same nodes, strings and attributes made at once and record by record, from every heap
// top near a page's end, give equal heaps.
TEST_F(BuildingTest, RecordsWrittenTogetherLieWhereRecordsMadeOneByOneLie) {
  const long pageSize = 1024;
  for (long gap = 0; gap <= 80; gap += 4) {
    SCOPED_TRACE("room left on the page " + std::to_string(gap));
    Qmdb together(nullptr, QmdbFileWrite, 0, pageSize);
    Qmdb oneByOne(nullptr, QmdbFileWrite, 0, pageSize);
    store::Store& a = *Internal::store(together);
    store::Store& b = *Internal::store(oneByOne);
    // Fill both heaps with one string whose end leaves `gap` bytes of the page.
    long filler = pageSize - gap - store::kEmptyHeapTop - objects::object::kSize - 1;
    std::string text(static_cast<size_t>(filler), 'f');
    long filled = together.string(text.c_str());
    oneByOne.string(text.c_str());
    long gid = objects::object::body(a, filled);  // any heap string serves as a gid
    ASSERT_NE(gid, 0);
    ASSERT_EQ(a.heapTop, b.heapTop);
    ASSERT_EQ(a.heapTop % pageSize, (pageSize - gap) % pageSize);

    long recordA = 0;
    long recordB = 0;
    for (long name : {0L, gid}) {
      long nodeA = objects::createNode(a, name, recordA);
      long nodeB = objects::createObjectRecord(b);
      recordB = objects::makeNodeRecord(b, nodeB);
      if (name != 0)
        store::put32(b, objects::nodeRecord::gidField(recordB), static_cast<int32_t>(name));
      EXPECT_EQ(nodeA, nodeB);
      EXPECT_EQ(recordA, recordB);
    }
    // The first attribute of a body comes with its list, the second joins it.
    for (int i = 0; i < 2; ++i) {
      long attributeA = edits::makeBodyAttribute(a, recordA);
      long list = objects::body::attributes(b, recordB);
      if (list == 0) list = edits::makeAttributeList(b, recordB);
      EXPECT_EQ(attributeA, edits::makeAttribute(b, list));
    }
    for (size_t length : {0u, 1u, 3u, 4u, 7u, 30u}) {
      std::string value(length, 'v');
      bool stored = false;
      long stringA = objects::createString(a, value.c_str(), stored);
      EXPECT_TRUE(stored);
      long stringB = objects::createObjectRecord(b);
      EXPECT_NE(objects::setStringText(b, stringB, value.c_str()), 0);
      EXPECT_EQ(stringA, stringB);
    }
    ASSERT_EQ(a.heapTop, b.heapTop);
    long same = 0;  // the length of the heaps' common start
    while (same < a.heapTop && store::get8(a, same) == store::get8(b, same)) ++same;
    EXPECT_EQ(same, a.heapTop);
  }
  // A text too long for a page makes the object record and nothing else.
  Qmdb db(nullptr, QmdbFileWrite, 0, pageSize);
  store::Store& s = *Internal::store(db);
  bool stored = true;
  long o =
      objects::createString(s, std::string(static_cast<size_t>(pageSize), 'x').c_str(), stored);
  EXPECT_NE(o, 0);
  EXPECT_FALSE(stored);
  EXPECT_EQ(objects::object::kind(s, o), 0);
  EXPECT_EQ(s.heapTop, o + objects::object::kSize);
}

// Overrides that the adding methods must go through.
class Renaming : public Qmdb {
 public:
  using Qmdb::Qmdb;
  long node(const char* gid) override {
    if (reused != 0) return reused;  // an object that is attached elsewhere
    return Qmdb::node((std::string("x-") + gid).c_str());
  }
  long string(const char* text) override { return Qmdb::string((std::string(text) + "!").c_str()); }
  QmdbObjectType objectType(long object) override {
    return object == refused ? QmdbString : Qmdb::objectType(object);
  }
  long refused = 0;
  long reused = 0;
};

TEST_F(BuildingTest, OverridesStillTakePartInAdding) {
  Renaming db(nullptr, QmdbFileWrite);
  long a = db.addNode(1, "a");
  db.addString(a, "text");
  long b = db.insertNode(1, a, "b");
  db.refused = b;
  EXPECT_EQ(db.addNode(b, "c"), 0);  // b is no node to objectType now
  EXPECT_EQ(db.insertString(b, 0, "d"), 0);
  db.refused = 0;
  EXPECT_NE(db.addNode(b, "c"), 0);
  EXPECT_EQ(renderChildren(db, 1), "x-a('text!'),x-b(x-c)");
  // What the creating method gives is taken out of its list first.
  db.reused = a;
  EXPECT_EQ(db.addNode(b, "ignored"), a);
  EXPECT_EQ(renderChildren(db, 1), "x-b(x-c,x-a('text!'))");
}

}  // namespace
