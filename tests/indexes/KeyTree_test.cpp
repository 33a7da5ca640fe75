// Storing entries: the key tree's bytes (splits, the empty key), default keys, uniqueness,
// refusals.
#include <gtest/gtest.h>

#include <string>

#include "Qmdb/Qmdb"
#include "support/TestSupport.h"

namespace {

using qmdb::test::readFile;
using qmdb::test::ScopedEnv;
using qmdb::test::TempDir;
using qmdb::test::word;
using qmdb::test::words;

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
  // label, first entry, first child, next
  EXPECT_EQ(words(f, 112, 4), "108 0 216 0");      // index "ix": the empty key comes first
  EXPECT_EQ(words(f, 216, 4), "212 232 0 164");    // ""
  EXPECT_EQ(words(f, 164, 4), "160 276 132 248");  // "ab", made by the split
  EXPECT_EQ(words(f, 132, 4), "130 148 0 184");    // "c": its label moved into "abc"
  EXPECT_EQ(words(f, 184, 4), "180 200 0 0");      // "d"
  EXPECT_EQ(words(f, 248, 4), "244 264 0 0");      // "b"
  EXPECT_EQ(text(108) + "|" + text(128) + "|" + text(130) + "|" + text(160) + "|" + text(212),
            "ix|abc|c|ab|");
  // next, database, object
  for (size_t at : {148, 200, 232, 264, 276}) EXPECT_EQ(words(f, at, 3), "0 0 60") << at;
  EXPECT_EQ(entries(db, ix, "ab"), "60");
  EXPECT_EQ(entries(db, ix, ""), "60");
}

TEST_F(KeyTreeTest, PutIndexStoresDefaultKeysUniqueEntriesAndRefuses) {
  Qmdb db(nullptr, QmdbFileWrite, 0, 1024);
  long i = db.addIndex("i");
  long j = db.addIndex("j");
  long n = db.addNode(1, "gid");
  long s = db.addString(n, "text");
  long p = db.addPi(n, "target", "data");
  auto str = [](long h) { return std::to_string(h); };

  EXPECT_EQ(db.putIndex(i, 1L, "k", false), 0);  // the database root
  EXPECT_EQ(db.putIndex(i, 0L, "k", false), 0);
  EXPECT_EQ(db.putIndex(0L, n, "k", false), 0);
  EXPECT_EQ(db.putIndex(i, -n, "k", false), n);
  EXPECT_EQ(db.putIndex(i, s, "k", true), s);  // k has an entry: nothing stored
  EXPECT_EQ(db.putIndex(i, s, "k", false), s);
  EXPECT_EQ(db.putIndex(i, s, "k", false), s);
  EXPECT_EQ(entries(db, i, "k"), str(n) + "," + str(s) + "," + str(s));

  for (long h : {s, n, p}) EXPECT_EQ(db.putIndex(j, h, nullptr, false), h);
  EXPECT_EQ(db.putIndex(j, db.addNode(n, nullptr), nullptr, false), 0);  // no gid, no key
  EXPECT_EQ(entries(db, j, "text") + entries(db, j, "gid") + entries(db, j, "target"),
            str(s) + str(n) + str(p));

  // By name: a null name is the first index; an unknown one creates nothing.
  EXPECT_EQ(db.putIndex(static_cast<const char*>(nullptr), n, "first", false), n);
  EXPECT_EQ(entries(db, i, "first"), str(n));
  long size = db.getSize();
  EXPECT_EQ(db.putIndex("nope", n, "k", false), 0);
  EXPECT_EQ(db.getSize(), size);
  EXPECT_EQ(db.putIndex("j", &db, n, "mine", false), n);  // this database: no id
  EXPECT_EQ(entries(db, j, "mine"), str(n));

  // A key must fit in one page's heap string.
  std::string huge(1024, 'h');
  EXPECT_EQ(db.putIndex(i, n, huge.c_str(), false), 0);
  huge.pop_back();
  EXPECT_EQ(db.putIndex(i, n, huge.c_str(), false), n);
  EXPECT_EQ(entries(db, i, huge.c_str()), str(n));

  ASSERT_TRUE(db.setUpdatable(false));
  EXPECT_EQ(db.putIndex(i, n, "k", false), 0);
  EXPECT_EQ(db.putIndex("i", n, nullptr, false), 0);
}

TEST_F(KeyTreeTest, KeysAndNamesAreStoredInTheInternalForm) {
  Qmdb db(nullptr, QmdbFileWrite, 0, 1024);
  ASSERT_TRUE(db.pushCoding("LATIN1"));
  long i = db.addIndex("caf\xe9");
  long n = db.addNode(1, "n");
  EXPECT_EQ(db.index("caf\xe9"), i);
  EXPECT_STREQ(db.indexName(i), "caf\xe9");
  EXPECT_EQ(db.putIndex("caf\xe9", n, "\xe9t\xe9", false), n);
  QmdbStringList keys;
  EXPECT_EQ(db.indexKeys(&keys, i), 1);
  EXPECT_STREQ(keys.first(), "\xc3\xa9t\xc3\xa9");  // listed keys are not converted
  EXPECT_EQ(entries(db, i, "\xe9t\xe9"), std::to_string(n));
  EXPECT_EQ(db.getIndex(nullptr, i, &keys), 1);  // and go back in unconverted
}

}  // namespace
