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
  std::u16string got;
  std::u16string want;
};

void CheckRows(const Row* rows, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    EXPECT_EQ(rows[i].got, rows[i].want) << "row " << i << ": got '" << WideToUtf8(rows[i].got) << "' want '"
                                         << WideToUtf8(rows[i].want) << "'";
  }
}

TEST(FormatTest, IntegersReadAtTheirLengthModifier) {
  const int64_t minLongLong = std::numeric_limits<int64_t>::min();
  const Row rows[] = {
      {FormatWideString(u"%d", 0xFFFFFFF0u), u"-16"},
      {FormatWideString(u"%x", -1), u"ffffffff"},
      {FormatWideString(u"%u", -1), u"4294967295"},
      {FormatWideString(u"%d", int64_t{0x100000005}), u"5"},
      {FormatWideString(u"%lld", minLongLong), u"-9223372036854775808"},
      {FormatWideString(u"%llu", uint64_t{18446744073709551615u}), u"18446744073709551615"},
      {FormatWideString(u"%llx", -1), u"ffffffffffffffff"},
      {FormatWideString(u"%I64d", int64_t{-5000000000}), u"-5000000000"},
      {FormatWideString(u"%I64u", uint64_t{5000000000}), u"5000000000"},
      {FormatWideString(u"%zu", size_t{5000000000}), u"5000000000"},
      {FormatWideString(u"%ld", 0x1FFFFFFFFll), u"-1"},
      {FormatWideString(u"%hd", 70000), u"4464"},
      {FormatWideString(u"%hu", -1), u"65535"},
      {FormatWideString(u"%hhd", 255), u"-1"},
      {FormatWideString(u"%hhu", 257), u"1"},
      {FormatWideString(u"%d", std::numeric_limits<int32_t>::min()), u"-2147483648"},
      {FormatWideString(u"%X", 0xBEEFu), u"BEEF"},
  };
  CheckRows(rows, sizeof rows / sizeof rows[0]);
}

TEST(FormatTest, FlagsWidthAndPrecision) {
  const Row rows[] = {
      {FormatWideString(u"[%5d]", 42), u"[   42]"},
      {FormatWideString(u"[%-5d]", 42), u"[42   ]"},
      {FormatWideString(u"[%05d]", -42), u"[-0042]"},
      {FormatWideString(u"[%+d][%+d]", 5, -5), u"[+5][-5]"},
      {FormatWideString(u"[% d][% d]", 5, -5), u"[ 5][-5]"},
      {FormatWideString(u"[%.3d]", 7), u"[007]"},
      {FormatWideString(u"[%06.3d]", 7), u"[   007]"},
      {FormatWideString(u"[%.0d]", 0), u"[]"},
      {FormatWideString(u"[%08x]", 0xABCu), u"[00000abc]"},
      {FormatWideString(u"[%04x]", 0x12345u), u"[12345]"},
      {FormatWideString(u"[%#x][%#X][%#x]", 255, 255, 0), u"[0xff][0XFF][0]"},
      {FormatWideString(u"[%#06x]", 255), u"[0x00ff]"},
      {FormatWideString(u"[%#o][%#o]", 8, 0), u"[010][0]"},
      {FormatWideString(u"[%+u]", 5u), u"[5]"},
      {FormatWideString(u"[%5d]", 123456), u"[123456]"},
      {FormatWideString(u"[%*d]", 5, 42), u"[   42]"},
      {FormatWideString(u"[%*d]", -5, 42), u"[42   ]"},
      {FormatWideString(u"[%.*d]", 4, 42), u"[0042]"},
      {FormatWideString(u"[%.*d]", -1, 42), u"[42]"},
  };
  CheckRows(rows, sizeof rows / sizeof rows[0]);
}

TEST(FormatTest, TextAndCharacters) {
  const std::u16string wide = u"wide";
  const std::string narrow = "n\xC3\xA4rrow";  // UTF-8 of "närrow"
  const char16_t* nullWide = nullptr;
  const Row rows[] = {
      {FormatWideString(u"%s", wide), u"wide"},
      {FormatWideString(u"%s", u"literal"), u"literal"},
      {FormatWideString(u"%s", nullWide), u"(null)"},
      {FormatWideString(u"%ls|%ws", wide, wide), u"wide|wide"},
      {FormatWideString(u"%hs", narrow), u"n\u00e4rrow"},
      {FormatWideString(u"%hs", "\xFF"), u"\uFFFD"},
      {FormatWideString(u"[%6s]", u"ab"), u"[    ab]"},
      {FormatWideString(u"[%-6s]", u"ab"), u"[ab    ]"},
      {FormatWideString(u"[%.3s]", u"abcdef"), u"[abc]"},
      {FormatWideString(u"[%5.2s]", u"abcdef"), u"[   ab]"},
      {FormatWideString(u"[%.*s]", 2, u"abcdef"), u"[ab]"},
      {FormatWideString(u"[%s]", std::u16string(u"ab\0cd", 5)), u"[ab]"},
      {FormatWideString(u"%c%c", u'O', u'\u00e9'), u"O\u00e9"},
      {FormatWideString(u"[%3c]", u'x'), u"[  x]"},
      {FormatWideString(u"%hc", 'A'), u"A"},
      {FormatWideString(u"100%% sure"), u"100% sure"},
      {FormatWideString(u"\U0001F600 %s", u"\U0001F601"), u"\U0001F600 \U0001F601"},
  };
  CheckRows(rows, sizeof rows / sizeof rows[0]);
}

