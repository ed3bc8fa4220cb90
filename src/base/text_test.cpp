#include "base/text.h"

#include <string>
#include <tuple>
#include <utility>

#include <gtest/gtest.h>

#include "platform/fake_platform.h"

namespace {

// UTF-8 is the codec's business (unicode_test); another code page is the
// platform's, and its failure gives "".
TEST(TextTest, OtherCodePagesGoThroughThePlatform) {
  platform::FakePlatform fake;
  EXPECT_EQ(AnsiToWide("key"), u"key");
  EXPECT_EQ(fake.CallCount("CodePageToWide"), 1u);
  fake.FailCall("WideToCodePage", 87);
  EXPECT_EQ(WideToMultiByte(u"key", kCodePageAnsi), "");
}

TEST(TextTest, ReadResourceTextStripsOnlyAWholeBom) {
  const std::string bom = "\xEF\xBB\xBF";
  const std::tuple<std::string, bool, int32_t, std::string> rows[] = {
      {bom, true, 0, ""}, {bom + "{}", true, 2, "{}"}, {bom + "{}", false, 5, bom + "{}"},
      {"\xEF\xBB", true, 2, "\xEF\xBB"},
      {std::string("\xEF\xBB\xBE\0", 4), true, 4, std::string("\xEF\xBB\xBE\0", 4)},
  };
  for (const auto& [bytes, stripBom, result, text] : rows) {
    platform::FakePlatform fake;
    fake.SetResource(104, u"BIN", bytes);
    std::string out = "old";
    EXPECT_EQ(ReadResourceText(104, u"BIN", &out, stripBom), result) << "resource of " << bytes.size() << " bytes";
    EXPECT_EQ(out, text);
  }
}

TEST(TextTest, CompareNoCaseFoldsAsciiToLowerCase) {
  const auto sign = [](int v) { return v < 0 ? -1 : (v > 0 ? 1 : 0); };
  const std::tuple<std::u16string, std::u16string, int> rows[] = {
      {u"Orvane.exe", u"ORVANE.EXE", 0}, {u"_", u"a", -1},  // folding to upper case would put '_' after 'A'
      {u"ab", u"ABC", -1}, {u"\u00c9", u"\u00e9", -1},      // no folding beyond ASCII; bytes compare unsigned
      {std::u16string(u"ab\0x", 4), u"AB", 0},
  };
  for (const auto& [a, b, want] : rows) {
    SCOPED_TRACE(WideToUtf8(a) + " vs " + WideToUtf8(b));
    EXPECT_EQ(sign(CompareNoCase(a, b)), want);
    EXPECT_EQ(sign(CompareNoCaseNarrow(WideToUtf8(a), WideToUtf8(b))), want);
  }
}

TEST(TextTest, ToIntReadsLikeTheCRuntime) {
  const std::pair<std::string, int32_t> rows[] = {
      {"  -17x", -17}, {"\t\n\v\f\r +7", 7}, {"abc", 0}, {"- 5", 0}, {"0x1A", 0}, {"-2147483648", -2147483647 - 1},
      {"2147483648", 2147483647}, {"4294967297", 2147483647}, {"-99999999999", -2147483647 - 1},
      {"000000000000000000000042", 42},
  };
  for (const auto& [text, value] : rows) {
    EXPECT_EQ(NarrowToInt(text), value) << "'" << text << "'";
    EXPECT_EQ(WideToInt(AsciiToWide(text)), value) << "'" << text << "'";
  }
}

}  // namespace
