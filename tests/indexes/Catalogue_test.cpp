// The catalogue of named indexes: finding, listing, adding, renaming and
// dropping, with the refusals of read-only databases.
#include <gtest/gtest.h>

#include "Qmdb/Qmdb"
#include "support/TestSupport.h"

namespace {

TEST(CatalogueTest, IndexesAreFoundListedRenamedAndDropped) {
  qmdb::test::TempDir tmp;
  qmdb::test::ScopedEnv tmpdir("TMPDIR", tmp.path().c_str());
  Qmdb db(nullptr, QmdbFileWrite, 0, 4096);
  EXPECT_EQ(db.index(nullptr), 0);
  long a = db.addIndex("a");
  long b = db.addIndex("b");
  long c = db.addIndex("c");
  EXPECT_EQ(a, 60 + 4);  // after its name's heap string
  EXPECT_TRUE(db.hasChanged());
  EXPECT_EQ(db.index(nullptr), a);
  EXPECT_EQ(db.nextIndex(a), b);
  EXPECT_EQ(db.nextIndex(b), c);
  EXPECT_EQ(db.nextIndex(c), 0);
  EXPECT_EQ(db.index("b"), b);
  EXPECT_EQ(db.index("B"), 0);  // names are case-sensitive
  EXPECT_STREQ(db.indexName(b), "b");
  EXPECT_EQ(db.indexName(0), nullptr);
  EXPECT_EQ(db.index(db.indexName(c)), c);  // a name read out of a page frame

  EXPECT_EQ(db.addIndex("a"), 0);
  EXPECT_EQ(db.addIndex(nullptr), 0);
  EXPECT_EQ(db.setIndexName(b, "b"), 0);  // its own name is taken too
  EXPECT_EQ(db.setIndexName(b, "c"), 0);
  EXPECT_EQ(db.setIndexName(b, nullptr), 0);
  EXPECT_EQ(db.setIndexName(b, "bee"), b);
  EXPECT_EQ(db.index("b"), 0);
  EXPECT_EQ(db.index("bee"), b);

  EXPECT_FALSE(db.dropIndex(db.index("missing")));
  EXPECT_FALSE(db.dropIndex(60L));  // not in the catalogue
  db.hasChanged();
  EXPECT_TRUE(db.dropIndex(b));  // from the middle
  EXPECT_TRUE(db.hasChanged());
  EXPECT_EQ(db.nextIndex(a), c);
  EXPECT_EQ(db.nextIndex(b), 0);
  EXPECT_FALSE(db.dropIndex(b));
  EXPECT_TRUE(db.dropIndex(a));  // the first
  EXPECT_TRUE(db.hasChanged());
  EXPECT_EQ(db.index(nullptr), c);

  ASSERT_TRUE(db.setUpdatable(false));
  db.hasChanged();
  EXPECT_EQ(db.addIndex("z"), 0);
  EXPECT_EQ(db.setIndexName(c, "z"), 0);
  EXPECT_FALSE(db.dropIndex(c));
  EXPECT_FALSE(db.dropIndex("c"));
  EXPECT_FALSE(db.hasChanged());
  EXPECT_EQ(db.index("c"), c);

  ASSERT_TRUE(db.setUpdatable(true));
  EXPECT_TRUE(db.dropIndex("c"));
  EXPECT_EQ(db.index(nullptr), 0);
  long again = db.addIndex("a");  // a dropped name is free again; the old record stays
  EXPECT_NE(again, a);
  EXPECT_EQ(db.index(nullptr), again);
}

}  // namespace
