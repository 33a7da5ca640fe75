// Document objects: the bytes of their records, creation and insertion with
// their refusals, names shared through the pool, and classification.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Qmdb/Qmdb"
#include "support/TestSupport.h"

namespace {

using qmdb::test::readFile;
using qmdb::test::renderChildren;
using qmdb::test::ScopedEnv;
using qmdb::test::TempDir;
using qmdb::test::word;
using qmdb::test::words;
using V = std::vector<long>;

class ObjectsTest : public ::testing::Test {
 protected:
  TempDir tmp;
  ScopedEnv tmpdir{"TMPDIR", tmp.path().c_str()};
};

TEST_F(ObjectsTest, RecordsLieInTheFileByteForByte) {
  std::string name = tmp.file("layout.qmb");
  {
    Qmdb db(name.c_str(), QmdbFileWrite, 0, 4096);
    EXPECT_EQ(db.addNode(1, "abc"), 60);
    EXPECT_EQ(db.addString(60, "xy"), 108);
    EXPECT_EQ(db.getSize(), 136);
  }
  std::vector<uint8_t> f = readFile(name);
  ASSERT_EQ(f.size(), 136u);
  const std::string nul(1, '\0');
  EXPECT_EQ(word(f, 8), 136);                             // heap top in the header
  EXPECT_EQ(words(f, 40 + 8, 3), "60 60 0");              // root: first, last child, owner
  EXPECT_EQ(words(f, 60, 5), "0 0 40 0 84");              // node: previous, next, parent
  EXPECT_EQ(f[60 + 20], 1);                               //   content, link, body; kind
  EXPECT_EQ(words(f, 84, 5), "104 0 108 108 60");         // node record: gid, attributes,
  EXPECT_EQ(std::string(&f[104], &f[108]), "abc" + nul);  //   first, last child, owner
  EXPECT_EQ(words(f, 108 + 8, 3), "84 0 132");            // string: parent content, link,
  EXPECT_EQ(f[108 + 20], 2);                              //   body (its text); kind
  EXPECT_EQ(std::string(&f[132], &f[135]), "xy" + nul);
}

TEST_F(ObjectsTest, AddingAndInsertingPlaceObjectsOrRefuseBeforeMakingAnything) {
  Qmdb db(nullptr, QmdbFileWrite, 0, 4096);
  long p = db.addNode(1, "p");
  long q = db.addNode(1, "q");
  long c = db.addString(p, "c");
  EXPECT_EQ((V{db.first(1), db.last(1), db.parent(p)}), (V{p, q, 0}));
  EXPECT_TRUE(db.isAttached(p));
  for (long made :
       {db.insertString(p, 0, "first"), db.insertString(p, c, "after c"),
        db.insertPi(-p, -c, "pi", "data"),
        db.addEntity(p, "e", nullptr, static_cast<QmdbEntityType>(5)), db.addNode(-p, nullptr)}) {
    EXPECT_NE(made, 0);
  }
  EXPECT_EQ(renderChildren(db, p), "'first','c',?pi,'after c',&e,#");

  long qc = db.addNode(q, "qc");
  long size = db.getSize();
  // After a child of another node or the root; under a string or nothing; no text or type.
  EXPECT_EQ((V{db.insertNode(p, qc, "x"), db.insertNode(p, 1, "x"), db.addNode(c, "x"),
               db.addNode(0, "x"), db.string(nullptr), db.entity("e", "v", QmdbNoEntityType)}),
            V(6, 0));
  EXPECT_EQ(db.getSize(), size);

  // Texts too long for a page are refused and nothing is attached.
  std::string big(5000, 'b');
  EXPECT_EQ((V{db.addString(q, big.c_str()), db.addNode(q, big.c_str())}), V(2, 0));
  EXPECT_EQ(renderChildren(db, q), "qc");

  long empty = db.string("");
  EXPECT_NE(empty, 0);
  EXPECT_STREQ(db.getValue(empty), "");
  EXPECT_FALSE(db.isAttached(empty));
  EXPECT_EQ((V{db.isObject(empty, QmdbString), db.isObject(empty, QmdbNode)}), (V{1, 0}));
  EXPECT_NE(db.node(nullptr), 0);
}

TEST_F(ObjectsTest, ClassifyingHandlesTrustsNothing) {
  Qmdb db(nullptr, QmdbFileWrite, 0, 4096);
  long a = db.addNode(1, "a");
  long s = db.addString(a, "s");
  long e = db.addEntity(a, "ent", "v", static_cast<QmdbEntityType>(300));
  for (long h : {0L, 1L, 59L, -a, db.getSize() - 23, db.getSize(), 1L << 40, -(1L << 40)}) {
    EXPECT_FALSE(db.isObject(h, QmdbNoObject)) << h;
  }
  EXPECT_EQ((V{db.isObject(a, QmdbNode), db.isObject(s, QmdbNoObject), db.isAttached(1)}),
            (V{1, 1, 0}));
  EXPECT_EQ((V{db.objectType(1), db.objectType(-a), db.objectType(0)}),
            (V{QmdbNode, QmdbNode, QmdbNoObject}));
  // An entity's type keeps the low 8 bits of 300; other kinds have none.
  EXPECT_EQ((V{db.entityType(e), db.entityType(a), db.entityType(s)}), (V{44, 0, 0}));
  // Every address inside the heap is either an object or refused, never a crash.
  int objects = 0;
  for (long h = 0; h < db.getSize(); ++h) objects += db.isObject(h, QmdbNoObject);
  EXPECT_EQ(objects, 3);
}

TEST_F(ObjectsTest, NamesAreSharedWithinOneOpening) {
  std::string name = tmp.file("names.qmb");
  {
    Qmdb db(name.c_str(), QmdbFileWrite, 0, 4096);
    long top = db.addNode(1, "top");
    long before = db.getSize();
    for (int i = 0; i < 10; ++i) db.addNode(top, "item");
    // Ten nodes of 44 bytes and one heap string "item" of 8 bytes.
    EXPECT_EQ(db.getSize() - before, 10 * 44 + 8);
  }
  Qmdb db(name.c_str(), QmdbFileUpdate);
  long top = db.first(1);
  long before = db.getSize();
  db.addNode(top, "item");
  EXPECT_EQ(db.getSize() - before, 44 + 8);  // the pool starts empty at every opening
  before = db.getSize();
  db.addNode(top, "item");
  EXPECT_EQ(db.getSize() - before, 44);
}

TEST_F(ObjectsTest, ReadOnlyAndFailedDatabasesRefuseEveryChange) {
  std::string name = tmp.file("ro.qmb");
  Qmdb(name.c_str(), QmdbFileWrite).addNode(1, "a");
  Qmdb db(name.c_str(), QmdbFileRead);
  long a = db.first(1);
  EXPECT_EQ(
      (V{db.node("x"), db.addString(a, "x"), db.insertNode(1, 0, "x"),
         db.entity("x", "y", static_cast<QmdbEntityType>(1)), db.pi("x", "y"), db.setGid(a, "b")}),
      V(6, 0));
  EXPECT_FALSE(db.hasChanged());
  EXPECT_STREQ(db.getGid(a), "a");
  Qmdb failed(tmp.file("absent").c_str(), QmdbFileRead);
  EXPECT_EQ(
      (V{failed.node("x"), failed.first(1), failed.rank(60), failed.level(60), failed.root(60)}),
      (V{0, 0, 1, 1, 60}));
  EXPECT_FALSE(failed.hasChanged());
}

}  // namespace
