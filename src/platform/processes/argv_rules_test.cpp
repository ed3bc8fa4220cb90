#include "platform/processes/argv_rules.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace platform {
namespace {

using List = std::vector<std::u16string>;

// The splitting rules are checked line by line against the system's own
// splitter (ArgvRulesWinTest.SplitMatchesCommandLineToArgvW); here the two
// lines that cannot be handed to it.
TEST(ArgvRulesTest, SplitsAsWindowsDoes) {
  EXPECT_EQ(SplitCommandLine(u""), List{});
  EXPECT_EQ(SplitCommandLine(std::u16string(u"p a\0b c", 8)), (List{u"p", u"a"}));
}

TEST(ArgvRulesTest, QuotesOnlyWhatNeedsIt) {
  const std::pair<std::u16string, std::u16string> rows[] = {
      {u"plain", u"plain"}, {u"", u"\"\""}, {u"tab\there", u"\"tab\there\""},
      {u"C:\\my dir\\", u"\"C:\\my dir\\\\\""}, {u"\\\"", u"\"\\\\\\\"\""},
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
