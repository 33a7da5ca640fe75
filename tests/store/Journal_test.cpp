// The rollback journal: a session cut short after its first save leaves a
// journal, and the next opening restores the saved file and removes it.
#include <gtest/gtest.h>

#include <string>

#include "Qmdb/Qmdb"
#include "Qmencoding/QmCFile.h"
#include "support/TestSupport.h"

namespace {

using qmdb::test::TempDir;
using qmdb::test::exists;
using qmdb::test::readFile;
using qmdb::test::renderChildren;
using qmdb::test::writeFile;

TEST(Journal, UnfinishedSaveIsRolledBackAtTheNextOpening) {
  TempDir tmp;
  std::string name = tmp.file("db.qmb");
  std::string journal = name + "-journal";
  std::string saved;
  {
    Qmdb db(name.c_str(), QmdbFileWrite, 1, 1024);
    long top = db.addNode(1, "top");
    for (int i = 0; i < 50; ++i) db.addString(top, "saved");
    db.flush(false);
    saved = renderChildren(db, 1);
    EXPECT_FALSE(exists(journal));
    for (int i = 0; i < 50; ++i) db.addString(top, "lost");  // evicts saved pages
    EXPECT_TRUE(exists(journal));
    QmCFileFailAfter(1, true);  // the disk goes away before the next save
    db.flush(false);
    QmCFileFailAfter(0);
    EXPECT_FALSE(db.isValid());
  }
  EXPECT_TRUE(exists(journal));
  {
    Qmdb db(name.c_str(), QmdbFileRead);
    ASSERT_TRUE(db.isValid());
    EXPECT_EQ(renderChildren(db, 1), saved);
    EXPECT_EQ(readFile(name).size(), static_cast<size_t>(db.getSize()));
  }
  EXPECT_FALSE(exists(journal));

  // A journal left beside a file that is made anew belongs to the old file.
  writeFile(journal, readFile(name));
  { Qmdb db(name.c_str(), QmdbFileWrite); db.addNode(1, "new"); }
  EXPECT_FALSE(exists(journal));
  Qmdb db(name.c_str(), QmdbFileUpdate);
  EXPECT_EQ(renderChildren(db, 1), "new");
}

}  // namespace
