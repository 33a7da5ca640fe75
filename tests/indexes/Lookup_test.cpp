// Lookups by key, key list and range, pulls and key lists, the save's clean-up
// of links and foreign entries, and a comparison with a multimap under eviction.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "Qmdb/Qmdb"
#include "Qmdb/handle/Internal.h"
#include "Qmdb/indexes/IndexEntry.h"
#include "Qmdb/indexes/KeyNode.h"
#include "Qmdb/objects/Records.h"
#include "support/TestSupport.h"

namespace {

using qmdb::handle::Internal;
using qmdb::test::handles;
using qmdb::test::renderList;
using qmdb::test::ScopedEnv;
using qmdb::test::TempDir;
namespace object = qmdb::objects::object;
namespace keyNode = qmdb::indexes::keyNode;
namespace indexEntry = qmdb::indexes::indexEntry;

char* c(const char* text) {
  return const_cast<char*>(text);
}

std::string joined(QmdbStringList& keys) {
  std::string out;
  for (const char* k = keys.first(); k != nullptr; k = keys.next()) out += std::string(k) + ",";
  return out.substr(0, out.empty() ? 0 : out.size() - 1);
}

class LookupTest : public ::testing::Test {
 protected:
  TempDir tmp;
  ScopedEnv tmpdir{"TMPDIR", tmp.path().c_str()};
  Qmdb db{nullptr, QmdbFileWrite, 0, 4096};
  long i = 0;

