// Oracle: our splitting rules against the system's own CommandLineToArgvW,
// over a table of awkward command lines, and the quoting read back by it.
#include <windows.h>
#include <shellapi.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/processes/argv_rules.h"
#include "platform/text/unicode.h"
#include "platform/text/win_text.h"

namespace platform {
namespace {

using List = std::vector<std::u16string>;

List SystemSplit(const std::u16string& line) {
  int count = 0;
  wchar_t** argv = CommandLineToArgvW(AsWide(line), &count);
  List out;
  if (argv == nullptr) return out;
  for (int i = 0; i < count; ++i) out.push_back(FromWide(argv[i]));
  LocalFree(argv);
  return out;
}

std::string Show(const List& list) {
  std::string out = "[";
  for (const auto& s : list) out += "<" + Utf16ToUtf8(s) + ">";
  return out + "]";
}

TEST(ArgvRulesWinTest, SplitMatchesCommandLineToArgvW) {
  const std::u16string lines[] = {
      u"prog\nx y",          u"prog\tx",           u"prog\x01x",           u"\"a b\"\tc",
      u"prog  a\t\tb  ",     u"  a b",             u" ",                   u"\t",
      u"\"C:\\dir\\\" a",    u"\"a b\"c d",        u"\"unterminated name", u"a\"b c",
      u"\"\" x",             u"p a\"b c\"d",       u"p \"\" \"\"",         u"p \"unterminated arg",
      u"p a\\b c\\\\d",      u"p a\\\"b",          u"p a\\\\\"b c\"",      u"p a\\\\\\\"b",
      u"p \"C:\\dir\\\\\" x", u"p \"C:\\dir\\\" x", u"p trailing\\",        u"p \"a\"\"b c\"",
      u"p \"\"\"\"",         u"p \"\"\"",          u"p a\"\"b",            u"p \"a\"\"\"b c\"",
      u"p \\\\\\\\\"",       u"p a\nb\vc",         u"p \u00e9\u4e2d \U0001F600",
  };
  for (size_t i = 0; i < sizeof lines / sizeof lines[0]; ++i) {
    const List ours = SplitCommandLine(lines[i]);
    const List system = SystemSplit(lines[i]);
    EXPECT_EQ(ours, system) << "line " << i << " <" << Utf16ToUtf8(lines[i]) << ">: ours " << Show(ours)
                            << " system " << Show(system);
  }
}

TEST(ArgvRulesWinTest, CommandLineToArgvWReadsOurQuotingBack) {
  const List awkward = {
      u"",        u" ",       u"plain",      u"two words",        u"\"",
      u"\"\"",    u"\\",      u"\\\\",       u"\\\"",             u"a\\\\\"b",
      u"trailing\\",          u"mid\"dle",   u"tab\tand space",   u"\\\\server\\share\\a b\\",
  };
  List expected = awkward;
  expected.insert(expected.begin(), u"C:\\x y\\prog.exe");
  EXPECT_EQ(SystemSplit(u"\"C:\\x y\\prog.exe\" " + JoinArguments(awkward)), expected);
}

}  // namespace
}  // namespace platform
