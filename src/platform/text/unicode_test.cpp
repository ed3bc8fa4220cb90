#include "platform/text/unicode.h"

#include <string>

#include <gtest/gtest.h>

namespace platform {
namespace {

struct Row { std::string utf8; std::u16string utf16; };

// Well-formed text converts both ways without loss, at each length boundary.
TEST(UnicodeTest, RoundTripsWellFormedText) {
  const Row rows[] = {
      {"", u""}, {"\xDF\xBF", u"\u07ff"}, {"\xE0\xA0\x80", u"\u0800"}, {"\xEF\xBF\xBD", u"\ufffd"},
      {"\xF0\x90\x80\x80", u"\U00010000"}, {"\xF4\x8F\xBF\xBF", u"\U0010FFFF"},
      {std::string("a\0b", 3), std::u16string(u"a\0b", 3)},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    EXPECT_EQ(Utf8ToUtf16(rows[i].utf8), rows[i].utf16) << "row " << i;
    EXPECT_EQ(Utf16ToUtf8(rows[i].utf16), rows[i].utf8) << "row " << i;
  }
}

// Each maximal ill-formed subpart becomes one U+FFFD and decoding resumes at
// the first byte that could not continue it; a lone surrogate becomes U+FFFD.
TEST(UnicodeTest, ReplacesIllFormedInput) {
  const char16_t R = 0xFFFD;
  const Row rows[] = {
      {"\x80\xFF", {R, R}},
      {"\xC0\x41", {R, u'A'}},
      {"\xC0\x80", {R, R}},                // overlong NUL
      {"\xE0\x80\x80", {R, R, R}},         // overlong three-byte form
      {"\xED\xA0\x80", {R, R, R}},         // an encoded surrogate
      {"\xF4\x90\x80\x80", {R, R, R, R}},  // above U+10FFFF
      {"a\xE2\x82", {u'a', R}},            // cut at the end
      {"\xE2\x82\x41", {R, u'A'}},         // cut by the next character
      {"\xF0\x9F\x98\xC3\xA9", {R, u'\u00e9'}},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    EXPECT_EQ(Utf8ToUtf16(rows[i].utf8), rows[i].utf16) << "row " << i;
  }
  const Row surrogates[] = {
      {"a\xEF\xBF\xBD", {u'a', 0xD83D}},
      {"\xEF\xBF\xBD\xEF\xBF\xBD", {0xDE00, 0xD83D}},  // pair in the wrong order
      {"\xEF\xBF\xBD\xF0\x9F\x98\x80", {0xD83D, 0xD83D, 0xDE00}},
  };
  for (size_t i = 0; i < sizeof surrogates / sizeof surrogates[0]; ++i) {
    EXPECT_EQ(Utf16ToUtf8(surrogates[i].utf16), surrogates[i].utf8) << "surrogate row " << i;
  }
}

}  // namespace
}  // namespace platform
