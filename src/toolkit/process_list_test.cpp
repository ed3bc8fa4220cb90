#include "toolkit/process_list.h"

#include <string>

#include "base/log_test_support.h"
#include "gtest/gtest.h"
#include "toolkit/toolkit_test_support.h"

namespace {

using orvane_test::LinePrefix;

using ProcessListTest = orvane_test::OpenLogTest;

TEST_F(ProcessListTest, OneLinePerProcess) {
  fake.processList = {{0, 0, u"[System Process]"}, {4, 0, u"System"}, {4312, 812, u"Orvane.exe"},
                      {70000, 4312, u"n\u00e4me with blanks.exe"}};
  EXPECT_EQ(Utils::LogProcessList(), 4);
  const std::vector<std::string> lines = LogLines();
  const std::vector<std::string> expected = {
      LinePrefix("INFO") + "Utils::LogProcessList, 4 processes",
      LinePrefix("INFO") + "Utils::LogProcessList, pid:0 parent:0 name:[System Process]",
      LinePrefix("INFO") + "Utils::LogProcessList, pid:4 parent:0 name:System",
      LinePrefix("INFO") + "Utils::LogProcessList, pid:4312 parent:812 name:Orvane.exe",
      LinePrefix("INFO") + "Utils::LogProcessList, pid:70000 parent:4312 name:n\xC3\xA4me with blanks.exe",
  };
  ASSERT_GE(lines.size(), expected.size() + 1);  // the banner first
  EXPECT_EQ(std::vector<std::string>(lines.end() - static_cast<long>(expected.size()), lines.end()), expected);
}

TEST_F(ProcessListTest, NoSnapshotNoLines) {
  struct Row {
    const char* what; bool fails; const char* logged;
  } rows[] = {
      {"snapshot refused", true, "Utils::LogProcessList, create process snapshot failed, error=5"},
      {"first entry unreadable", false, "Utils::LogProcessList, process snapshot empty, error=0"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    fake.processList.clear();
    if (row.fails) fake.FailCall("SnapshotProcesses", 5);
    const size_t before = LogText().size();
    EXPECT_EQ(Utils::LogProcessList(), 0);
    EXPECT_EQ(LogText().substr(before), LinePrefix("WARN") + row.logged + "\r\n");
  }
}

// The real snapshot, natively and under Wine: this process is listed with
// a parent and its own name.
TEST(ProcessListNative, ListsThisProcess) {
  ResetLogStateForTesting();
  orvane_test::TempDir temp;
  OpenLogFile(temp.core(), u"native.log");
  auto& env = platform::NativeService<platform::Environment>();
  const uint32_t pid = env.ProcessId();
  EXPECT_GT(Utils::LogProcessList(), 1);
  const std::string log = orvane_test::ReadFileBytes(temp.path() / "native.log");
  ResetLogStateForTesting();
  const std::string mine = "Utils::LogProcessList, pid:" + std::to_string(pid) + " parent:";
  const size_t at = log.find(mine);
  ASSERT_NE(at, std::string::npos) << log.substr(0, 2000);
  // A parent, and this program's own name.
  const std::string rest = log.substr(at + mine.size(), log.find("\r\n", at) - at - mine.size());
  EXPECT_EQ(rest.find_first_of("0123456789"), 0u) << rest;
  EXPECT_NE(rest.find(" name:toolkit_tests"), std::string::npos) << rest;
}

}  // namespace
