// Storing entries: the key tree's bytes in the file (splits and the empty
// key included), default keys, uniqueness and the refusals of putIndex.
#include <gtest/gtest.h>

#include <string>

#include "Qmdb/Qmdb"
#include "support/TestSupport.h"

namespace {

using qmdb::test::readFile;
using qmdb::test::ScopedEnv;
using qmdb::test::TempDir;
using qmdb::test::word;

class KeyTreeTest : public ::testing::Test {
 protected:
  TempDir tmp;
  ScopedEnv tmpdir{"TMPDIR", tmp.path().c_str()};

  // The handles stored under `key`, comma-separated, with "@" for another database.
  static std::string entries(Qmdb& db, long index, const char* key) {
    QmdbList list;
    db.getIndex(&list, index, const_cast<char*>(key), nullptr);
    std::string out;
    for (long h = list.first(); h != 0; h = list.next()) {
      if (!out.empty()) out += ",";
      out += (list.db() != nullptr ? "@" : "") + std::to_string(h);
    }
    return out;
  }
};

TEST_F(KeyTreeTest, SplitsAndTheEmptyKeyLieInTheFile) {
  std::string name = tmp.file("tree.qmb");
  Qmdb db(name.c_str(), QmdbFileWrite, 0, 1024);
  long n = db.addNode(1, "n");  // object 60, node record 84, gid 104
  long ix = db.addIndex("ix");  // name 108, index record 112
  ASSERT_EQ(n, 60);
  ASSERT_EQ(ix, 112);
  EXPECT_EQ(db.putIndex(ix, n, "abc", false), n);  // label 128, node 132, entry 148
  EXPECT_EQ(db.putIndex(ix, n, "abd", false), n);  // split: "ab" 160, node 164; "d" 180, 184, 200
  EXPECT_EQ(db.putIndex(ix, n, "", false), n);     // "" 212, node 216, entry 232
  EXPECT_EQ(db.putIndex(ix, n, "b", false), n);    // "b" 244, node 248, entry 264
  EXPECT_EQ(db.putIndex(ix, n, "ab", false), n);   // entry 276 on the split node
  EXPECT_EQ(db.getSize(), 288);
  ASSERT_TRUE(db.flush(false));

  std::vector<uint8_t> f = readFile(name);
  ASSERT_EQ(f.size(), 288u);
  EXPECT_EQ(word(f, 12), 112);  // the header's first index
  auto text = [&f](size_t at) { return std::string(reinterpret_cast<const char*>(&f[at])); };
  auto node = [&f](size_t at) {
    return std::to_string(word(f, at)) + " " + std::to_string(word(f, at + 4)) + " " +
           std::to_string(word(f, at + 8)) + " " + std::to_string(word(f, at + 12));
  };
  auto entry = [&f](size_t at) {
    return std::to_string(word(f, at)) + " " + std::to_string(word(f, at + 4)) + " " +
           std::to_string(word(f, at + 8));
  };
  // label, first entry, first child, next
  EXPECT_EQ(node(112), "108 0 216 0");      // index "ix": the empty key comes first
  EXPECT_EQ(node(216), "212 232 0 164");    // ""
  EXPECT_EQ(node(164), "160 276 132 248");  // "ab", made by the split
  EXPECT_EQ(node(132), "130 148 0 184");    // "c": its label moved into "abc"
  EXPECT_EQ(node(184), "180 200 0 0");      // "d"
  EXPECT_EQ(node(248), "244 264 0 0");      // "b"
  EXPECT_EQ(text(108), "ix");
  EXPECT_EQ(text(128), "abc");
  EXPECT_EQ(text(130), "c");
  EXPECT_EQ(text(160), "ab");
  EXPECT_EQ(text(212), "");
  // next, database, object
  for (size_t at : {148, 200, 232, 264, 276}) EXPECT_EQ(entry(at), "0 0 60") << at;
  EXPECT_EQ(entries(db, ix, "ab"), "60");
  EXPECT_EQ(entries(db, ix, ""), "60");
}

TEST_F(KeyTreeTest, PutIndexStoresDefaultKeysUniqueEntriesAndRefuses) {
  Qmdb db(nullptr, QmdbFileWrite, 0, 1024);
  long i = db.addIndex("i");
  long j = db.addIndex("j");
  long node = db.addNode(1, "gid");
  long text = db.addString(node, "some text");
  long bare = db.addNode(node, nullptr);
  long pi = db.addPi(node, "target", "data");

  EXPECT_EQ(db.putIndex(i, 1L, "k", false), 0);  // the database root
  EXPECT_EQ(db.putIndex(i, 0L, "k", false), 0);
  EXPECT_EQ(db.putIndex(0L, node, "k", false), 0);
  EXPECT_EQ(db.putIndex(i, -node, "k", false), node);
  EXPECT_EQ(db.putIndex(i, node, "k", true), node);  // k has an entry: nothing stored
  EXPECT_EQ(db.putIndex(i, text, "k", false), text);
  EXPECT_EQ(db.putIndex(i, text, "k", false), text);
  EXPECT_EQ(entries(db, i, "k"),
            std::to_string(node) + "," + std::to_string(text) + "," + std::to_string(text));
  EXPECT_EQ(db.putIndex(i, pi, "u", true), pi);
  EXPECT_EQ(db.putIndex(i, node, "u", true), node);
  EXPECT_EQ(entries(db, i, "u"), std::to_string(pi));

  EXPECT_EQ(db.putIndex(j, text, nullptr, false), text);
  EXPECT_EQ(db.putIndex(j, node, nullptr, false), node);
  EXPECT_EQ(db.putIndex(j, pi, nullptr, false), pi);
  EXPECT_EQ(db.putIndex(j, bare, nullptr, false), 0);  // a node without gid has no key
  EXPECT_EQ(entries(db, j, "some text"), std::to_string(text));
  EXPECT_EQ(entries(db, j, "gid"), std::to_string(node));
  EXPECT_EQ(entries(db, j, "target"), std::to_string(pi));

  // By name: a null name is the first index, an unknown one creates nothing.
  EXPECT_EQ(db.putIndex(static_cast<const char*>(nullptr), node, "first", false), node);
  EXPECT_EQ(entries(db, i, "first"), std::to_string(node));
  long size = db.getSize();
  EXPECT_EQ(db.putIndex("nope", node, "k", false), 0);
  EXPECT_EQ(db.putIndex("j", &db, node, "mine", false), node);  // this database: no id
  EXPECT_EQ(entries(db, j, "mine"), std::to_string(node));
  EXPECT_GT(db.getSize(), size);

  // A key whose heap string does not fit in a page; the key is not there afterwards.
  std::string huge(1024, 'h');
  EXPECT_EQ(db.putIndex(i, node, huge.c_str(), false), 0);
  EXPECT_EQ(entries(db, i, huge.c_str()), "");
  std::string large(1000, 'h');
  EXPECT_EQ(db.putIndex(i, node, large.c_str(), false), node);
  EXPECT_EQ(entries(db, i, large.c_str()), std::to_string(node));

  ASSERT_TRUE(db.setUpdatable(false));
  EXPECT_EQ(db.putIndex(i, node, "k", false), 0);
  EXPECT_EQ(db.putIndex("i", node, nullptr, false), 0);
}

TEST_F(KeyTreeTest, EntriesOfOtherDatabasesComeBackWithTheirDatabase) {
  Qmdb db(nullptr, QmdbFileWrite, 0, 1024);
  Qmdb* other = new Qmdb(nullptr, QmdbFileWrite, 0, 1024);
  long i = db.addIndex("i");
  long mine = db.addNode(1, "mine");
  long theirs = other->addNode(1, "theirs");
  EXPECT_EQ(db.putIndex(i, other, theirs, nullptr, false), theirs);  // key from the other db
  EXPECT_EQ(db.putIndex(i, mine, "theirs", false), mine);
  QmdbList list;
  EXPECT_EQ(db.getIndex(&list, i, const_cast<char*>("theirs"), nullptr), 2);
  EXPECT_EQ(list.first(), theirs);
  EXPECT_EQ(list.db(), other);
  EXPECT_EQ(list.next(), mine);
  EXPECT_EQ(list.db(), nullptr);
  other->release();  // its entries now name no live database and are skipped
  EXPECT_EQ(entries(db, i, "theirs"), std::to_string(mine));
}

}  // namespace
