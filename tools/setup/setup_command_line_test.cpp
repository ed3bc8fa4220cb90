#include "setup_command_line.h"

#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "setup_paths.h"

namespace {

using setup::Command;

std::vector<std::u16string> Split(const std::string& line) {
  std::vector<std::u16string> args;
  std::u16string current;
  for (char c : line + " ") {
    if (c == ' ') {
      if (!current.empty()) args.push_back(current);
      current.clear();
    } else {
      current.push_back(static_cast<char16_t>(c == '_' ? ' ' : c));  // '_' stands for a blank inside one argument
    }
  }
  return args;
}

TEST(SetupCommandLineTest, AcceptsEachCommandsSwitchesOnly) {
  struct Row {
    const char* line;
    const char* error;  // a part of the error line; "" when accepted
  } rows[] = {
      {"install a.zip --version 1.0", ""},
      {"install a.zip --version 1.0 --root C:\\x_y --autorun 30 --launcher L.exe", ""},
      {"update --version 2.0 a.zip --md5 0123456789ABCDEF0123456789abcdef", ""},
      {"uninstall --root D:\\p", ""},
      {"uninstall", ""},
      {"", "no command"},
      {"remove", "unknown command 'remove'"},
      {"install a.zip", "needs an archive and --version"},
      {"install --version 1.0", "needs an archive and --version"},
      {"install a.zip b.zip --version 1.0", "unexpected argument 'b.zip'"},
      {"uninstall a.zip", "unexpected argument"},
      {"install a.zip --version", "--version needs a value"},
      {"install a.zip --version 1.0 --md5 0123456789abcdef0123456789abcdef", "unexpected switch --md5"},
      {"update a.zip --version 1.0 --autorun 5", "unexpected switch --autorun"},
      {"uninstall --version 1.0", "unexpected switch --version"},
      {"install a.zip --version 1.0 --autorun -1", "--autorun takes a number"},
      {"install a.zip --version 1.0 --autorun 4294967296", "--autorun takes a number"},
      {"update a.zip --version 1.0 --md5 0123", "--md5 takes 32 hex digits"},
      {"update a.zip --version 1.0 --md5 g123456789abcdef0123456789abcdef", "--md5 takes 32 hex digits"},
      {"install a.zip --version ..", "not one plain directory name"},
      {"install a.zip --version 1\\0", "not one plain directory name"},
      {"install a.zip --version x:y", "not one plain directory name"},
      {"install a.zip --version 1.0_", "not one plain directory name"},  // trailing blank
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    setup::Options options;
    std::string error;
    const bool ok = setup::ParseSetupCommandLine(Split(rows[i].line), &options, &error);
    EXPECT_EQ(ok, *rows[i].error == '\0') << i << " " << rows[i].line << ": " << error;
    if (!ok) {
      EXPECT_NE(error.find(rows[i].error), std::string::npos) << i << ": " << error;
    }
  }
}

TEST(SetupCommandLineTest, KeepsTheValuesItWasGiven) {
  setup::Options options;
  std::string error;
  ASSERT_TRUE(setup::ParseSetupCommandLine(
      Split("update a_b.zip --version 2.0-beta --root C:\\Pro_gram --md5 0123456789ABCDEF0123456789abcdef"), &options,
      &error));
  EXPECT_EQ(options.command, Command::kUpdate);
  EXPECT_EQ(options.archive, u"a b.zip");
  EXPECT_EQ(options.version, u"2.0-beta");
  EXPECT_EQ(options.root, u"C:\\Pro gram");
  EXPECT_EQ(options.md5, u"0123456789abcdef0123456789abcdef");
  EXPECT_FALSE(options.autorunSeconds.has_value());
  ASSERT_TRUE(setup::ParseSetupCommandLine(Split("install a.zip --version 1 --autorun 0"), &options, &error));
  EXPECT_EQ(options.autorunSeconds.value_or(99), 0u);
}

TEST(SetupPathsTest, Utf8RoundTripsAndBadBytesBecomeReplacements) {
  const std::u16string text = u"C:\\Users\\\u00e9\u4e2d\\\U0001F600";
  EXPECT_EQ(setup::FromUtf8(setup::ToUtf8(text)), text);
  EXPECT_EQ(setup::FromUtf8("a\xff" "b\xe4"), u"a\ufffdb\ufffd");
  EXPECT_EQ(setup::ToUtf8(u"\xd800x"), "\xef\xbf\xbdx");  // a lone surrogate
  EXPECT_TRUE(setup::SameName(u"APP", u"app"));
  EXPECT_FALSE(setup::SameName(u"app", u"app2"));
}

}  // namespace
