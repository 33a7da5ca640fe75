#include "Qmencoding/QmCLibrary.h"
#include "Qmencoding/QmCMessage.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(QmCLibrary, LoadsLibrariesAndFindsProcedures) {
  QmCLibrary library("libm.so.6", "cos");
  ASSERT_NE(library(), nullptr);
  // Through void(*)(), the one function type a cast may pass through silently.
  auto cosine = reinterpret_cast<double (*)(double)>(reinterpret_cast<void (*)()>(library()));
  EXPECT_EQ(cosine(0.0), 1.0);
  EXPECT_FALSE(library.LoadProc("no_such_procedure_qm"));
  EXPECT_EQ(library(), nullptr);
  ASSERT_TRUE(library.Load("libc.so.6"));
  EXPECT_TRUE(library.LoadProc("strlen"));
  EXPECT_FALSE(library.Load("libno_such_library_qm.so.1"));
  EXPECT_EQ(library(), nullptr);
  EXPECT_FALSE(library.LoadProc("strlen"));
  EXPECT_EQ(QmCLibrary("libno_such_library_qm.so.1", "cos")(), nullptr);
}

std::string readBack(FILE* file) {
  std::string text(256, '\0');
  rewind(file);
  text.resize(fread(&text[0], 1, text.size(), file));
  return text;
}

TEST(QmCMessage, AssertReportWritesTheExactText) {
  FILE* handler = tmpfile();
  ASSERT_NE(handler, nullptr);
  QmCAssertReport(handler, 2, "QMDB-E7", "size > 0", "Store.cpp", 42, "2024-05-06 07:08:09");
  QmCAssertReport(handler, 19, "B1", "p", "a.cpp", 1, "t");
  QmCAssertReport(handler, 5, "C", "q", "b.cpp", 2, "u");
  EXPECT_EQ(
      readBack(handler),
      "Qmx-ERROR (QMDB-E7):\nsize > 0 failed in Store.cpp:42 (2024-05-06 07:08:09)\n"
      "Qmx-FATAL BUG (B1):\np failed in a.cpp:1 (t)\nQmx-??? (C):\nq failed in b.cpp:2 (u)\n");
  fclose(handler);

  ::testing::internal::CaptureStderr();
  QmCAssertReport(nullptr, 12, "X", "ok", "c.cpp", 3, "v");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "Qmx-FATAL ERROR (X):\nok failed in c.cpp:3 (v)\n");
}

TEST(QmCMessage, EndFlushesTheStreamPrintedTo) {
  std::string path = ::testing::TempDir() + "qmcmessage_flush";
  FILE* stream = fopen(path.c_str(), "w");
  FILE* reader = fopen(path.c_str(), "r");
  ASSERT_TRUE(stream != nullptr && reader != nullptr);
  QmCMessageBegin("ISO8859-1");
  EXPECT_EQ(QmCMessagePrint(stream, "%s %d\n", "caf\xE9", 7), 7);
  EXPECT_EQ(QmCMessagePrint(nullptr, "%s", "lost"), 0);
  EXPECT_EQ(readBack(reader), "");  // still in the stream's buffer
  QmCMessageEnd();
  EXPECT_EQ(readBack(reader), "caf\xE9 7\n");
  fclose(reader);
  fclose(stream);
  remove(path.c_str());
}

}  // namespace
