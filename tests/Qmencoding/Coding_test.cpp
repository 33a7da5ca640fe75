#include "Qmencoding/QmCEncoding.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string str(const QmTString& s) {
  return std::string(s.Data(), s.Size());
}
std::string encode(const QmCCodingSystem& system, const std::string& text) {
  return str(system.Encoder()(text.data(), static_cast<long>(text.size())));
}
std::string decode(const QmCCodingSystem& system, const std::string& text) {
  return str(system.Decoder()(text.data(), static_cast<long>(text.size())));
}

// Each coding's method, and the exact bytes of conversions both ways: one '?'
// per character without a counterpart and per ill-formed sequence.
TEST(QmCCodingSystem, ConversionsGiveExactBytesAndReplaceWhatTheyCannotConvert) {
  struct Row {
    const char* coding;
    QmCCodingSystem::EncodingMethod method;
    bool toExternal;
    std::string in, out;
  };
  const std::string nul("\0", 1);
  const Row rows[] = {
      {"iso-8859-1", QmCCodingSystem::kLatin1, false, "A\x80\xE9\xFF", "A\u0080\u00E9\u00FF"},
      {"iso-8859-1", QmCCodingSystem::kLatin1, true, "a\u20ACb\u0100c\U0001F600", "a?b?c?"},
      // bad lead, stray continuation, truncated character; overlong form, surrogate
      {"iso-8859-1", QmCCodingSystem::kLatin1, true, "\xFFx\x80y\xE2\x82z\xC3", "?x?y?z?"},
      {"iso-8859-1", QmCCodingSystem::kLatin1, true, "\xC0\xAF|\xED\xA0\x80", "??|???"},
      {"utf8", QmCCodingSystem::kIdentity, false, "\u00E9\u20AC\U0001F600" + nul + "z",
       "\u00E9\u20AC\U0001F600" + nul + "z"},
      {"utf8", QmCCodingSystem::kIdentity, true, "\u00E9\u20AC\U0001F600" + nul + "z",
       "\u00E9\u20AC\U0001F600" + nul + "z"},
      {"utf8", QmCCodingSystem::kIdentity, false, "ok\xC3(\xF4\x90\x80\x80.\xE2\x82", "ok?(????.?"},
      {"cp1252", QmCCodingSystem::kIconv, true, "\u20AC5", "\2005"},
      {"cp1252", QmCCodingSystem::kIconv, false, "\2005\xE9", "\u20AC5\u00E9"},
      // U+0100 has no CP1252 byte, 0xFF is not UTF-8, 0x81 is unassigned in CP1252.
      {"cp1252", QmCCodingSystem::kIconv, true, "a\u0100b\377c", "a?b?c"},
      {"cp1252", QmCCodingSystem::kIconv, false, "a\201b", "a?b"},
      {"UTF-16LE", QmCCodingSystem::kIconv, true, "A" + nul + "\u20AC",
       std::string("A\0\0\0\xAC ", 6)},
      {"UTF-16LE", QmCCodingSystem::kIconv, false, "A" + nul + "\xAC B", "A\u20AC?"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.coding) + (row.toExternal ? " encodes " : " decodes ") + row.in);
    QmCCodingSystem system(row.coding);
    EXPECT_EQ(system.Method(), row.method);
    EXPECT_EQ(row.toExternal ? encode(system, row.in) : decode(system, row.in), row.out);
  }

  const QmCCodingSystem& latin1 = fcodingSystem_ISO8859_1();
  EXPECT_EQ(str(latin1.Decode("A\x80\xE9\xFF", -1)), "A\u0080\u00E9\u00FF");
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all.push_back(static_cast<char>(byte));
  EXPECT_EQ(decode(latin1, all).size(), 384u);
  EXPECT_EQ(encode(latin1, decode(latin1, all)), all);
  QmCCodingSystem transparent;
  EXPECT_EQ(encode(transparent, "\xFF" + nul + "\xC3"), "\xFF" + nul + "\xC3");
  EXPECT_EQ(decode(transparent, "\xFF" + nul + "\xC3"), "\xFF" + nul + "\xC3");
  EXPECT_EQ(transparent.Encoder()(nullptr, 5).Size(), 0);
  EXPECT_EQ(QmCCodingSystem("utf8").Decoder()(nullptr, -1).Size(), 0);
  EXPECT_EQ(QmCCodingSystem("cp1252").Decoder()(nullptr, 3).Size(), 0);
  // Longer than one conversion buffer.
  QmCCodingSystem utf16("UTF-16LE");
  std::string euros;
  for (int i = 0; i < 3000; ++i) euros += "\u20AC";
  EXPECT_EQ(encode(utf16, euros).size(), 6000u);
  EXPECT_EQ(decode(utf16, encode(utf16, euros)), euros);
}

TEST(QmCEncoding, StackRefusesUnknownNamesAndTracksTransparency) {
  QmCEncoding stack;
  EXPECT_TRUE(stack.IsTransparent());
  EXPECT_EQ(stack.PopCodingSystem(), QmCCodingSystem::kNone);
  EXPECT_TRUE(stack.IsTransparent());
  EXPECT_EQ(str(stack.Decoder()("\xE9", -1)), "\xE9");

  ASSERT_TRUE(stack.PushCodingSystem("LATIN1"));
  EXPECT_FALSE(stack.PushCodingSystem("NO-SUCH-CODING"));
  EXPECT_FALSE(stack.IsTransparent());
  EXPECT_EQ(str(stack.Decoder()("\xE9", -1)), "\u00E9");
  ASSERT_TRUE(stack.PushTransparentCodingSystem());
  EXPECT_TRUE(stack.IsTransparent());
  ASSERT_TRUE(stack.PushCodingSystem("UTF-8"));
  EXPECT_FALSE(stack.IsTransparent());

  EXPECT_EQ(stack.PopCodingSystem(), QmCCodingSystem::kIdentity);
  EXPECT_TRUE(stack.IsTransparent());
  EXPECT_EQ(stack.PopCodingSystem(), QmCCodingSystem::kTransparent);
  EXPECT_FALSE(stack.IsTransparent());
  EXPECT_EQ(str(stack.Encoder()("\u00E9", -1)), "\xE9");
  EXPECT_EQ(stack.PopCodingSystem(), QmCCodingSystem::kLatin1);
  EXPECT_TRUE(stack.IsTransparent());
  EXPECT_EQ(stack.PopCodingSystem(), QmCCodingSystem::kNone);
}

TEST(QmTString, CopyAndAppendTakeCountedTextAndTheirOwnBytes) {
  QmCString s("abc", -1);
  s.Append("d\0e", 3);
  EXPECT_EQ(str(s), std::string("abcd\0e", 6));
  s.Copy(s.Data() + 1, 2);
  s.Append(s.Data());
  EXPECT_EQ(str(s), "bcbc");
  s.Copy(nullptr);
  EXPECT_STREQ(s.Data(), "");
}

}  // namespace
