// Document objects: the bytes of their records, creation and insertion with
// their refusals, names shared through the pool, and classification.
#include <gtest/gtest.h>

#include <string>

#include "Qmdb/Qmdb"
#include "support/TestSupport.h"

namespace {

using qmdb::test::readFile;
using qmdb::test::renderChildren;
using qmdb::test::ScopedEnv;
using qmdb::test::TempDir;
using qmdb::test::word;
using qmdb::test::words;

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
  EXPECT_EQ(db.first(1), p);
  EXPECT_EQ(db.last(1), q);
  EXPECT_TRUE(db.isAttached(p));
  EXPECT_EQ(db.parent(p), 0);
  EXPECT_NE(db.insertString(p, 0, "first"), 0);
  EXPECT_NE(db.insertString(p, c, "after c"), 0);
  EXPECT_NE(db.insertPi(-p, -c, "pi", "data"), 0);
  EXPECT_NE(db.addEntity(p, "e", nullptr, static_cast<QmdbEntityType>(5)), 0);
  EXPECT_NE(db.addNode(-p, nullptr), 0);
  EXPECT_EQ(renderChildren(db, p), "'first','c',?pi,'after c',&e,#");

  long qc = db.addNode(q, "qc");
  long size = db.getSize();
  EXPECT_EQ(db.insertNode(p, qc, "x"), 0);  // qc is a child of another node
  EXPECT_EQ(db.insertNode(p, 1, "x"), 0);
  EXPECT_EQ(db.addNode(c, "x"), 0);  // a string is no parent
  EXPECT_EQ(db.addNode(0, "x"), 0);
  EXPECT_EQ(db.string(nullptr), 0);
  EXPECT_EQ(db.entity("e", "v", QmdbNoEntityType), 0);
  EXPECT_EQ(db.getSize(), size);

  // Texts too long for a page are refused and nothing is attached.
  std::string big(5000, 'b');
  EXPECT_EQ(db.addString(q, big.c_str()), 0);
  EXPECT_EQ(db.addNode(q, big.c_str()), 0);
  EXPECT_EQ(renderChildren(db, q), "qc");

  long empty = db.string("");
  EXPECT_NE(empty, 0);
  EXPECT_STREQ(db.getValue(empty), "");
  EXPECT_FALSE(db.isAttached(empty));
  EXPECT_TRUE(db.isObject(empty, QmdbString));
  EXPECT_FALSE(db.isObject(empty, QmdbNode));
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
  EXPECT_TRUE(db.isObject(a, QmdbNode));
  EXPECT_TRUE(db.isObject(s, QmdbNoObject));
  EXPECT_EQ(db.objectType(1), QmdbNode);
  EXPECT_EQ(db.objectType(-a), QmdbNode);
  EXPECT_EQ(db.objectType(0), QmdbNoObject);
  EXPECT_FALSE(db.isAttached(1));
  EXPECT_EQ(db.entityType(e), 44);  // the low 8 bits of 300
  EXPECT_EQ(db.entityType(a), 0);
  EXPECT_EQ(db.entityType(s), 0);
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
  {
    Qmdb db(name.c_str(), QmdbFileWrite);
    db.addNode(1, "a");
  }
  Qmdb db(name.c_str(), QmdbFileRead);
  long a = db.first(1);
  EXPECT_EQ(db.node("x"), 0);
  EXPECT_EQ(db.addString(a, "x"), 0);
  EXPECT_EQ(db.insertNode(1, 0, "x"), 0);
  EXPECT_EQ(db.entity("x", "y", static_cast<QmdbEntityType>(1)), 0);
  EXPECT_EQ(db.pi("x", "y"), 0);
  EXPECT_EQ(db.setGid(a, "b"), 0);
  EXPECT_FALSE(db.hasChanged());
  EXPECT_STREQ(db.getGid(a), "a");
  Qmdb failed(tmp.file("absent").c_str(), QmdbFileRead);
  EXPECT_EQ(failed.node("x"), 0);
  EXPECT_EQ(failed.first(1), 0);
  EXPECT_EQ(failed.rank(60), 1);
  EXPECT_EQ(failed.level(60), 1);
  EXPECT_EQ(failed.root(60), 60);
  EXPECT_FALSE(failed.hasChanged());
}

}  // namespace
