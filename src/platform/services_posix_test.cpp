// What the Linux backends of the Windows-only services answer.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "gtest/gtest.h"
#include "platform/error_codes.h"
#include "platform/file_identity/file_hold.h"
#include "platform/processes/named_events.h"
#include "platform/processes/processes.h"
#include "platform/shell/shell_execute.h"
#include "platform/system/admin_check.h"

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
  auto& processes = platform::NativeService<platform::Processes>();
  auto& errors = platform::NativeService<platform::ErrorCodes>();
  platform::NamedEvents& events = Service<platform::NamedEvents>();

  platform::Handle waiter = events.CreateNamedEvent(u"OrvaneRunTaskScheduleSuccessEvent", false, false);
  ASSERT_NE(waiter, nullptr);
  EXPECT_EQ(processes.WaitOne(waiter, 0), platform::kWaitTimeout);
  platform::Handle setter = events.CreateNamedEvent(u"OrvaneRunTaskScheduleSuccessEvent", false, false);
  ASSERT_NE(setter, nullptr);
  EXPECT_EQ(errors.LastError(), platform::kErrorAlreadyExists);
  EXPECT_TRUE(events.SignalEvent(setter));
  EXPECT_TRUE(events.SignalEvent(setter)) << "setting a set event is no error";
  EXPECT_EQ(processes.WaitOne(waiter, 0), platform::kWaitObject0);
  EXPECT_EQ(processes.WaitOne(waiter, 0), platform::kWaitTimeout) << "the wait reset it";
  EXPECT_EQ(events.CreateNamedEvent(u"manual", true, false), nullptr);
  EXPECT_EQ(errors.LastError(), platform::kErrorInvalidParameter);
  processes.CloseObject(setter);
  processes.CloseObject(waiter);
  ::unsetenv("ORVANE_OBJECT_NAMESPACE");
  fs::remove_all(objects);
}

TEST(PosixServicesTest, ShellExecuteStartsProgramsAndHasNoElevation) {
  platform::ShellExecution& shell = Service<platform::ShellExecution>();
  auto& errors = platform::NativeService<platform::ErrorCodes>();
  EXPECT_GT(shell.ShellExecute(u"open", u"\\bin\\true", u"", nullptr, platform::kShowWindowShow), 32);
  EXPECT_EQ(shell.ShellExecute(u"open", u"\\no\\such\\program", u"", nullptr, platform::kShowWindowShow),
            platform::kShellPathNotFound);
  EXPECT_EQ(shell.ShellExecute(u"runas", u"\\bin\\true", u"", nullptr, platform::kShowWindowShow),
            platform::kShellAccessDenied);
  EXPECT_EQ(errors.LastError(), platform::kErrorCancelled);
}

// The hold natively: the final path is the resolved path of the open file,
// and the Windows error of each refusal. A FIFO is refused without blocking.
TEST(PosixServicesTest, HoldTakesTheResolvedPathAndRefusesWhatItCannotHold) {
  const fs::path dir = fs::temp_directory_path() / ("orvane_hold_" + std::to_string(std::random_device()()));
  fs::create_directories(dir / "real");
  std::ofstream(dir / "real" / "child") << "x";
  fs::create_directory_symlink(dir / "real", dir / "link");
  ASSERT_EQ(::mkfifo((dir / "real" / "fifo").c_str(), 0600), 0);
  const std::u16string child = Core(dir / "real" / "child");
  const struct { const char* what; std::u16string path; uint32_t error; std::u16string finalPath; } rows[] = {
      {"a file", child, 0, child},
      {"through a directory link", Core(dir / "link" / "child"), 0, child},
      {"other letter case", Core(dir / "REAL" / "Child"), 0, child},
      {"relative", u"real\\child", platform::kErrorBadPathname, u""},
      {"missing file", Core(dir / "real" / "none"), platform::kErrorFileNotFound, u""},
      {"missing directory", Core(dir / "none" / "child"), platform::kErrorPathNotFound, u""},
      {"a file as directory", Core(dir / "real" / "child" / "x"), platform::kErrorPathNotFound, u""},
      {"a directory", Core(dir / "real"), platform::kErrorAccessDenied, u""},
      {"a FIFO", Core(dir / "real" / "fifo"), platform::kErrorAccessDenied, u""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    platform::HeldFile held;
    EXPECT_EQ(held.Hold(row.path), row.error == 0);
    EXPECT_EQ(held.error(), row.error);
    if (row.error != 0) {
      EXPECT_EQ(platform::NativeService<platform::ErrorCodes>().LastError(), row.error);
    }
    EXPECT_EQ(held.finalPath(), row.finalPath);
  }
  fs::remove_all(dir);
}

}  // namespace
