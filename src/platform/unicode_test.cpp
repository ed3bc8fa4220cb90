#include "platform/unicode.h"

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

namespace platform {
namespace {

std::string Hex(std::u16string_view s) {
  std::string out;
  char buf[8];
  for (char16_t c : s) {
    std::snprintf(buf, sizeof buf, "%04X ", static_cast<unsigned>(c));
    out += buf;
  }
  return out;
}

// Well-formed text converts both ways without loss.
TEST(UnicodeTest, RoundTripsWellFormedText) {
  struct Row {
    std::string utf8;
    std::u16string utf16;
  };
  const Row rows[] = {
      {"", u""},
      {"plain ascii", u"plain ascii"},
      {"\xC3\xA9", u"\u00e9"},
      {"\xDF\xBF", u"\u07ff"},
      {"\xE0\xA0\x80", u"\u0800"},
      {"\xE2\x82\xAC", u"\u20ac"},
      {"\xEF\xBF\xBD", u"\ufffd"},
      {"\xEE\x80\x80", u"\ue000"},
      {"\xF0\x90\x80\x80", u"\U00010000"},
      {"\xF0\x9F\x98\x80", u"\U0001F600"},
      {"\xF4\x8F\xBF\xBF", u"\U0010FFFF"},
      {std::string("a\0b", 3), std::u16string(u"a\0b", 3)},
      {std::string("\0", 1), std::u16string(u"\0", 1)},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    EXPECT_EQ(Utf8ToUtf16(rows[i].utf8), rows[i].utf16) << "row " << i;
    EXPECT_EQ(Utf16ToUtf8(rows[i].utf16), rows[i].utf8) << "row " << i;
  }
}

// Each maximal ill-formed subpart becomes one U+FFFD and decoding resumes at
// the first byte that could not continue it.
TEST(UnicodeTest, ReplacesInvalidUtf8) {
  const char16_t R = 0xFFFD;
  struct Row {
    std::string utf8;
    std::u16string utf16;
  };
  const Row rows[] = {
      {"\x80", {R}},
      {"\xBF\x80", {R, R}},
      {"\xFF\xFF", {R, R}},
      {"\xC0\x41\x42", {R, u'A', u'B'}},
      {"\xC0\x80", {R, R}},                  // overlong NUL
      {"\xC1\xBF", {R, R}},                  // overlong
      {"\xE0\x80\x80", {R, R, R}},           // overlong three-byte form
      {"\xED\xA0\x80", {R, R, R}},           // an encoded surrogate
      {"\xF0\x80\x80\x80", {R, R, R, R}},    // overlong four-byte form
      {"\xF4\x90\x80\x80", {R, R, R, R}},    // above U+10FFFF
      {"\xF5\x80", {R, R}},
      {"\xE2\x82", {R}},                     // cut at the end
      {"\xE2\x82\x41", {R, u'A'}},           // cut by the next character
      {"a\xF0\x9F\x98", {u'a', R}},
      {"\xF0\x9F\x98\xC3\xA9", {R, u'\u00e9'}},
      {"\xC3", {R}},
      {"\xC3\xC3\xA9", {R, u'\u00e9'}},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    const std::u16string got = Utf8ToUtf16(rows[i].utf8);
    EXPECT_EQ(got, rows[i].utf16) << "row " << i << ": got " << Hex(got);
  }
}

TEST(UnicodeTest, ReplacesLoneSurrogates) {
  struct Row {
    std::u16string utf16;
    std::string utf8;
  };
  const Row rows[] = {
      {{0xD800}, "\xEF\xBF\xBD"},
      {{0xDC00}, "\xEF\xBF\xBD"},
      {{u'a', 0xD83D}, "a\xEF\xBF\xBD"},
      {{0xDE00, 0xD83D}, "\xEF\xBF\xBD\xEF\xBF\xBD"},  // pair in the wrong order
      {{0xD83D, u'x', 0xDE00}, "\xEF\xBF\xBDx\xEF\xBF\xBD"},
      {{0xD83D, 0xD83D, 0xDE00}, "\xEF\xBF\xBD\xF0\x9F\x98\x80"},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    EXPECT_EQ(Utf16ToUtf8(rows[i].utf16), rows[i].utf8) << "row " << i;
  }
}

}  // namespace
}  // namespace platform
