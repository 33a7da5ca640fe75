// Links: set, replaced in place and removed, the changed flag, and databases that are gone.
#include <gtest/gtest.h>

#include <string>

#include "Qmdb/Qmdb"

namespace {

TEST(Links, SetReplacedInPlaceAndRemoved) {
  Qmdb db;
  Qmdb second;
  Qmdb third;
  long a = db.addNode(1, "a");
  db.hasChanged();
  EXPECT_EQ(db.linkToObject(-a, &second, 7), a);
  EXPECT_TRUE(db.hasChanged());
  long size = db.getSize();
  EXPECT_EQ(db.linkToObject(a, &third, -9), a);
  EXPECT_EQ(db.getSize(), size);  // the same record is rewritten
  EXPECT_EQ(db.getLinkedObject(-a), -9);
  EXPECT_EQ(db.getLinkedDatabase(a), &third);
  EXPECT_EQ(db.linkToObject(a, 7), a);
  EXPECT_EQ(db.getLinkedDatabase(a), &db);

  // Target 0 removes only with a null database; the short form never does.
  EXPECT_EQ(db.linkToObject(a, &second, 0), 0);
  EXPECT_EQ(db.linkToObject(a, 0), 0);
  EXPECT_EQ(db.getLinkedObject(a), 7);
  db.hasChanged();
  EXPECT_EQ(db.linkToObject(a, nullptr, 0), a);
  EXPECT_FALSE(db.hasChanged());  // removing a link is no change of content
  EXPECT_EQ(db.getLinkedObject(a), 0);
  EXPECT_EQ(db.getLinkedDatabase(a), nullptr);
  EXPECT_EQ(db.linkToObject(1, &second, 7), 0);

  {
    Qmdb gone;
    db.linkToObject(a, &gone, 5);
  }
  EXPECT_EQ(db.getLinkedObject(a), 5);
  EXPECT_EQ(db.getLinkedDatabase(a), nullptr);  // its database is closed

  long loose = db.node("loose");
  db.linkToObject(loose, &second, 3);
  ASSERT_TRUE(db.setUpdatable(false));  // its save clears the links of the tree
  EXPECT_EQ(db.getLinkedObject(a), 0);
  EXPECT_EQ(db.linkToObject(loose, &third, 8), 0);
  EXPECT_EQ(db.linkToObject(loose, nullptr, 0), 0);
  EXPECT_EQ(db.getLinkedObject(loose), 3);
  EXPECT_EQ(db.getLinkedDatabase(loose), &second);
}

}  // namespace
