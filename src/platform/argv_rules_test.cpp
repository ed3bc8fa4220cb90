#include "platform/argv_rules.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/unicode.h"

namespace platform {
namespace {

using List = std::vector<std::u16string>;

std::string Show(const List& list) {
  std::string out = "[";
  for (const auto& s : list) out += "<" + Utf16ToUtf8(s) + ">";
  return out + "]";
}

// One row per rule; the Windows oracle test checks many more lines.
TEST(ArgvRulesTest, SplitsAsWindowsDoes) {
  const std::pair<std::u16string, List> rows[] = {
      {u"", {}},
      {u"prog  a\t\tb  ", {u"prog", u"a", u"b"}},
      {u"  a b", {u"", u"a", u"b"}},
      // The program name: quotes delimit, backslashes are plain.
      {u"\"C:\\dir\\\" a", {u"C:\\dir\\", u"a"}},
      {u"\"a b\"c d", {u"a b", u"c", u"d"}},
      {std::u16string(u"p a\0b c", 8), {u"p", u"a"}},
      // Later arguments: quotes group and vanish; backslashes count only before a quote.
      {u"p a\"b c\"d \"unterminated arg", {u"p", u"ab cd", u"unterminated arg"}},
      {u"p a\\b c\\\\d trailing\\", {u"p", u"a\\b", u"c\\\\d", u"trailing\\"}},
      {u"p a\\\"b a\\\\\"b c\" a\\\\\\\"b", {u"p", u"a\"b", u"a\\b c", u"a\\\"b"}},
      // Two quotes inside a quoted run give one quote and end the run.
      {u"p \"a\"\"b c\"", {u"p", u"a\"b", u"c"}},
      {u"p \"\"\"", {u"p", u"\""}},
      // Only blank and tab separate.
      {u"p a\nb\vc", {u"p", u"a\nb\vc"}},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    const List got = SplitCommandLine(rows[i].first);
    EXPECT_EQ(got, rows[i].second) << "row " << i << " <" << Utf16ToUtf8(rows[i].first) << "> got " << Show(got);
  }
}

TEST(ArgvRulesTest, QuotesOnlyWhatNeedsIt) {
  const std::pair<std::u16string, std::u16string> rows[] = {
      {u"plain", u"plain"},
      {u"", u"\"\""},
      {u"tab\there", u"\"tab\there\""},
      {u"C:\\my dir\\", u"\"C:\\my dir\\\\\""},
      {u"\\\"", u"\"\\\\\\\"\""},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    EXPECT_EQ(QuoteArgument(rows[i].first), rows[i].second) << "row " << i;
  }
  EXPECT_EQ(JoinArguments({u"a", u"b c", u""}), u"a \"b c\" \"\"");
}

// Whatever the arguments hold, joining them behind a program name and
// splitting the line again gives them back.
TEST(ArgvRulesTest, JoinThenSplitRoundTrips) {
  const List awkward = {
      u"",           u" ",           u"plain",  u"two words",  u"\"",         u"\"\"",
      u"\\",         u"\\\\",        u"\\\"",   u"a\\\\\"b",   u"trailing\\", u"C:\\Program Files\\",
      u"mid\"dle",   u"tab\tand space",         u"new\nline",  u"\u00e9\u4e2d\U0001F600",
      u"--url=https://x/?a=1&b=\"2\"",          u"\\\\server\\share\\a b\\",
  };
  for (size_t i = 0; i < awkward.size(); ++i) {
    EXPECT_EQ(SplitCommandLine(u"prog " + QuoteArgument(awkward[i])), (List{u"prog", awkward[i]}))
        << "argument " << i;
  }
  List expected = awkward;
  expected.insert(expected.begin(), u"C:\\x y\\prog.exe");
  EXPECT_EQ(SplitCommandLine(u"\"C:\\x y\\prog.exe\" " + JoinArguments(awkward)), expected);
}

}  // namespace
}  // namespace platform
