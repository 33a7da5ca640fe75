// Running out of memory, in the library's own buffers and wherever operator
// new is used: calls fail and change nothing, the database stays usable.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>

#include "Qmdb/Qmdb"
#include "Qmdb/handle/Internal.h"
#include "Qmdb/qmdb.h"
#include "Qmdb/store/Allocation.h"
#include "Qmencoding/QmCEncoding.h"
#include "support/TestSupport.h"

namespace {

using qmdb::handle::Internal;
using qmdb::store::failAllocationAfter;
using qmdb::test::renderChildren;

// Longer than any short-string buffer, so that copying it must allocate.
const char kLong[] = "a name long enough to need memory of its own";
const char kLatin1[] = "d\xE9j\xE0 vu, a name long enough to need memory of its own";
const char kUtf8[] = "d\xC3\xA9j\xC3\xA0 vu, a name long enough to need memory of its own";

class OutOfMemory : public ::testing::Test {
 protected:
  void TearDown() override { failAllocationAfter(0); }
};

TEST_F(OutOfMemory, TextLibraryMarksFailureInsteadOfThrowing) {
  QmCString s("short", -1);
  failAllocationAfter(1, true);
  EXPECT_FALSE(s.Copy(kLong));
  EXPECT_TRUE(s.Failed());
  EXPECT_STREQ(s.Data(), "");
  QmCString decoded = fcodingSystem_ISO8859_1().Decoder()(kLatin1, -1);
  EXPECT_TRUE(decoded.Failed());
  QmCString copied(decoded);
  EXPECT_TRUE(copied.Failed());
  failAllocationAfter(0);
  s.Clear();
  EXPECT_FALSE(s.Failed());
  EXPECT_TRUE(s.Copy(kLong));
  EXPECT_STREQ(fcodingSystem_ISO8859_1().Decoder()(kLatin1, -1).Data(), kUtf8);

  QmCEncoding stack;
  failAllocationAfter(1, true);
  EXPECT_FALSE(stack.PushCodingSystem("ISO8859-1"));
  EXPECT_TRUE(stack.IsTransparent());
  failAllocationAfter(0);
  ASSERT_TRUE(stack.PushCodingSystem("ISO8859-1"));
  failAllocationAfter(1, true);
  EXPECT_FALSE(stack.PushTransparentCodingSystem());
  EXPECT_FALSE(stack.IsTransparent());  // the Latin-1 system is still on top
  failAllocationAfter(0);
  EXPECT_EQ(stack.PopCodingSystem(), QmCCodingSystem::kLatin1);
}

TEST_F(OutOfMemory, ConvertingCallsFailAndChangeNothing) {
  const QmdbAttributeType type = static_cast<QmdbAttributeType>(1);
  const QmdbAttributeClass cls = static_cast<QmdbAttributeClass>(1);
  Qmdb db;
  ASSERT_TRUE(db.pushCoding("ISO8859-1"));
  // Each method is called once first, so that its holding strings exist and
  // the one allocation that fails below is the conversion itself.
  long n = db.addNode(1, kLatin1);
  long m = db.addNode(1, "m");
  ASSERT_EQ(db.setGid(n, kLatin1), n);
  ASSERT_STREQ(db.getGid(n), kLatin1);
  ASSERT_NE(db.addAttribute(m, kLatin1, kLatin1, type, cls), 0);
  long index = db.addIndex("i");
  ASSERT_EQ(db.putIndex(index, m, kLatin1, false), m);
  const std::string before = renderChildren(db, 1);

  failAllocationAfter(1);
  EXPECT_EQ(db.getGid(n), nullptr);
  failAllocationAfter(1);
  EXPECT_EQ(db.setGid(n, "\xE9t\xE9, and another name long enough"), 0);
  failAllocationAfter(1);
  EXPECT_EQ(db.addNode(1, kLatin1), 0);
  failAllocationAfter(1);
  EXPECT_EQ(db.addAttribute(n, kLatin1, kLatin1, type, cls), 0);
  failAllocationAfter(1);
  EXPECT_EQ(db.putIndex(index, n, "\xE9t\xE9, a key long enough to need memory", false), 0);
  // The flat interface converts from Latin-1 itself.
  failAllocationAfter(1);
  EXPECT_EQ(Qmdb_addNode(&db, 1, kLatin1), 0);
  failAllocationAfter(1);
  EXPECT_EQ(Qmdb_setValue(&db, n, kLatin1), 0);
  failAllocationAfter(0);

  EXPECT_TRUE(db.isValid());
  EXPECT_EQ(renderChildren(db, 1), before);
  EXPECT_STREQ(db.getGid(n), kLatin1);
  EXPECT_EQ(db.getValue(n), nullptr);
  EXPECT_EQ(db.attribute(n, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, false), 0);
  EXPECT_EQ(db.indexKeys(nullptr, index), 1);
  db.popCoding();
  char buffer[80];
  EXPECT_EQ(Qmdb_getGid(buffer, sizeof buffer, &db, n), static_cast<long>(strlen(kLatin1)));
  EXPECT_STREQ(buffer, kLatin1);
  failAllocationAfter(1);
  EXPECT_EQ(Qmdb_getGid(buffer, sizeof buffer, &db, n), 0);
  EXPECT_STREQ(buffer, "");
}

TEST_F(OutOfMemory, ACopyWhoseTextCannotBeConvertedFails) {
  Qmdb source;
  ASSERT_TRUE(source.pushCoding("ISO8859-1"));
  long n = source.addNode(1, kLatin1);
  long s = source.addString(n, kLatin1);
  ASSERT_STREQ(source.getId(n), kLatin1);  // its holding strings exist from here on
  ASSERT_STREQ(source.getValue(s), kLatin1);
  Qmdb target;
  failAllocationAfter(1);  // the getter's conversion: the text would look absent
  EXPECT_EQ(target.addCopy(1, &source, n, true, true, false, false), 0);
  failAllocationAfter(1);
  EXPECT_EQ(target.addCopy(1, &source, s, true, true, false, false), 0);
  failAllocationAfter(0);
  EXPECT_EQ(renderChildren(target, 1), "");
  long copied = target.addTreeCopy(1, &source, n, true, true, false, false);
  // Out through the source's coding, in through the target's transparent one.
  EXPECT_EQ(renderChildren(target, 1), std::string(kLatin1) + "('" + kLatin1 + "')");
  EXPECT_STREQ(target.getId(copied), kLatin1);
}

TEST_F(OutOfMemory, CacheStopsGrowingAndWorkGoesOn) {
  Qmdb db(nullptr, QmdbFileWrite, 8, 1024);
  long top = db.addNode(1, "top");
  for (int i = 0; i < 30; ++i) db.addString(top, "page one and two");
  EXPECT_EQ(Internal::store(db)->frameCount, 2);
  failAllocationAfter(1);  // the next frame cannot be had
  for (int i = 0; i < 300; ++i) db.addString(top, "spills past two frames");
  EXPECT_TRUE(db.isValid());
  EXPECT_EQ(Internal::store(db)->frameCount, 2);
  EXPECT_EQ(Internal::store(db)->frameLimit, 2);
  EXPECT_EQ(db.count(top, QmdbSiblings), 330);
  EXPECT_STREQ(db.getValue(db.last(top)), "spills past two frames");
}

TEST_F(OutOfMemory, NamesAndListsStayAsTheyWere) {
  Qmdb db;
  long n = db.addNode(1, "n");
  // Short names go in pool blocks that exist already; a long one needs its own.
  std::string fresh(10000, 'f');
  failAllocationAfter(1);
  EXPECT_EQ(db.setGid(n, fresh.c_str()), 0);
  EXPECT_STREQ(db.getGid(n), "n");
  EXPECT_EQ(db.setGid(n, "n"), n);  // already pooled: nothing to allocate

  QmdbList list;
  list.add(5);
  failAllocationAfter(1, true);
  EXPECT_FALSE(list.add(6));
  EXPECT_FALSE(list.insert(7));
  EXPECT_EQ(list.length(), 1);
  EXPECT_EQ(list.first(), 5);
  failAllocationAfter(0);
  QmdbStringList strings;
  strings.add("kept");
  strings.first();
  failAllocationAfter(1, true);
  EXPECT_FALSE(strings.add("lost"));
  EXPECT_FALSE(strings.replace("lost"));
  EXPECT_EQ(strings.length(), 1);
  EXPECT_STREQ(strings.first(), "kept");
}

// Once and from then on, so that the problem is recorded without memory too.
TEST_F(OutOfMemory, SearchesReportMemoryOverflowAndLeaveTheDatabaseUsable) {
  Qmdb db;
  long a = db.addNode(1, "a");
  db.addNode(a, "b");
  long index = db.addIndex("keys");
  db.putIndex(index, a, "k", false);
  QmdbList found;
  found.add(99);
  QmdbStringList keys;
  const std::pair<std::function<long()>, std::string> searches[] = {
      {[&] { return db.findPath(&found, "a/b", 1, true); }, "findPath()"},
      {[&] { return db.indexKeys(&keys, index); }, "index-keys collecting"}};
  for (bool sticky : {false, true}) {
    for (const auto& [search, what] : searches) {
      SCOPED_TRACE(what + (sticky ? ", from then on" : ", once"));
      const std::string message = "Failed to allocated memory for " + what + ".";
      const long listed = found.length();
      failAllocationAfter(1, sticky);
      EXPECT_EQ(search(), 0);
      EXPECT_STREQ(db.errorCode(), "MEMORYOVERFLOW");
      EXPECT_STREQ(db.errorMessage(), message.c_str());
      EXPECT_EQ(found.length(), listed);
      EXPECT_TRUE(db.isValid());
      failAllocationAfter(0);
      EXPECT_EQ(search(), 1);
      db.clearError();
    }
  }
}

TEST_F(OutOfMemory, HooksAreNotAddedAndNotListedWithoutMemory) {
  Qmdb db;
  int data = 7;
  char name[] = "a hook name long enough to need memory of its own";
  failAllocationAfter(1);
  db.addHook(&data, name, nullptr, nullptr);
  EXPECT_EQ(db.getHook(name), nullptr);
  db.addHook(&data, name, nullptr, nullptr);
  EXPECT_EQ(db.getHook(name), &data);
  failAllocationAfter(1);
  EXPECT_EQ(db.namesHooked(), nullptr);
  failAllocationAfter(2);  // the array is made, the copy of the name is not
  EXPECT_EQ(db.namesHooked(), nullptr);
  failAllocationAfter(0);
  char** names = db.namesHooked();
  ASSERT_NE(names, nullptr);
  EXPECT_STREQ(names[0], name);
  EXPECT_EQ(names[1], nullptr);
  free(names[0]);
  free(names);
}

TEST_F(OutOfMemory, ANewThreadsHoldingStringsFailSoftlyAndGoWithIt) {
  Qmdb db;
  ASSERT_TRUE(db.pushCoding("ISO8859-1"));
  long n = db.addNode(1, kLatin1);
  // The seam is per thread: each thread arms its own.
  const char* refused = "unset";
  std::thread starved([&] {
    failAllocationAfter(1, true);
    refused = db.getGid(n);
    failAllocationAfter(0);
  });
  starved.join();
  EXPECT_EQ(refused, nullptr);
  // A thread that converts successfully leaves nothing behind when it ends
  // (the leak checker of the sanitized build watches this).
  std::string seen;
  std::thread worker([&] {
    seen = db.getGid(n);
    db.setValue(db.addString(n, "x"), kLatin1);
  });
  worker.join();
  EXPECT_EQ(seen, kLatin1);
  EXPECT_STREQ(db.getValue(db.first(n)), kLatin1);
}

}  // namespace
