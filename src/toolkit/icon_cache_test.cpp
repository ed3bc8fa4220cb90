#include "toolkit/icon_cache.h"

#include <algorithm>
#include <filesystem>
#include <string>

#include "base/log_test_support.h"
#include "gtest/gtest.h"
#include "platform/shell/fake_shell_notify.h"
#include "toolkit/toolkit_test_support.h"

namespace {

namespace fs = std::filesystem;

class IconCacheTest : public orvane_test::OpenLogTest {
 protected:
  void SetUp() override {
    OpenLogTest::SetUp();
    fake.SetEnvValue(u"LOCALAPPDATA", temp.core() + u"\\local");
  }
  fs::path Local() const { return temp.path() / "local"; }
  fs::path Explorer() const { return Local() / "Microsoft" / "Windows" / "Explorer"; }
  // The shell's files and their neighbours, afresh.
  void MakeCache() {
    fs::remove_all(Local());
    for (const char* name : {"iconcache_16.db", "iconcache_idx.db", "ICONCACHE_32.DB", "thumbcache_16.db",
                             "iconcache_16.dbx", "xiconcache_1.db"}) {
      orvane_test::WriteBytes(Explorer() / name, "cache");
    }
    fs::create_directories(Explorer() / "iconcache_dir.db");
    orvane_test::WriteBytes(Local() / "IconCache.db", "cache");
  }
  std::vector<std::string> Remaining() const {
    std::vector<std::string> names;
    if (fs::exists(Local() / "IconCache.db")) names.push_back("IconCache.db");
    if (fs::exists(Explorer())) {
      for (const auto& entry : fs::directory_iterator(Explorer())) names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  platform::FakeShellNotifications shell;
};

TEST_F(IconCacheTest, RemovesTheCacheAndTellsTheShell) {
  const std::vector<std::string> others = {"iconcache_16.dbx", "iconcache_dir.db", "thumbcache_16.db",
                                           "xiconcache_1.db"};
  // remaining: what is left in the two places afterwards (a failed delete
  // of the fake leaves its file, also when it reports it gone).
  struct Row {
    const char* what; bool cache; uint32_t deleteError; bool shellFails;
    bool expected; int32_t removed; size_t remaining; const char* logged;
  } rows[] = {
      {"whole cache", true, 0, false, true, 4, others.size(), "Utils::RemoveIconCache, removed 4, left 0"},
      {"nothing there", false, 0, false, true, 0, 0, "Utils::RemoveIconCache, removed 0, left 0"},
      // The first file met is in use: it stays, the rest go.
      {"a file in use", true, 32, false, false, 3, others.size() + 1, "failed, error=32"},
      // Gone between the listing and the deletion: no failure.
      {"removed meanwhile", true, 2, false, true, 3, others.size() + 1, "Utils::RemoveIconCache, removed 3, left 0"},
      {"no shell to tell", true, 0, true, false, 4, others.size(), "notify shell failed, error=120"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    if (row.cache) {
      MakeCache();
    } else {
      fs::remove_all(Local());
      fs::create_directories(Local());
    }
    if (row.deleteError != 0) fake.FailCall("DeleteOneFile", row.deleteError);
    shell.fails = row.shellFails;
    shell.notifications = 0;
    const size_t before = LogText().size();

    int32_t removed = -1;
    EXPECT_EQ(Utils::RemoveIconCache(&removed), row.expected);
    EXPECT_EQ(removed, row.removed);
    EXPECT_EQ(shell.notifications, 1);
    EXPECT_EQ(Remaining().size(), row.remaining);
    if (row.cache && row.deleteError == 0) {
      EXPECT_EQ(Remaining(), others);
    }
    EXPECT_NE(LogText().substr(before).find(row.logged), std::string::npos) << LogText().substr(before);
  }
}

// Without %LOCALAPPDATA% nothing is touched: no path below the current
// directory is ever taken for the profile.
TEST_F(IconCacheTest, NoProfileNoDeletion) {
  MakeCache();
  fake.UnsetEnvValue(u"LOCALAPPDATA");
  fake.ClearCalls();
  int32_t removed = -1;
  EXPECT_FALSE(Utils::RemoveIconCache(&removed));
  EXPECT_EQ(removed, 0);
  EXPECT_EQ(fake.CallCount("DeleteOneFile"), 0u);
  EXPECT_EQ(shell.notifications, 0);
  EXPECT_EQ(Remaining().size(), 8u);
  EXPECT_NE(LogText().find("Utils::RemoveIconCache, LOCALAPPDATA not found"), std::string::npos);
}

}  // namespace
