// What the Linux backends of the Windows-only services answer.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "gtest/gtest.h"
#include "platform/admin_check.h"
#include "platform/file_hold.h"
#include "platform/named_events.h"
#include "platform/platform.h"
#include "platform/shell_execute.h"

namespace {

namespace fs = std::filesystem;
using platform::Service;

std::u16string Core(const fs::path& path) {
  std::u16string text = path.u16string();
  for (char16_t& c : text) c = c == u'/' ? u'\\' : c;
  return text;
}

TEST(PosixServicesTest, AdministratorIsTheEffectiveRoot) {
  platform::AdminCheck& check = Service<platform::AdminCheck>();
  platform::Sid sid = nullptr;
  ASSERT_TRUE(check.AllocateAdministratorsSid(&sid));
  bool member = false;
  ASSERT_TRUE(check.CheckTokenMembership(sid, &member));
  EXPECT_EQ(member, ::geteuid() == 0);
  check.FreeSid(sid);
}

// An automatic-reset event: set once or twice it releases one wait, and a
// second process (here a second handle) meets the same event.
TEST(PosixServicesTest, NamedEventIsAnAutoResetEvent) {
  const fs::path objects = fs::temp_directory_path() / ("orvane_events_" + std::to_string(std::random_device()()));
  fs::create_directories(objects);
  ::setenv("ORVANE_OBJECT_NAMESPACE", objects.c_str(), 1);
  platform::Platform& os = platform::Native();
  platform::NamedEvents& events = Service<platform::NamedEvents>();

  platform::Handle waiter = events.CreateNamedEvent(u"OrvaneRunTaskScheduleSuccessEvent", false, false);
  ASSERT_NE(waiter, nullptr);
  EXPECT_EQ(os.WaitOne(waiter, 0), platform::kWaitTimeout);
  platform::Handle setter = events.CreateNamedEvent(u"OrvaneRunTaskScheduleSuccessEvent", false, false);
  ASSERT_NE(setter, nullptr);
  EXPECT_EQ(os.LastError(), platform::kErrorAlreadyExists);
  EXPECT_TRUE(events.SignalEvent(setter));
  EXPECT_TRUE(events.SignalEvent(setter)) << "setting a set event is no error";
  EXPECT_EQ(os.WaitOne(waiter, 0), platform::kWaitObject0);
  EXPECT_EQ(os.WaitOne(waiter, 0), platform::kWaitTimeout) << "the wait reset it";
  EXPECT_EQ(events.CreateNamedEvent(u"manual", true, false), nullptr);
  EXPECT_EQ(os.LastError(), platform::kErrorInvalidParameter);
  os.CloseObject(setter);
  os.CloseObject(waiter);
  ::unsetenv("ORVANE_OBJECT_NAMESPACE");
  fs::remove_all(objects);
}

TEST(PosixServicesTest, ShellExecuteStartsProgramsAndHasNoElevation) {
  platform::ShellExecution& shell = Service<platform::ShellExecution>();
  platform::Platform& os = platform::Native();
  EXPECT_GT(shell.ShellExecute(u"open", u"\\bin\\true", u"", nullptr, platform::kShowWindowShow), 32);
  EXPECT_EQ(shell.ShellExecute(u"open", u"\\no\\such\\program", u"", nullptr, platform::kShowWindowShow),
            platform::kShellPathNotFound);
  EXPECT_EQ(shell.ShellExecute(u"runas", u"\\bin\\true", u"", nullptr, platform::kShowWindowShow),
            platform::kShellAccessDenied);
  EXPECT_EQ(os.LastError(), platform::kErrorCancelled);
}

TEST(PosixServicesTest, HoldOpensTheFileAndReportsAMissingPath) {
  const fs::path dir = fs::temp_directory_path() / ("orvane_hold_" + std::to_string(std::random_device()()));
  fs::create_directories(dir / "sub");
  std::ofstream(dir / "sub" / "child.exe") << "x";
  platform::FileHold& hold = Service<platform::FileHold>();
  platform::Platform& os = platform::Native();
  platform::Handle held = hold.HoldFileAndParents(Core(dir / "sub" / "child.exe"));
  EXPECT_NE(held, nullptr);
  hold.ReleaseHold(held);
  EXPECT_EQ(hold.HoldFileAndParents(Core(dir / "sub" / "missing.exe")), nullptr);
  EXPECT_EQ(os.LastError(), platform::kErrorFileNotFound);
  EXPECT_EQ(hold.HoldFileAndParents(Core(dir / "none" / "child.exe")), nullptr);
  EXPECT_EQ(os.LastError(), platform::kErrorPathNotFound);
  fs::remove_all(dir);
}

}  // namespace
