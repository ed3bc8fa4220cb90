#include "base/text.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/fake_platform.h"

namespace {

TEST(TextTest, ConversionsKeepNulsAndSkipThePlatformForUtf8) {
  platform::FakePlatform fake;
  const std::u16string wide(u"a\0\u00e9\U0001F600", 5);
  const std::string narrow("a\0\xC3\xA9\xF0\x9F\x98\x80", 8);
  EXPECT_EQ(WideToUtf8(wide), narrow);
  EXPECT_EQ(Utf8ToWide(narrow), wide);
  EXPECT_EQ(WideToMultiByte(wide, kCodePageUtf8), narrow);
  EXPECT_EQ(Utf8ToWide("\xC3"), u"\uFFFD");
  EXPECT_EQ(WideToUtf8(u""), "");
  EXPECT_EQ(AnsiToWide(""), u"");
  EXPECT_EQ(MultiByteToWide("", 1252), u"");
  EXPECT_EQ(WideToMultiByte(u"", 1252), "");
  EXPECT_EQ(fake.CallCount("CodePageToWide") + fake.CallCount("WideToCodePage"), 0u);

  // Another code page is the platform's business.
  EXPECT_EQ(AnsiToWide("key"), u"key");
  EXPECT_EQ(fake.CallCount("CodePageToWide"), 1u);
  fake.FailCall("WideToCodePage", 87);
  EXPECT_EQ(WideToMultiByte(u"key", kCodePageAnsi), "");
}

TEST(TextTest, ReadResourceTextStripsOnlyAWholeBom) {
  struct Row {
    std::string bytes;
    bool stripBom;
    int32_t result;
    std::string text;
  };
  const std::string bom = "\xEF\xBB\xBF";
  const Row rows[] = {
      {bom, true, 0, ""},
      {bom, false, 3, bom},
      {bom + "{}", true, 2, "{}"},
      {bom + "{}", false, 5, bom + "{}"},
      {"{\"a\":1}", true, 7, "{\"a\":1}"},
      {"\xEF\xBB", true, 2, "\xEF\xBB"},
      {"\xEF\xBB\xBE!", true, 4, "\xEF\xBB\xBE!"},
      {std::string("a\0b", 3), true, 3, std::string("a\0b", 3)},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    platform::FakePlatform fake;
    fake.SetResource(104, u"BIN", rows[i].bytes);
    std::string out = "old";
    EXPECT_EQ(ReadResourceText(104, u"BIN", &out, rows[i].stripBom), rows[i].result) << "row " << i;
    EXPECT_EQ(out, rows[i].text) << "row " << i;
  }

  platform::FakePlatform fake;
  std::string out = "old";
  EXPECT_EQ(ReadResourceText(110, u"BIN", &out, true), 0);
  EXPECT_EQ(fake.LastError(), platform::kErrorResourceNameNotFound);
  EXPECT_EQ(out, "old");
}

TEST(TextTest, SplitStringDropsEmptyPieces) {
  struct Row {
    std::u16string text;
    char16_t separator;
    bool trim;
    std::vector<std::u16string> pieces;
  };
  const Row rows[] = {
      {u"", u',', false, {}},
      {u"a", u',', false, {u"a"}},
      {u"a,b,,c", u',', false, {u"a", u"b", u"c"}},
      {u",a,", u',', false, {u"a"}},
      {u",,,", u',', false, {}},
      {u" a , b ", u',', false, {u" a ", u" b "}},
      {u" a , b ", u',', true, {u"a", u"b"}},
      {u"a,   ,b", u',', true, {u"a", u"b"}},
      {u"  a  ", u' ', true, {u"a"}},
      {u"\ta\t,b", u',', true, {u"\ta\t", u"b"}},
      {u"x y", u';', false, {u"x y"}},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    std::vector<std::u16string> out;
    SplitString(&out, rows[i].text, rows[i].separator, rows[i].trim);
    EXPECT_EQ(out, rows[i].pieces) << "row " << i;
  }
  std::vector<std::u16string> kept = {u"first"};
  SplitString(&kept, u"second", u',', false);
  EXPECT_EQ(kept, (std::vector<std::u16string>{u"first", u"second"}));
}

int Sign(int v) { return v < 0 ? -1 : (v > 0 ? 1 : 0); }

TEST(TextTest, CompareNoCaseFoldsAsciiToLowerCase) {
  struct Row {
    std::u16string a;
    std::u16string b;
    int sign;
  };
  const Row rows[] = {
      {u"Orvane.exe", u"ORVANE.EXE", 0},
      {u"", u"", 0},
      {u"a", u"B", -1},
      {u"Z", u"a", 1},
      {u"_", u"a", -1},  // folding to upper case would order '_' after 'A'
      {u"[", u"a", -1},
      {u"ab", u"abc", -1},
      {u"abc", u"AB", 1},
      {u"\u00c9", u"\u00e9", -1},  // no folding beyond ASCII
      {std::u16string(u"ab\0x", 4), u"AB", 0},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    EXPECT_EQ(Sign(CompareNoCase(rows[i].a, rows[i].b)), rows[i].sign) << "row " << i;
    EXPECT_EQ(Sign(CompareNoCaseNarrow(WideToUtf8(rows[i].a), WideToUtf8(rows[i].b))), rows[i].sign)
        << "narrow row " << i;
  }
  // Bytes beyond ASCII compare unsigned and unfolded.
  EXPECT_GT(CompareNoCaseNarrow("\xC3\xA9", "\xC3\x89"), 0);
  EXPECT_GT(CompareNoCaseNarrow("\xC3", "a"), 0);
}

TEST(TextTest, ToIntReadsLikeTheCRuntime) {
  struct Row {
    std::string text;
    int32_t value;
  };
  const Row rows[] = {
      {"42", 42},
      {"  -17x", -17},
      {"+5", 5},
      {"\t\n\v\f\r 7", 7},
      {"", 0},
      {"abc", 0},
      {"- 5", 0},
      {"0x1A", 0},
      {"007", 7},
      {"2147483647", 2147483647},
      {"-2147483648", -2147483647 - 1},
      {"2147483648", -2147483647 - 1},
      {"4294967297", 1},
      {"12 34", 12},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    EXPECT_EQ(NarrowToInt(rows[i].text), rows[i].value) << "row " << i;
    EXPECT_EQ(WideToInt(AsciiToWide(rows[i].text)), rows[i].value) << "row " << i;
  }
}

}  // namespace
