#include "platform/argv_rules.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/unicode.h"

namespace platform {
namespace {

std::string Show(const std::vector<std::u16string>& list) {
  std::string out = "[";
  for (const auto& s : list) out += "<" + Utf16ToUtf8(s) + ">";
  return out + "]";
}

using List = std::vector<std::u16string>;

TEST(ArgvRulesTest, SplitsAsWindowsDoes) {
  struct Row {
    std::u16string line;
    List args;
  };
  const Row rows[] = {
      {u"", {}},
      {u"prog", {u"prog"}},
      {u"prog a b", {u"prog", u"a", u"b"}},
      {u"prog  a\t\tb  ", {u"prog", u"a", u"b"}},
      {u"  a b", {u"", u"a", u"b"}},
      {u" ", {u""}},
      // The program name: quotes delimit, backslashes are plain.
      {u"\"C:\\Program Files\\x.exe\" a", {u"C:\\Program Files\\x.exe", u"a"}},
      {u"\"C:\\dir\\\" a", {u"C:\\dir\\", u"a"}},
      {u"\"a b\"c d", {u"a b", u"c", u"d"}},
      {u"\"unterminated name", {u"unterminated name"}},
      {u"a\"b c", {u"a\"b", u"c"}},
      {u"\"\" x", {u"", u"x"}},
      {u"prog\nx y", {u"prog\nx", u"y"}},
      {std::u16string(u"p a\0b c", 8), {u"p", u"a"}},
      // Later arguments: quotes group, and vanish.
      {u"p \"a b\" c", {u"p", u"a b", u"c"}},
      {u"p a\"b c\"d", {u"p", u"ab cd"}},
      {u"p \"\"", {u"p", u""}},
      {u"p \"\" \"\"", {u"p", u"", u""}},
      {u"p \"unterminated arg", {u"p", u"unterminated arg"}},
      // Backslashes.
      {u"p a\\b c\\\\d", {u"p", u"a\\b", u"c\\\\d"}},
      {u"p a\\\"b", {u"p", u"a\"b"}},
      {u"p a\\\\\"b c\"", {u"p", u"a\\b c"}},
      {u"p a\\\\\\\"b", {u"p", u"a\\\"b"}},
      {u"p \"C:\\dir\\\\\" x", {u"p", u"C:\\dir\\", u"x"}},
      {u"p \"C:\\dir\\\" x", {u"p", u"C:\\dir\" x"}},
      {u"p trailing\\", {u"p", u"trailing\\"}},
      // Two quotes inside a quoted run give one quote and end the run.
      {u"p \"a\"\"b c\"", {u"p", u"a\"b", u"c"}},
      {u"p \"\"\"\"", {u"p", u"\""}},
      {u"p \"\"\"", {u"p", u"\""}},
      {u"p \"a\"\"\"b c\"", {u"p", u"a\"b c"}},
      {u"p a\"\"b", {u"p", u"ab"}},
      // Only blank and tab separate.
      {u"p a\nb\vc", {u"p", u"a\nb\vc"}},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    const List got = SplitCommandLine(rows[i].line);
    EXPECT_EQ(got, rows[i].args) << "row " << i << " line <" << Utf16ToUtf8(rows[i].line) << "> got "
                                 << Show(got);
  }
}

TEST(ArgvRulesTest, QuotesOnlyWhatNeedsIt) {
  struct Row {
    std::u16string arg;
    std::u16string quoted;
  };
  const Row rows[] = {
      {u"plain", u"plain"},
      {u"", u"\"\""},
      {u"a b", u"\"a b\""},
      {u"C:\\my dir\\", u"\"C:\\my dir\\\\\""},
      {u"say \"hi\"", u"\"say \\\"hi\\\"\""},
      {u"\\\"", u"\"\\\\\\\"\""},
      {u"tab\there", u"\"tab\there\""},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    EXPECT_EQ(QuoteArgument(rows[i].arg), rows[i].quoted) << "row " << i;
  }
  EXPECT_EQ(JoinArguments({u"a", u"b c", u""}), u"a \"b c\" \"\"");
  EXPECT_EQ(JoinArguments({}), u"");
}

// Whatever the arguments hold, joining them behind a program name and
// splitting the line again gives them back.
TEST(ArgvRulesTest, JoinThenSplitRoundTrips) {
  const List awkward = {
      u"",
      u" ",
      u"plain",
      u"two words",
      u"\"",
      u"\"\"",
      u"\\",
      u"\\\\",
      u"\\\"",
      u"a\\\\\"b",
      u"C:\\Program Files\\",
      u"C:\\Program Files\\\\",
      u"trailing\\",
      u"\"quoted\"",
      u"mid\"dle",
      u"tab\tand space",
      u"new\nline",
      u"--url=https://x/?a=1&b=\"2\"",
      u"\u00e9\u4e2d\U0001F600",
      u"\\\\server\\share\\a b\\",
  };
  for (size_t i = 0; i < awkward.size(); ++i) {
    const List one = {awkward[i]};
    const List split1 = SplitCommandLine(u"prog " + JoinArguments(one));
    EXPECT_EQ(List(split1.begin() + 1, split1.end()), one) << "argument " << i;
  }
  const List split = SplitCommandLine(u"\"C:\\x y\\prog.exe\" " + JoinArguments(awkward));
  ASSERT_FALSE(split.empty());
  EXPECT_EQ(split[0], u"C:\\x y\\prog.exe");
  EXPECT_EQ(List(split.begin() + 1, split.end()), awkward) << Show(split);
}

}  // namespace
}  // namespace platform
