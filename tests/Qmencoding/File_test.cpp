#include "Qmencoding/QmCFile.h"

#include <errno.h>
#include <gtest/gtest.h>

#include <string>

namespace {

// Every test leaves the process-wide seam disarmed, whatever happens in it.
class QmCFileSeam : public ::testing::Test {
 protected:
  void SetUp() override {
    QmCFileFailAfter(0);
    file_ = QmCFileOpen(path_.c_str(), "w+b");
    ASSERT_NE(file_, nullptr);
  }
  void TearDown() override {
    QmCFileFailAfter(0);
    QmCFileClose(file_);
    remove(path_.c_str());
  }
  std::string contents() {
    std::string text(16, '\0');
    FILE* file = fopen(path_.c_str(), "rb");
    text.resize(fread(&text[0], 1, text.size(), file));
    fclose(file);
    return text;
  }

  std::string path_ = ::testing::TempDir() + "qmcfile_seam";
  FILE* file_ = nullptr;
};

TEST_F(QmCFileSeam, NthCallFailsOnceWithoutTouchingTheFile) {
  EXPECT_EQ(QmCFileCallCount(), 1);  // the open in SetUp
  QmCFileFailAfter(2);
  EXPECT_EQ(QmCFileWrite("ab", 2, file_), 2u);
  EXPECT_EQ(QmCFileWrite("XX", 2, file_), 0u);
  EXPECT_EQ(QmCFileWrite("cd", 2, file_), 2u);
  EXPECT_EQ(QmCFileFlush(file_), 0);
  EXPECT_EQ(contents(), "abcd");

  QmCFileFailAfter(1);
  EXPECT_EQ(QmCFileSeek(file_, 1), -1);
  char buffer[4] = {};
  EXPECT_EQ(QmCFileRead(buffer, 3, file_), 0u);  // still at the end: the seek did not happen
  EXPECT_EQ(QmCFileSeek(file_, 1), 0);
  EXPECT_EQ(QmCFileRead(buffer, 3, file_), 3u);
  EXPECT_STREQ(buffer, "bcd");
  EXPECT_EQ(QmCFileClose(nullptr), 0);
  EXPECT_EQ(QmCFileCallCount(), 4);  // closing is not counted
}

TEST_F(QmCFileSeam, StickyFailureLastsUntilDisarmed) {
  QmCFileFailAfter(2, true);
  EXPECT_EQ(QmCFileWrite("ab", 2, file_), 2u);
  errno = 0;
  EXPECT_EQ(QmCFileOpen(path_.c_str(), "rb"), nullptr);
  EXPECT_EQ(errno, EIO);
  char buffer[4];
  EXPECT_EQ(QmCFileWrite("cd", 2, file_), 0u);
  EXPECT_EQ(QmCFileSeek(file_, 0), -1);
  EXPECT_EQ(QmCFileRead(buffer, 2, file_), 0u);
  EXPECT_EQ(QmCFileFlush(file_), EOF);
  EXPECT_EQ(QmCFileCallCount(), 6);
  EXPECT_EQ(contents(), "");

  // As on a broken disk, what the failed flush held never arrives.
  QmCFileFailAfter(0);
  EXPECT_EQ(QmCFileCallCount(), 0);
  EXPECT_EQ(QmCFileWrite("ef", 2, file_), 2u);
  EXPECT_EQ(QmCFileFlush(file_), 0);
  EXPECT_EQ(contents(), "ef");
}

}  // namespace
