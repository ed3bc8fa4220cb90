#include "base/format.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "base/text.h"

namespace {

struct Row {
  const char* call;
  std::u16string got, want;
};
#define ROW(want, ...) {#__VA_ARGS__, FormatWideString(__VA_ARGS__), want}

TEST(FormatTest, ConversionsFlagsAndArguments) {
  const char16_t* nullText = nullptr;
  const Row rows[] = {
      // Without ll/I64 an integer is read as 32 bits.
      ROW(u"-16", u"%d", 0xFFFFFFF0u), ROW(u"ffffffff", u"%x", -1), ROW(u"4294967295", u"%u", -1),
      ROW(u"5", u"%d", int64_t{0x100000005}), ROW(u"-1", u"%ld", 0x1FFFFFFFFll),
      ROW(u"-9223372036854775808", u"%lld", std::numeric_limits<int64_t>::min()),
      ROW(u"18446744073709551615", u"%llu", std::numeric_limits<uint64_t>::max()),
      ROW(u"-5000000000", u"%I64d", int64_t{-5000000000}), ROW(u"5000000000", u"%zu", size_t{5000000000}),
      ROW(u"4464", u"%hd", 70000), ROW(u"-1", u"%hhd", 255), ROW(u"BEEF", u"%X", 0xBEEFu),
      // Flags, width, precision.
      ROW(u"[42   ][-0042]", u"[%-5d][%05d]", 42, -42),
      ROW(u"[+5][ 5][-5][5]", u"[%+d][% d][% d][%+u]", 5, 5, -5, 5u),
      ROW(u"[   007]", u"[%06.3d]", 7), ROW(u"[]", u"[%.0d]", 0), ROW(u"[123456]", u"[%5d]", 123456),
      ROW(u"[0xff][0XFF][0]", u"[%#x][%#X][%#x]", 255, 255, 0), ROW(u"[0x00ff]", u"[%#06x]", 255),
      ROW(u"[010][0]", u"[%#o][%#o]", 8, 0), ROW(u"[42   ][42]", u"[%*d][%.*d]", -5, 42, -1, 42),
      // Text and characters.
      ROW(u"w|w|w|(null)", u"%s|%ls|%ws|%s", std::u16string(u"w"), u"w", u"w", nullText),
      ROW(u"n\u00e4|\uFFFD", u"%hs|%hs", std::string("n\xC3\xA4"), "\xFF"),
      ROW(u"[ab    ][   ab]", u"[%-6s][%5.2s]", u"ab", u"abcdef"),
      ROW(u"[ab]", u"[%s]", std::u16string(u"ab\0cd", 5)),
      ROW(u"O\u00e9A%", u"%c%c%hc%%", u'O', u'\u00e9', 'A'),
      ROW(u"\U0001F600 \U0001F601", u"\U0001F600 %s", u"\U0001F601"),
      ROW(u"2.35|[-0001.50]|0.0001", u"%.2f|[%08.2f]|%g", 2.346, -1.5, 0.0001),
      // The wrong kind of argument, or none, prints nothing and keeps its place.
      ROW(u"[][][][][]", u"[%s][%s][%hs][%d][%f]", 5, "narrow", u"wide", 1.5, 3),
      ROW(u"[][b][3]", u"[%d][%s][%d]", u"a", u"b", 3), ROW(u"[1][]", u"[%d][%d]", 1),
      ROW(u"[7]", u"[%*d]", u"w", 7), ROW(u"[]", u"[%5s]", 1),
      // Malformed formats.
      ROW(u"50", u"50%"), ROW(u"a%yb", u"a%yb", 1), ROW(u"%-5q|7", u"%-5q|%d", 7), ROW(u"[]", u"[%n]", 1),
      ROW(u"", nullText, 1),
      // Cut at 2048 characters, whatever the text or the width asks for.
      ROW(u"ab" + std::u16string(2046, u'x'), u"ab%s", std::u16string(3000, u'x')),
      ROW(std::u16string(2048, u' '), u"%3000d", 1), ROW(std::u16string(2048, u' '), u"%2000000000d|", 1),
      // A precision is cut as a width is, and costs no memory past the limit.
      ROW(std::u16string(2048, u'0'), u"%.*d", 0x43202500, 7),
      ROW(u"1.5" + std::u16string(2045, u'0'), u"%.999999999f", 1.5),
      ROW(u"-1." + std::u16string(1200, u'0') + u"e+00", u"%.1200e", -1.0),
      ROW(u"0.5" + std::u16string(1199, u'0'), u"%#.1200g", 0.5), ROW(u"0.5", u"%.1200g", 0.5),
      ROW(u"[inf]", u"[%.5000f]", std::numeric_limits<double>::infinity()),
      // The result ends at its first NUL, as its zeroed buffer would.
      ROW(u"a", u"a%cb", 0),
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_EQ(rows[i].got, rows[i].want) << "row " << i << " " << rows[i].call << ": got '"
                                         << WideToUtf8(rows[i].got) << "'";
  }
}

TEST(FormatTest, LimitedFormsFollowTheCountRule) {
  // A surrogate pair at the edge is cut in half.
  EXPECT_EQ(FormatWideLimited(3, u"ab%s", u"\U0001F600"), (std::u16string{u'a', u'b', char16_t{0xD83D}}));
  EXPECT_EQ(FormatWideLimited(0, u"abc"), u"");
  struct Case {
    size_t count;
    const char16_t* text;
    int result;
    std::u16string stored;
  };
  const Case cases[] = {
      {10, u"abc", 3, u"abc"},
      {3, u"abc", 3, u"abc"},  // fits exactly: no terminator
      {2, u"abc", -1, u"ab"},
      {0, u"abc", -1, u""},
      {0, u"", 0, u""},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    const Case& c = cases[i];
    char16_t buffer[16];
    std::fill(std::begin(buffer), std::end(buffer), u'#');
    EXPECT_EQ(SafeFormatWide(buffer, c.count, u"%s", c.text), c.result) << "case " << i;
    EXPECT_EQ(std::u16string(buffer, c.stored.size()), c.stored) << "case " << i;
    EXPECT_EQ(buffer[c.stored.size()], u'#') << "case " << i << ": wrote past the text";
  }
  char16_t small[4];
  EXPECT_EQ(SafeFormatWide(small, 4, u"%2000000000d", 1), -1);
  EXPECT_EQ(std::u16string(small, 4), u"    ");
}

}  // namespace