TEST(FormatTest, Doubles) {
  const Row rows[] = {
      {FormatWideString(u"%f", 1.5), u"1.500000"},
      {FormatWideString(u"%.2f", 2.346), u"2.35"},
      {FormatWideString(u"[%8.3f]", -3.14159), u"[  -3.142]"},
      {FormatWideString(u"[%08.2f]", -1.5), u"[-0001.50]"},
      {FormatWideString(u"%g", 0.0001), u"0.0001"},
  };
  CheckRows(rows, sizeof rows / sizeof rows[0]);
}

// An argument of the wrong kind, or none at all, prints nothing, and the
// conversion still takes its place in the list.
TEST(FormatTest, MismatchedAndMissingArgumentsPrintNothing) {
  const Row rows[] = {
      {FormatWideString(u"[%s]", 5), u"[]"},
      {FormatWideString(u"[%s]", "narrow"), u"[]"},
      {FormatWideString(u"[%hs]", u"wide"), u"[]"},
      {FormatWideString(u"[%d]", u"text"), u"[]"},
      {FormatWideString(u"[%d]", 1.5), u"[]"},
      {FormatWideString(u"[%f]", 3), u"[]"},
      {FormatWideString(u"[%c]", u"x"), u"[]"},
      {FormatWideString(u"[%d][%s][%d]", u"a", u"b", 3), u"[][b][3]"},
      {FormatWideString(u"[%d][%d]", 1), u"[1][]"},
      {FormatWideString(u"[%s]"), u"[]"},
      {FormatWideString(u"[%*d]", u"w", 7), u"[7]"},
      {FormatWideString(u"[%5s]", 1), u"[]"},
  };
  CheckRows(rows, sizeof rows / sizeof rows[0]);
}

TEST(FormatTest, MalformedFormats) {
  const char16_t* nullFormat = nullptr;
  const Row rows[] = {
      {FormatWideString(u"50%"), u"50"},
      {FormatWideString(u"a%yb", 1), u"a%yb"},
      {FormatWideString(u"%-5q|%d", 7), u"%-5q|7"},
      {FormatWideString(u"[%n]", 1), u"[]"},
      {FormatWideString(nullFormat, 1), u""},
      {FormatWideString(u""), u""},
  };
  CheckRows(rows, sizeof rows / sizeof rows[0]);
}

TEST(FormatTest, TheLogLineFormats) {
  const Row rows[] = {
      {FormatWideString(u"%s [%s][%5d][%5d] [%s] %s", u"2026-11-14 13:22:06.123", u"INFO", 4312u, 9120u,
                        u"launcher", u"CmdLine size is 2"),
       u"2026-11-14 13:22:06.123 [INFO][ 4312][ 9120] [launcher] CmdLine size is 2"},
      {FormatWideString(u"%s [%s][%5d][%5d] [%s] %s", u"t", u"DEBG", 123456u, 7u, u"", u"m"),
       u"t [DEBG][123456][    7] [] m"},
      {FormatWideString(u"%04d-%02d-%02d %02d:%02d:%02d.%03d", 2026, 1, 2, 3, 4, 5, 6), u"2026-01-02 03:04:05.006"},
      {FormatWideString(u"%s-%s.log", u"Orvane", u"launcher"), u"Orvane-launcher.log"},
      {FormatWideString(u"hr=%x error=%d", 0x80070005u, 5), u"hr=80070005 error=5"},
  };
  CheckRows(rows, sizeof rows / sizeof rows[0]);
}

TEST(FormatTest, FormatWideStringCutsAt2048) {
  const std::u16string long3000(3000, u'x');
  EXPECT_EQ(FormatWideString(u"%s", long3000).size(), 2048u);
  EXPECT_EQ(FormatWideString(u"ab%s", long3000).substr(0, 3), u"abx");
  EXPECT_EQ(FormatWideString(u"%3000d", 1).size(), 2048u);
  // A width far beyond the limit costs nothing beyond it.
  EXPECT_EQ(FormatWideString(u"%2000000000d|", 1).size(), 2048u);

  // A surrogate pair at the edge is cut in half.
  const std::u16string cut = FormatWideLimited(3, u"ab%s", u"\U0001F600");
  ASSERT_EQ(cut.size(), 3u);
  EXPECT_EQ(cut[2], char16_t{0xD83D});
  EXPECT_EQ(FormatWideLimited(0, u"abc"), u"");
}

TEST(FormatTest, SafeFormatWideFollowsTheCountRule) {
  struct Case {
    size_t count;
    const char16_t* text;
    int result;
    std::u16string stored;
  };
  const Case cases[] = {
      {10, u"abc", 3, u"abc"},
      {3, u"abc", 3, u"abc"},  // fits exactly: no room for, and no, terminator
      {2, u"abc", -1, u"ab"},
      {0, u"abc", -1, u""},
      {0, u"", 0, u""},
  };
  for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
    const Case& c = cases[i];
    char16_t buffer[16];
    std::fill(std::begin(buffer), std::end(buffer), u'#');
    const int result = SafeFormatWide(buffer, c.count, u"%s", c.text);
    EXPECT_EQ(result, c.result) << "case " << i;
    EXPECT_EQ(std::u16string(buffer, c.stored.size()), c.stored) << "case " << i;
    EXPECT_EQ(buffer[c.stored.size()], u'#') << "case " << i << ": wrote past the text";
  }

  char16_t small[4];
  EXPECT_EQ(SafeFormatWide(small, 4, u"%2000000000d", 1), -1);
  EXPECT_EQ(std::u16string(small, 4), u"    ");
}

}  // namespace
