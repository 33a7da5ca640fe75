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

TEST(QmCCodingSystem, Latin1RoundTripsEveryByteAndReplacesTheRest) {
  EXPECT_EQ(QmCCodingSystem("iso-8859-1").Method(), QmCCodingSystem::kLatin1);
  const QmCCodingSystem& latin1 = fcodingSystem_ISO8859_1();
  EXPECT_EQ(str(latin1.Decode("A\x80\xE9\xFF", -1)), "A\xC2\x80\xC3\xA9\xC3\xBF");
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all.push_back(static_cast<char>(byte));
  EXPECT_EQ(decode(latin1, all).size(), 384u);
  EXPECT_EQ(encode(latin1, decode(latin1, all)), all);
  EXPECT_EQ(encode(latin1,
                   "a\xE2\x82\xAC"
                   "b\xC4\x80"
                   "c\xF0\x9F\x98\x80"),
            "a?b?c?");
  // One '?' per ill-formed sequence: bad lead, stray continuation, truncated
  // character, overlong form, surrogate.
  EXPECT_EQ(encode(latin1, "\xFFx\x80y\xE2\x82z\xC3"), "?x?y?z?");
  EXPECT_EQ(encode(latin1, "\xC0\xAF|\xED\xA0\x80"), "??|???");
}

TEST(QmCCodingSystem, Utf8AndTransparentPassTextThrough) {
  QmCCodingSystem utf8("utf8");
  EXPECT_EQ(utf8.Method(), QmCCodingSystem::kIdentity);
  const std::string valid = "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80" + std::string("\0z", 2);
  EXPECT_EQ(decode(utf8, valid), valid);
  EXPECT_EQ(encode(utf8, valid), valid);
  EXPECT_EQ(decode(utf8, "ok\xC3(\xF4\x90\x80\x80.\xE2\x82"), "ok?(????.?");

  QmCCodingSystem transparent;
  const std::string bytes("\xFF\0\xC3", 3);
  EXPECT_EQ(encode(transparent, bytes), bytes);
  EXPECT_EQ(decode(transparent, bytes), bytes);
  EXPECT_EQ(transparent.Encoder()(nullptr, 5).Size(), 0);
  EXPECT_EQ(utf8.Decoder()(nullptr, -1).Size(), 0);
}

TEST(QmCCodingSystem, IconvConvertsBothWaysAndReplacesBadCharacters) {
  QmCCodingSystem cp1252("cp1252");
  ASSERT_EQ(cp1252.Method(), QmCCodingSystem::kIconv);
  EXPECT_EQ(encode(cp1252,
                   "\xE2\x82\xAC"
                   "5"),
            "\x80"
            "5");
  EXPECT_EQ(decode(cp1252,
                   "\x80"
                   "5\xE9"),
            "\xE2\x82\xAC"
            "5\xC3\xA9");
  // U+0100 has no CP1252 byte, 0xFF is not UTF-8, 0x81 is unassigned in CP1252.
  EXPECT_EQ(encode(cp1252,
                   "a\xC4\x80"
                   "b\xFF"
                   "c"),
            "a?b?c");
  EXPECT_EQ(decode(cp1252,
                   "a\x81"
                   "b"),
            "a?b");
  EXPECT_EQ(cp1252.Decoder()(nullptr, 3).Size(), 0);

  QmCCodingSystem utf16("UTF-16LE");
  ASSERT_EQ(utf16.Method(), QmCCodingSystem::kIconv);
  EXPECT_EQ(encode(utf16, std::string("A\0\xE2\x82\xAC", 5)), std::string("A\0\0\0\xAC\x20", 6));
  EXPECT_EQ(decode(utf16, std::string("A\0\xAC\x20"
                                      "B",
                                      5)),
            "A\xE2\x82\xAC?");
  // Longer than one conversion buffer.
  std::string euros;
  for (int i = 0; i < 3000; ++i) euros += "\xE2\x82\xAC";
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
  EXPECT_EQ(str(stack.Decoder()("\xE9", -1)), "\xC3\xA9");
  ASSERT_TRUE(stack.PushTransparentCodingSystem());
  EXPECT_TRUE(stack.IsTransparent());
  ASSERT_TRUE(stack.PushCodingSystem("UTF-8"));
  EXPECT_FALSE(stack.IsTransparent());

  EXPECT_EQ(stack.PopCodingSystem(), QmCCodingSystem::kIdentity);
  EXPECT_TRUE(stack.IsTransparent());
  EXPECT_EQ(stack.PopCodingSystem(), QmCCodingSystem::kTransparent);
  EXPECT_FALSE(stack.IsTransparent());
  EXPECT_EQ(str(stack.Encoder()("\xC3\xA9", -1)), "\xE9");
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
