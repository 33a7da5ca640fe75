// The catalogue of named indexes: finding, listing, adding, renaming and
// dropping, with the refusals of read-only databases.
#include <gtest/gtest.h>

#include <vector>

#include "Qmdb/Qmdb"
#include "support/TestSupport.h"

namespace {

using V = std::vector<long>;

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
  EXPECT_EQ((V{db.index(nullptr), db.nextIndex(a), db.nextIndex(b), db.nextIndex(c)}),
            (V{a, b, c, 0}));
  // Names are case-sensitive; a name read out of a page frame is found too.
  EXPECT_EQ((V{db.index("b"), db.index("B"), db.index(db.indexName(c))}), (V{b, 0, c}));
  EXPECT_STREQ(db.indexName(b), "b");
  EXPECT_EQ(db.indexName(0), nullptr);

  // Taken names (its own too) and null ones are refused.
  EXPECT_EQ((V{db.addIndex("a"), db.addIndex(nullptr), db.setIndexName(b, "b"),
               db.setIndexName(b, "c"), db.setIndexName(b, nullptr), db.setIndexName(b, "bee")}),
            (V{0, 0, 0, 0, 0, b}));
  EXPECT_EQ((V{db.index("b"), db.index("bee")}), (V{0, b}));

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
  EXPECT_EQ((V{db.addIndex("z"), db.setIndexName(c, "z"), db.dropIndex(c), db.dropIndex("c")}),
            V(4, 0));
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
