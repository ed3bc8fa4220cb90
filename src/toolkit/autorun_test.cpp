#include "toolkit/autorun.h"

#include <string>
#include <vector>

#include "app/command_line.h"
#include "base/log_test_support.h"
#include "gtest/gtest.h"
#include "platform/processes/argv_rules.h"
#include "toolkit/toolkit_test_support.h"

namespace {

using platform::FakePlatform;

const std::u16string kRunPath = FakePlatform::RegistryPath(platform::Hive::kCurrentUser, kAutorunRunKey);

std::vector<uint8_t> Utf16(const std::u16string& text) {
  std::vector<uint8_t> bytes;
  for (char16_t c : text) bytes.insert(bytes.end(), {static_cast<uint8_t>(c), static_cast<uint8_t>(c >> 8)});
  bytes.insert(bytes.end(), {0, 0});
  return bytes;
}

// The data as the two readers of a command line see it: the system splits
// off the program whole (blanks and all), and the launcher's own parser
// finds both switches of the auto-launch gate.
TEST(AutorunCommandTest, StartsTheLauncherWithTheDelay) {
  struct Row {
    std::u16string launcher; uint32_t delay; std::u16string expected;
  } rows[] = {
      {u"C:\\Program Files\\Orvane\\Orvane.exe", 30,
       u"\"C:\\Program Files\\Orvane\\Orvane.exe\" --launch_from=auto-launch --auto_launch_delay_seconds=30"},
      {u"C:\\Orvane\\Orvane.exe", 0, u"\"C:\\Orvane\\Orvane.exe\" --launch_from=auto-launch --auto_launch_delay_seconds=0"},
      {u"D:\\\u00e4 b\\Orvane.exe", kMaxAutorunDelaySeconds,
       u"\"D:\\\u00e4 b\\Orvane.exe\" --launch_from=auto-launch --auto_launch_delay_seconds=2147483"},
      // What the data cannot carry: no value at all.
      {u"C:\\Orvane\\Orvane.exe", kMaxAutorunDelaySeconds + 1, u""},  // the gate's milliseconds would wrap
      {u"", 30, u""},
      {u"C:\\Or\"vane\\Orvane.exe", 30, u""},  // a quote would end the path early
      {u"C:\\Orvane\\", 30, u""},              // its backslash would escape the closing quote
      {u"C:\\Orvane/", 30, u""},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    const Row& row = rows[i];
    SCOPED_TRACE("row " + std::to_string(i));
    const std::u16string command = Utils::BuildAutorunCommand(row.launcher, row.delay);
    EXPECT_EQ(command, row.expected);
    if (command.empty()) continue;
    EXPECT_EQ(platform::SplitCommandLine(command)[0], row.launcher);
    CCommandLine parsed;
    parsed.ParseCommandLine(command, false);
    EXPECT_EQ(parsed.GetSwitchValue(u"launch_from"), u"auto-launch");
    EXPECT_EQ(parsed.GetSwitchValue(u"auto_launch_delay_seconds"), std::u16string(row.expected).substr(row.expected.rfind(u'=') + 1));
    EXPECT_EQ(parsed.arguments, std::vector<std::u16string>{u"\"" + row.launcher + u"\""});
  }
}

class AutorunTest : public orvane_test::OpenLogTest {
 protected:
  AutorunTest() { config.autolaunch_key = u"Orvane"; }
  CProductConfig config;
  const std::u16string launcher = u"C:\\Program Files\\Orvane\\Orvane.exe";
};

TEST_F(AutorunTest, SetReadRemove) {
  const std::u16string command = Utils::BuildAutorunCommand(launcher, 45);
  ASSERT_TRUE(Utils::SetAutorunValue(config, launcher, 45));
  // A REG_SZ with its terminator, under the configured name.
  ASSERT_EQ(fake.registry[kRunPath].count(u"Orvane"), 1u);
  EXPECT_EQ(fake.registry[kRunPath][u"Orvane"].type, platform::kRegSz);
  EXPECT_EQ(fake.registry[kRunPath][u"Orvane"].data, Utf16(command));

  std::u16string data = u"stale";
  EXPECT_TRUE(Utils::ReadAutorunValue(config, &data));
  EXPECT_EQ(data, command);

  // Written again with another delay: one value, the new data.
  ASSERT_TRUE(Utils::SetAutorunValue(config, launcher, 5));
  EXPECT_TRUE(Utils::ReadAutorunValue(config, &data));
  EXPECT_EQ(data, Utils::BuildAutorunCommand(launcher, 5));

  EXPECT_TRUE(Utils::RemoveAutorunValue(config));
  EXPECT_EQ(fake.registry[kRunPath].count(u"Orvane"), 0u);
  EXPECT_FALSE(Utils::ReadAutorunValue(config, &data));
  EXPECT_EQ(data, u"");
  // Removing what is not there leaves it gone: no failure.
  EXPECT_TRUE(Utils::RemoveAutorunValue(config));
  EXPECT_NE(LogText().find("Utils::RemoveAutorunValue, value 'Orvane' not found"), std::string::npos);
}

// What the registry may hold instead of a command, and calls it refuses.
TEST_F(AutorunTest, OddValuesAndRefusals) {
  struct Row {
    const char* what; uint32_t type; std::vector<uint8_t> bytes; bool ok; std::u16string data;
  } rows[] = {
      {"expandable text", 2, Utf16(u"\"C:\\a.exe\" --x"), true, u"\"C:\\a.exe\" --x"},
      {"text after a NUL", 1, Utf16(std::u16string(u"ab\0cd", 5)), true, u"ab"},
      {"a number", 4, {1, 0, 0, 0}, false, u""},
      {"longer than any command line", 1, Utf16(std::u16string(40000, u'x')), false, u""},
  };
  for (const Row& row : rows) {
    fake.registry[kRunPath][u"Orvane"] = {row.type, row.bytes};
    std::u16string data = u"stale";
    EXPECT_EQ(Utils::ReadAutorunValue(config, &data), row.ok) << row.what;
    EXPECT_EQ(data, row.data) << row.what;
  }
  fake.FailCall("ShSetValue", 5);
  EXPECT_FALSE(Utils::SetAutorunValue(config, launcher, 30));
  EXPECT_FALSE(Utils::SetAutorunValue(config, u"C:\\x\\", 30));  // no command for that path: never written
  fake.FailCall("ShGetValue", 5);
  std::u16string data;
  EXPECT_FALSE(Utils::ReadAutorunValue(config, &data));
  fake.FailCall("ShDeleteValue", 5);
  EXPECT_FALSE(Utils::RemoveAutorunValue(config));
  EXPECT_EQ(fake.CallCount("ShSetValue"), 1u);
  EXPECT_EQ(fake.registry[kRunPath][u"Orvane"].data, Utf16(std::u16string(40000, u'x')));
  for (const char* line : {"Utils::SetAutorunValue, set value 'Orvane' failed, error=5",
                           "Utils::SetAutorunValue, cannot start launcher",
                           "Utils::ReadAutorunValue, read value 'Orvane' failed, error=5",
                           "Utils::RemoveAutorunValue, delete value 'Orvane' failed, error=5"}) {
    EXPECT_NE(LogText().find(line), std::string::npos) << line;
  }
}

}  // namespace
