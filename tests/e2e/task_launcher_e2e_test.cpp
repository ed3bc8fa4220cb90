// The scheduled task's copy of the launcher on Wine's real file system: made
// in the Common Program Files folder with the backend's own calls, its
// version record read back, run as the broker, refused as a replacement
// while it runs, and removed. What Wine keeps of its owner and access list is
// read back too (docs/WINE.md): nothing that would let the check pass, which
// is why rebuild_taskschedule registers no task under Wine
// (TaskSchedule.UnderWineNoDirectoryPassesAndNoTaskIsLeft).
#ifdef _WIN32
#include <string>

#include "e2e_support.h"
#include "gtest/gtest.h"
#include "layout/task_launcher_path.h"
#include "maintenance/admin_only.h"
#include "maintenance/task_launcher.h"
#include "platform/protected_files/protected_files.h"
#include "platform/text/unicode.h"
#include "toolkit/task_housekeeping.h"

namespace e2e {
namespace {

std::string Narrow(const std::u16string& text) { return platform::Utf16ToUtf8(text); }

TEST(TaskLauncherCopy, WineMakesRunsAndRemovesTheCopy) {
  auto& env = platform::Service<platform::Environment>();
  const CProductConfig config = ShippedNames();
  ClearLeftoverTask();
  TaskLauncherLocation location;
  ASSERT_TRUE(GetTaskLauncherLocation(config, &location));
  EXPECT_EQ(Narrow(location.path), "C:\\Program Files\\Common Files\\Orvane\\Update\\Orvane.exe");
  auto& files = platform::Service<platform::ProtectedFiles>();

  // The protected directory is made, but Wine keeps neither its owner nor its
  // access list: the user owns it, and only what Unix permissions can say
  // comes back, so the check refuses it.
  for (const std::u16string& level : location.levels) ASSERT_TRUE(files.CreateProtectedDirectory(level));
  EXPECT_FALSE(files.CreateProtectedDirectory(location.levels.back()));
  EXPECT_EQ(platform::LastError(), 183u);
  platform::FileSecurity made;
  ASSERT_TRUE(files.ReadSecurity(location.levels.back(), &made));
  EXPECT_EQ(Narrow(made.owner), "S-1-5-21-0-0-0-1000");
  EXPECT_FALSE(made.protectedDacl);
  std::string entries;
  for (const platform::AccessEntry& e : made.entries) {
    entries += Narrow(e.sid) + ":" + std::to_string(e.mask) + ":" + std::to_string(e.flags) + " ";
  }
  EXPECT_EQ(entries, "S-1-5-18:2032127:3 S-1-5-21-0-0-0-1000:2032127:3 ") << "what Wine reports of the made directory";
  std::u16string reason;
  EXPECT_FALSE(IsAdministratorsOnlyDirectory(location.levels.back(), &reason));
  EXPECT_EQ(Narrow(reason), "'" + Narrow(location.levels.back()) + "' is owned by S-1-5-21-0-0-0-1000");

  // Copied beside and moved into place; the version record comes along.
  const std::u16string temp = location.path + u".new-e2e";
  ASSERT_TRUE(files.CopyFileTo(Native16(LauncherProgram()), temp));
  ASSERT_TRUE(files.ReplaceFile(temp, location.path));
  EXPECT_FALSE(platform::Service<platform::Files>().PathExists(temp));
  std::u16string built, copied;
  ASSERT_TRUE(ReadProductVersion(Native16(LauncherProgram()), &built));
  ASSERT_TRUE(ReadProductVersion(location.path, &copied));
  EXPECT_EQ(copied, built);
  EXPECT_TRUE(IsLauncherVersionSupported(location.path));

  // The copy serves as the broker, and while it runs it cannot be replaced.
  Sandbox box("TaskLauncherCopy");
  const fs::path child = box.InstallBrokerPair(LauncherProgram(), ProbeProgram());
  const fs::path release = box.base() / "release";
  const std::u16string hold = Native16(release);
  env.SetEnv(u"ORVANE_PROBE_HOLD", &hold);
  platform::ProcessInfo broker;
  const bool started = box.Start(fs::path(location.path), BrokerSwitches(child) + " --wait-time-ms=-1", &broker);
  env.SetEnv(u"ORVANE_PROBE_HOLD", nullptr);
  ASSERT_TRUE(started);
  EXPECT_EQ(box.WaitForRecords(1).size(), 1u);
  ASSERT_TRUE(files.CopyFileTo(Native16(LauncherProgram()), temp));
  EXPECT_FALSE(files.ReplaceFile(temp, location.path));
  EXPECT_EQ(platform::LastError(), 5u) << "a running program cannot be replaced";
  EXPECT_TRUE(platform::Service<platform::Files>().DeleteOneFile(temp));
  WriteFile(release, "");
  EXPECT_TRUE(EndedWith(box.Wait(broker), 1));

  // No task names it: removed, and the directories made for it with it.
  EXPECT_TRUE(RemoveTaskLauncherCopy(config));
  EXPECT_FALSE(platform::Service<platform::Files>().PathExists(location.path));
  EXPECT_FALSE(platform::Service<platform::Files>().PathExists(location.levels.front()));
  EXPECT_TRUE(platform::Service<platform::Files>().PathIsDir(location.base));
}

}  // namespace
}  // namespace e2e
#endif