  // Keys a, ab, abc, b, ba, c, stored out of order, each under a node of that gid.
  void SetUp() override {
    i = db.addIndex("i");
    for (const char* k : {"ba", "abc", "c", "a", "b", "ab"}) {
      ASSERT_NE(db.putIndex(i, db.addNode(1, k), nullptr, false), 0);
    }
  }
  std::string get(const char* from, const char* to) {
    QmdbList list;
    long n = db.getIndex(&list, i, c(from), c(to));
    EXPECT_EQ(n, list.length());
    return renderList(db, list);
  }
  std::string keys() {
    QmdbStringList list;
    long n = db.indexKeys(&list, i);
    EXPECT_EQ(n, list.length());
    return joined(list);
  }
};

TEST_F(LookupTest, KeysKeyListsAndRangesGiveEntriesInKeyOrder) {
  EXPECT_EQ(get("ab", nullptr), "ab");
  EXPECT_EQ(get("ab", "b"), "ab,abc,b,ba");
  EXPECT_EQ(get(nullptr, "ab"), "a,ab,abc");
  EXPECT_EQ(get("abd", "bz"), "b,ba");
  EXPECT_EQ(get(nullptr, nullptr), "a,ab,abc,b,ba,c");
  EXPECT_EQ(get("b", ""), "b,ba,c");  // the empty upper bound sets no limit
  EXPECT_EQ(get("aa", "abc"), "ab,abc");
  EXPECT_EQ(get("abca", "bb"), "b,ba");
  EXPECT_EQ(get("c", "a"), "");
  EXPECT_EQ(get("zz", nullptr), "");
  EXPECT_EQ(get("abcd", nullptr), "");
  EXPECT_EQ(get("", nullptr), "");
  EXPECT_EQ(keys(), "a,ab,abc,b,ba,c");

  QmdbStringList sought;
  for (const char* k : {"b", "a", "b", "abz"}) sought.add(k);
  QmdbList list;
  list.add(7);
  list.first();
  EXPECT_EQ(db.getIndex(&list, i, &sought), 2);  // each key once, in key order
  EXPECT_EQ(list.current(), 7);                  // the result's cursor stays
  EXPECT_EQ(sought.current(), nullptr);          // the key list's ends past its last key
  list.remove();
  EXPECT_EQ(renderList(db, list), "a,b");
  EXPECT_EQ(db.getIndex(&list, c("i"), c("a"), c("ab")), 3);
  EXPECT_EQ(db.getIndex(nullptr, i, nullptr, nullptr), 6);
  EXPECT_EQ(db.getIndex(nullptr, c("i"), &sought), 2);
  EXPECT_EQ(db.indexKeys(nullptr, "i"), 6);

  QmdbStringList none;
  EXPECT_EQ(db.getIndex(&list, i, &none), 0);
  EXPECT_EQ(db.getIndex(&list, i, static_cast<QmdbStringList*>(nullptr)), 0);
  EXPECT_EQ(db.getIndex(&list, 0L, c("a"), nullptr), 0);
  EXPECT_EQ(db.getIndex(&list, c("missing"), c("a"), nullptr), 0);
  EXPECT_EQ(db.indexKeys(nullptr, 0L), 0);
  EXPECT_EQ(list.length(), 5);

  // The empty key comes first; a key's entries keep the order they were stored in.
  long empty = db.addNode(1, "empty");
  ASSERT_EQ(db.putIndex(i, empty, "", false), empty);
  ASSERT_NE(db.putIndex(i, db.addNode(1, "b2"), "b", false), 0);
  EXPECT_EQ(get("", nullptr), "empty");
  EXPECT_EQ(get(nullptr, "a"), "empty,a,ab,abc");
  EXPECT_EQ(get("b", nullptr), "b,b2");
  EXPECT_EQ(keys(), ",a,ab,abc,b,ba,c");
}

TEST_F(LookupTest, PullingDetachesWhatItCollects) {
  db.hasChanged();
  EXPECT_EQ(db.pullIndex(nullptr, i, c("ab"), nullptr), 1);
  EXPECT_TRUE(db.hasChanged());
  EXPECT_EQ(get("ab", nullptr), "");
  EXPECT_EQ(keys(), "a,abc,b,ba,c");
  QmdbList list;
  EXPECT_EQ(db.pullIndex(&list, i, c("b"), c("b")), 2);
  EXPECT_EQ(renderList(db, list), "b,ba");
  QmdbStringList sought;
  for (const char* k : {"c", "zz"}) sought.add(k);
  EXPECT_EQ(db.pullIndex(nullptr, i, &sought), 1);
  EXPECT_EQ(db.pullIndex(nullptr, c("i"), &sought), 0);
  EXPECT_EQ(keys(), "a,abc");
  EXPECT_EQ(db.pullIndex(nullptr, c("i"), nullptr, nullptr), 2);
  EXPECT_EQ(keys(), "");
  EXPECT_EQ(get(nullptr, nullptr), "");
  long again = db.addNode(1, "again");
  EXPECT_EQ(db.putIndex(i, again, "ab", true), again);  // a pulled key takes entries again
  EXPECT_EQ(get("ab", nullptr), "again");

  ASSERT_TRUE(db.setUpdatable(false));
  db.hasChanged();
  sought.add("ab");
  EXPECT_EQ(db.pullIndex(nullptr, i, c("ab"), nullptr), 0);
  EXPECT_EQ(db.pullIndex(nullptr, c("i"), c("ab"), nullptr), 0);
  EXPECT_EQ(db.pullIndex(nullptr, i, &sought), 0);
  EXPECT_EQ(db.pullIndex(nullptr, c("i"), &sought), 0);
  EXPECT_FALSE(db.hasChanged());
  EXPECT_EQ(get("ab", nullptr), "again");
}

TEST_F(LookupTest, LongKeysGrowTheWorkArea) {
  std::string x(300, 'x');
  std::string q(100, 'q');
  long h = db.addNode(1, "h");
  for (const std::string& k : {x + "y", q, x, std::string("short")}) {
    ASSERT_EQ(db.putIndex(i, h, k.c_str(), false), h);
  }
  QmdbStringList list;
  EXPECT_EQ(db.indexKeys(&list, i), 10);
  EXPECT_EQ(joined(list), "a,ab,abc,b,ba,c," + q + ",short," + x + "," + x + "y");
}

TEST(IndexCleanupTest, ASaveAfterLinksKillsForeignEntriesAndClearsTreeAndIndexedLinks) {
  TempDir tmp;
  ScopedEnv tmpdir("TMPDIR", tmp.path().c_str());
  std::string name = tmp.file("links.qmb");
  Qmdb other(nullptr, QmdbFileWrite, 0, 1024);
  Qmdb* gone = new Qmdb(nullptr, QmdbFileWrite, 0, 1024);
  long theirs = other.addNode(1, "theirs");
  {
    Qmdb db(name.c_str(), QmdbFileWrite, 0, 1024);
    long i = db.addIndex("i");
    long attached = db.addNode(1, "attached");
    long detached = db.node("detached");
    long child = db.addNode(detached, "child");
    long grandchild = db.addString(child, "g");
    long inner = db.addString(attached, "s");
    long lone = db.node("lone");  // detached and in no index, as is its child
    long loneChild = db.addPi(lone, "p", nullptr);
    ASSERT_EQ(db.putIndex(i, &other, theirs, nullptr, false), theirs);  // key from `other`
    ASSERT_EQ(db.putIndex(i, detached, "theirs", false), detached);
    ASSERT_EQ(db.putIndex(i, gone, 60, "theirs", false), 60);
    ASSERT_EQ(db.putIndex(i, &other, theirs, "o", false), theirs);
    ASSERT_EQ(db.putIndex(i, attached, "a", false), attached);
    gone->release();  // entries naming it are skipped from now on

    ASSERT_TRUE(db.flush(false));  // no links were made: entries survive
    QmdbList list;
    EXPECT_EQ(db.getIndex(&list, i, c("theirs"), nullptr), 2);
    EXPECT_EQ(list.first(), theirs);
    EXPECT_EQ(list.db(), &other);
    EXPECT_EQ(list.next(), detached);
    EXPECT_EQ(list.db(), nullptr);

    for (long h : {attached, inner, detached, child, grandchild, lone, loneChild}) {
      ASSERT_EQ(db.linkToObject(h, &other, theirs), h);
    }
    ASSERT_TRUE(db.flush(false));  // links were made: the save clears them
    list.clear();
    EXPECT_EQ(db.getIndex(&list, i, c("theirs"), nullptr), 1);
    EXPECT_EQ(list.first(), detached);
    EXPECT_EQ(db.pullIndex(nullptr, i, c("o"), nullptr), 0);  // dead entries are not collected
    QmdbStringList keys;
    EXPECT_EQ(db.indexKeys(&keys, i), 3);
    EXPECT_EQ(joined(keys), "a,o,theirs");  // keys whose entries died are still listed
    for (long h : {attached, inner, detached, child, grandchild}) {
      EXPECT_EQ(db.getLinkedObject(h), 0) << h;
    }
    EXPECT_EQ(db.getLinkedObject(lone), theirs);
    EXPECT_EQ(db.getLinkedObject(loneChild), theirs);
    EXPECT_EQ(db.getLinkedDatabase(lone), &other);
    // A copy's link back to its source goes with the next save too.
    long copy = db.addCopy(1, attached, false, true, false, true);
    EXPECT_EQ(db.getLinkedObject(copy), attached);
    EXPECT_TRUE(db.flush(false));
    EXPECT_EQ(db.getLinkedObject(copy), 0);
  }
  Qmdb db(name.c_str(), QmdbFileRead);
  QmdbList list;
  EXPECT_EQ(db.getIndex(&list, c("i"), nullptr, nullptr), 2);
  EXPECT_EQ(renderList(db, list), "attached,detached");
}

TEST(DamagedIndexTest, CyclesInTheHeapEndEveryWalk) {
  Qmdb db(nullptr, QmdbFileWrite, 0, 1024);
  qmdb::store::Store& s = *Internal::store(db);
  long i = db.addIndex("i");
  long a = db.addNode(1, "a");
  long b = db.addNode(a, "b");
  db.putIndex(i, a, "a", false);
  db.putIndex(i, b, "b", false);
  db.putIndex(i, b, "b", false);
  long nodeA = keyNode::firstChild(s, i);
  long nodeB = keyNode::next(s, nodeA);
  keyNode::setNext(s, nodeB, nodeA);  // siblings a, b, a, b, ...
  long entry = keyNode::firstEntry(s, nodeB);
  indexEntry::setNext(s, indexEntry::next(s, entry), entry);  // b's entries loop too
  object::setNext(s, b, b);                                   // and so do a's children

  EXPECT_GT(db.getIndex(nullptr, i, nullptr, nullptr), 2);
  EXPECT_EQ(db.getIndex(nullptr, i, c("c"), nullptr), 0);
  EXPECT_GT(db.indexKeys(nullptr, i), 2);
  EXPECT_EQ(db.putIndex(i, a, "c", false), 0);
  EXPECT_EQ(db.putIndex(i, a, "b", false), 0);
  EXPECT_GT(db.findPath(nullptr, "a/*", 1, true), 1);
  EXPECT_EQ(db.findPath(nullptr, "a/c", 1, true), 0);
  s.linkCleanup = true;
  EXPECT_TRUE(db.flush(false));
  EXPECT_TRUE(db.isValid());
}

// Whether a lookup with `from` and `to` takes `key`.
bool inRange(const std::string& key, const char* from, const char* to) {
  if (from != nullptr && to == nullptr) return key == from;
  return (from == nullptr || key >= from) &&
         (to == nullptr || *to == '\0' || key <= to || key.compare(0, strlen(to), to) == 0);
}

TEST(LookupRandomTest, AgreesWithAMultimapUnderEviction) {
  TempDir tmp;
  ScopedEnv tmpdir("TMPDIR", tmp.path().c_str());
  std::string name = tmp.file("random.qmb");
  std::mt19937 random(20240611);
  auto randomKey = [&](unsigned maxLength) {
    std::string key;
    for (unsigned n = random() % (maxLength + 1); n > 0; --n) key += "ab\xc3z"[random() % 4];
    return key;  // with a byte above 127: keys compare unsigned
  };
  std::multimap<std::string, long> model;  // keeps each key's handles in insertion order
  auto modelRange = [&model](const char* from, const char* to, bool erase) {
    std::vector<long> out;
    for (auto it = model.begin(); it != model.end();) {
      bool taken = inRange(it->first, from, to);
      if (taken) out.push_back(it->second);
      it = taken && erase ? model.erase(it) : std::next(it);
    }
    return out;
  };
  {
    Qmdb db(name.c_str(), QmdbFileWrite, 2, 1024);
    long i = db.addIndex("random");
    for (long n = 0; n < 3000; ++n) {
      std::string key = randomKey(7);
      bool unique = random() % 4 == 0;
      long h = 1000 + n;  // handles are trusted: these need no objects
      ASSERT_EQ(db.putIndex(i, h, key.c_str(), unique), h);
      if (!unique || model.count(key) == 0) model.emplace(key, h);
    }
    // Lookups, then pulls, of random key lists and ranges (a range without `to`
    // is an exact lookup of `from`).
    for (int round = 0; round < 400; ++round) {
      bool pull = round >= 300;
      QmdbList list;
      std::vector<long> expected;
      long n = 0;
      if (random() % 3 == 0) {
        QmdbStringList sought;
        std::set<std::string> unique;
        for (int k = 0; k < 3; ++k) unique.insert(randomKey(4));
        for (auto it = unique.rbegin(); it != unique.rend(); ++it) sought.add(it->c_str());
        for (const std::string& key : unique) {
          for (long h : modelRange(key.c_str(), nullptr, pull)) expected.push_back(h);
        }
        n = pull ? db.pullIndex(&list, i, &sought) : db.getIndex(&list, i, &sought);
      } else {
        std::string fromKey = randomKey(4);
        std::string toKey = randomKey(4);
        const char* from = random() % 4 == 0 ? nullptr : fromKey.c_str();
        const char* to = random() % 3 == 0 ? nullptr : toKey.c_str();
        expected = modelRange(from, to, pull);
        n = pull ? db.pullIndex(&list, i, c(from), c(to)) : db.getIndex(&list, i, c(from), c(to));
      }
      EXPECT_EQ(n, static_cast<long>(expected.size()));
      ASSERT_EQ(handles(list), expected) << "round " << round;
    }
    QmdbStringList keys;
    db.indexKeys(&keys, i);
    std::set<std::string> modelKeys;  // ordered by unsigned bytes, as the key tree is
    for (const auto& entry : model) modelKeys.insert(entry.first);
    std::vector<std::string> listed;
    for (const char* k = keys.first(); k != nullptr; k = keys.next()) listed.push_back(k);
    EXPECT_EQ(listed, std::vector<std::string>(modelKeys.begin(), modelKeys.end()));
  }
  // What is left survives the save and a reopening.
  Qmdb db(name.c_str(), QmdbFileRead, 2, 0);
  QmdbList list;
  db.getIndex(&list, c("random"), nullptr, nullptr);
  EXPECT_EQ(handles(list), modelRange(nullptr, nullptr, false));
}

}  // namespace
