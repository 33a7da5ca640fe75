// The rollback journal: a session cut short after a save leaves one, and the
// next opening restores the saved file from it, unless it belongs elsewhere.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Qmdb/Qmdb"
#include "support/TestSupport.h"

namespace {

using qmdb::test::crashWithJournal;
using qmdb::test::exists;
using qmdb::test::readFile;
using qmdb::test::renderChildren;
using qmdb::test::TempDir;
using qmdb::test::writeFile;

TEST(Journal, UnfinishedSaveIsRolledBackAtTheNextOpening) {
  TempDir tmp;
  std::string name = tmp.file("db.qmb");
  std::string journal = name + "-journal";
  std::string saved = crashWithJournal(name, "top", 1024);
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
  {
    Qmdb db(name.c_str(), QmdbFileWrite);
    db.addNode(1, "new");
  }
  EXPECT_FALSE(exists(journal));
  Qmdb db(name.c_str(), QmdbFileUpdate);
  EXPECT_EQ(renderChildren(db, 1), "new");
}

TEST(Journal, AJournalThatDoesNotMatchItsFileIsReportedAndNotApplied) {
  TempDir tmp;
  std::string name = tmp.file("db.qmb");
  std::string journal = name + "-journal";
  std::string saved = crashWithJournal(name, "mine", 1024);
  const std::vector<uint8_t> file = readFile(name);
  const std::vector<uint8_t> good = readFile(journal);
  ASSERT_GT(good.size(), 24u + 8u + 1024u);
  std::string refused = "Journal " + journal + " does not belong to its QMB file, not applied";

  auto expectRefused = [&](const std::vector<uint8_t>& bytes, const char* what) {
    SCOPED_TRACE(what);
    writeFile(journal, bytes);
    for (QmdbFileMode mode : {QmdbFileRead, QmdbFileUpdate, QmdbFileWrite}) {
      Qmdb db(name.c_str(), mode);
      EXPECT_FALSE(db.isValid());
      ASSERT_NE(db.errorCode(), nullptr);
      EXPECT_STREQ(db.errorCode(), "ILLEGALJOURNAL");
      EXPECT_EQ(std::string(db.errorMessage()), refused);
    }
    EXPECT_EQ(readFile(name), file);
    EXPECT_EQ(readFile(journal), bytes);
  };
  std::vector<uint8_t> bytes = good;
  bytes[24 + 8 + 100] ^= 1;  // a saved byte of the first record
  expectRefused(bytes, "damaged record");
  bytes = good;
  bytes[12] += 1;  // counts a record that is not there
  expectRefused(bytes, "record count");
  bytes = good;
  bytes[8] += 4;  // another saved length: the checksum no longer holds
  expectRefused(bytes, "saved length");

  // The journal of another file, whole and sound in itself.
  std::string other = tmp.file("other.qmb");
  crashWithJournal(other, "other", 2048);
  ASSERT_GT(readFile(other + "-journal").size(), 24u);
  expectRefused(readFile(other + "-journal"), "another file's journal");

  writeFile(journal, good);
  Qmdb db(name.c_str(), QmdbFileRead);
  ASSERT_TRUE(db.isValid());
  EXPECT_EQ(renderChildren(db, 1), saved);
  EXPECT_FALSE(exists(journal));
}

}  // namespace
