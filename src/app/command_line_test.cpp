#include "app/command_line.h"

#include <map>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "platform/processes/argv_rules.h"

namespace {

using Switches = std::map<std::u16string, std::u16string>;
using Arguments = std::vector<std::u16string>;

std::string Narrow(const std::u16string& text) { return std::string(text.begin(), text.end()); }

// The common shapes (prefixes, sorting, quoted values and positionals) are
// proven end to end; these rows hold the odd ones.
TEST(CommandLineTest, ParseRows) {
  const struct {
    std::u16string text;
    Switches switches;
    Arguments arguments;
    bool strip = false;
  } rows[] = {
      {u"--x=1 --x=2", {{u"x", u"2"}}, {}},
      {u"--X=1 --x=2", {{u"X", u"1"}, {u"x", u"2"}}, {}},
      {u"--=x", {{u"", u"x"}}, {}},
      {u"---x", {{u"-x", u""}}, {}},
      {u"//", {{u"/", u""}}, {}},
      {u"--x=\"\"", {{u"x", u""}}, {}},
      {u"--x=\"a b\"c", {{u"x", u"\"a b\"c"}}, {}},
      {u"--a\"b c\"=d", {{u"a\"b c\"", u"d"}}, {}},
      {u"\"--x=1\"", {}, {u"\"--x=1\""}},
      {u"a=b", {}, {u"a=b"}},
      {u"", {}, {}},
      {u"--a -- --b=2 x /- y", {{u"a", u""}, {u"b", u"2"}}, {u"x", u"y"}},  // "--" and "/-" vanish
      {u"- / \"", {}, {u"-", u"/", u"\""}},                                  // one character: positional
      {u"/foo C:/foo /-x=1", {{u"foo", u""}, {u"x", u"1"}}, {u"C:/foo"}},
      {u"--p=\"C:\\Program Files\\\" --q=1 r", {{u"p", u"\"C:\\Program Files\\\" --q=1 r"}}, {}},
      {u"--a\t--b", {{u"a\t--b", u""}}, {}},                               // a tab does not separate
      {u"a\"b c d\"e f x\"y z", {}, {u"a\"b c d\"e", u"f", u"x\"y z"}},    // quotes carry over
      {u"a\\\"b c a\\\\\"b d", {}, {u"a\\\"b", u"c", u"a\\\\\"b", u"d"}},  // \" does not toggle
      {u"--\"k=v\"=w --k=", {{u"\"k", u"v\"=w"}, {u"k", u""}}, {}},         // the first '=' counts
      {u"  --a=1    b   ", {{u"a", u"1"}}, {u"b"}},
      {u"\"--x=1\" \"--y=a b\" z", {{u"x", u"1"}, {u"y", u"a b"}}, {u"z"}, true},
  };
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    CCommandLine commandLine;
    EXPECT_TRUE(commandLine.ParseCommandLine(rows[i].text, rows[i].strip));
    EXPECT_EQ(commandLine.switches, rows[i].switches) << "row " << i << ": " << Narrow(rows[i].text);
    EXPECT_EQ(commandLine.arguments, rows[i].arguments) << "row " << i << ": " << Narrow(rows[i].text);
  }
}

TEST(CommandLineTest, ToCommandStringRows) {
  const struct {
    std::u16string text, serialised;
  } rows[] = {
      {u"", u""},
      {u"--b --a --B --_ --\u00e9", u"--B --_ --a --b --\u00e9"},  // code-unit order
      {u"--x= --y=\"\" --=v", u"--=v --x --y"},
      {u"--g=\"h i\" --j=\"k\" --x=\"a b\"c", u"--g=\"h i\" --j=k --x=\"\"a b\"c\""},
  };
  for (const auto& row : rows) {
    CCommandLine commandLine;
    commandLine.ParseCommandLine(row.text, false);
    std::u16string out = u"stale";
    EXPECT_EQ(commandLine.ToCommandString(out), row.serialised) << Narrow(row.text);
  }
}

// The Linux road: argv as a Linux user passes it, through the entry's
// Windows form, the parser and the serialiser, and back into the arguments
// the application gets from the Linux process start. Each argument arrives
// whole; the rows marked lossy are the documented ones that cannot.
TEST(CommandLineTest, LinuxArgumentsReachTheApplicationWhole) {
  using List = std::vector<std::u16string>;
  const struct {
    List argv;
    List received;  // switches sorted first, then positionals
  } rows[] = {
      {{u"plain", u"--z=1", u"-a"}, {u"--a", u"--z=1", u"plain"}},
      {{u"--g=h i", u"a b"}, {u"--g=h i", u"a b"}},
      {{u"/home/ann/x.txt", u"/home/ann/my file.txt"}, {u"/home/ann/x.txt", u"/home/ann/my file.txt"}},
      {{u"--file=/home/ann/x.txt", u"/"}, {u"--file=/home/ann/x.txt", u"/"}},
      {{u"", u"-", u"tab\there"}, {u"", u"-", u"tab\there"}},
      {{u"--name=Zo\u00eb \u4e2d", u"\u00e9t\u00e9.txt"}, {u"--name=Zo\u00eb \u4e2d", u"\u00e9t\u00e9.txt"}},
      {{u"back\\slash", u"C:\\dir\\a b"}, {u"back\\slash", u"C:\\dir\\a b"}},
      {{u"--with space"}, {u"--with space"}},
      // Lossy: a double quote inside an argument has no Windows form that the
      // parser and the serialiser both keep, and a value with a blank that
      // ends in a backslash escapes its own closing quote, as on Windows.
      {{u"say\"hi\""}, {u"sayhi"}},
      {{u"--v=C:\\Program Files\\"}, {u"--v=C:\\Program Files\""}},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    CCommandLine commandLine;
    commandLine.ParseCommandLine(platform::CommandLineFromPosixArguments(rows[i].argv), false);
    std::u16string text;
    commandLine.ToCommandString(text);
    List got = platform::SplitPosixLaunchLine(u"\"/app/Orvane\" " + text);
    got.erase(got.begin());
    EXPECT_EQ(got, rows[i].received) << "row " << i << ": " << Narrow(text);
  }
}

TEST(CommandLineDeathTest, LoneOpeningQuoteAtTheEndEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const char16_t* text : {u"--x=\"", u"a --=\""}) {
    EXPECT_EXIT(CCommandLine().ParseCommandLine(text, false), ::testing::ExitedWithCode(3), "malformed switch value");
  }
}

}  // namespace
