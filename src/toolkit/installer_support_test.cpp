// The toolkit's operations that an installer needs beyond the unpacking:
// ending the product's processes, creating its shortcut, and reading the
// product configuration from text.
#include <string>
#include <vector>

#include "base/log_test_support.h"
#include "gtest/gtest.h"
#include "platform/processes/fake_process_end.h"
#include "platform/shell/fake_shell_links.h"
#include "toolkit/process_end.h"
#include "toolkit/product_config_text.h"
#include "toolkit/shortcut_create.h"

namespace {

class InstallerSupportTest : public orvane_test::LogFileTest {
 protected:
  void SetUp() override {
    LogFileTest::SetUp();
    OpenLog();
  }
};

TEST_F(InstallerSupportTest, EndProcessesCountsWhatStillRuns) {
  platform::FakeProcessEnd end;
  end.answers = {{11, 0}, {12, 87}, {13, 5}, {14, 1460}};
  std::vector<CFoundProcess> list(6);
  const uint32_t pids[] = {11, 12, 13, 14, 0, fake.processId};
  for (size_t i = 0; i < list.size(); ++i) list[i].processId = pids[i];
  // 13 refused and 14 not ended in time stay; 12 had gone already; 0 and
  // the caller itself are never asked.
  EXPECT_EQ(Utils::EndProcesses(list, 100), 2);
  EXPECT_EQ(end.calls, (std::vector<uint32_t>{11, 12, 13, 14}));
  const std::string log = LogText();
  EXPECT_NE(log.find("EndProcesses: 13  still runs, error=5"), std::string::npos) << log;
  EXPECT_NE(log.find("EndProcesses: 14  still runs, error=1460"), std::string::npos) << log;
}

TEST_F(InstallerSupportTest, CreateShortcutWritesEveryFieldOrNamesTheFailingStep) {
  struct Row {
    const char* failing;  // the step that fails, "" for none
    bool saved;
    const char* logged;  // paths in the log are encoded: the step alone
  } rows[] = {
      {"", true, "CreateShortcut: "},
      {"CreateLink", false, "CreateShortcut: CreateLink failed, hr=0x80004005"},
      {"SetPath", false, "CreateShortcut: SetPath failed"},
      {"SetAppUserModelId", false, "CreateShortcut: SetAppUserModelId failed"},
      {"Save", false, "CreateShortcut: Save failed"},
      {"SetArguments", true, "CreateShortcut: "},  // decoration only
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    ReopenLog();
    platform::FakeShellLinks links;
    if (*rows[i].failing) links.failing[rows[i].failing] = static_cast<int32_t>(0x80004005u);
    EXPECT_EQ(Utils::CreateShortcut(u"C:\\s\\O.lnk", u"C:\\r\\Orvane.exe", u"--x", u"C:\\r\\", u"com.electron.O"),
              rows[i].saved)
        << i;
    EXPECT_NE(LogText().find(rows[i].logged), std::string::npos) << i;
    EXPECT_EQ(LogText().find("failed, hr=") == std::string::npos, rows[i].saved) << i;
    if (!rows[i].saved) {
      EXPECT_EQ(links.shortcuts.count(u"C:\\s\\O.lnk"), 0u) << i;
      continue;
    }
    const auto& made = links.shortcuts.at(u"C:\\s\\O.lnk");
    EXPECT_EQ(made.target, u"C:\\r\\Orvane.exe") << i;
    EXPECT_EQ(made.iconPath, u"C:\\r\\Orvane.exe") << i;
    EXPECT_EQ(made.workingDirectory, u"C:\\r\\") << i;
    EXPECT_EQ(made.appId.value_or(u""), u"com.electron.O") << i;
  }
}

TEST_F(InstallerSupportTest, ConfigTextGivesTheLaunchersConfiguration) {
  const std::string valid =
      R"({"exe_file_name":"A.exe","data_dir_name":"A","product_info_key":"AK","product_name":{"en":"A"},)"
      R"("product_app_id":"7","autolaunch_key":"AR"})";
  struct Row {
    std::string text;
    bool ok;
  } rows[] = {
      {valid, true}, {"\xEF\xBB\xBF" + valid, true}, {"", false}, {"[1]", false}, {valid.substr(0, 40), false},
      {R"({"exe_file_name":"A.exe"})", false},  // no product name
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    CProductConfig config;
    config.exe_file_name = u"kept";
    EXPECT_EQ(ParseProductConfigText(rows[i].text, &config), rows[i].ok) << i;
    EXPECT_EQ(config.exe_file_name, rows[i].ok ? u"A.exe" : u"kept") << i;
    if (rows[i].ok) {
      EXPECT_EQ(config.data_dir, u"A\\User Data") << i;
      EXPECT_EQ(config.autolaunch_key, u"AR") << i;
      EXPECT_EQ(Utils::GetProductAppUserModelId(config), u"com.electron.AK") << i;
    }
  }
}

}  // namespace
