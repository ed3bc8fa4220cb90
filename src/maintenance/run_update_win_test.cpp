// The broker's hold on the file it checked, with the real file system: while
// the signer check runs, the child and every directory above it resist being
// written, replaced, renamed or deleted, and the held file still starts.
#include <windows.h>

#include <string>
#include <vector>

#include "app/launcher_test_fixture.h"
#include "gtest/gtest.h"
#include "platform/code_trust/fake_code_trust.h"
#include "platform/processes/fake_named_events.h"
#include "platform/system/fake_admin_check.h"

namespace {

using launcher_test::WinPath;
namespace fs = std::filesystem;


class RunUpdateHoldTest : public launcher_test::LauncherTest {
 protected:
  platform::FakeCodeTrust trust;
  platform::FakeAdminCheck admin;
  platform::FakeNamedEvents events;
};

TEST_F(RunUpdateHoldTest, SwapsFailWhileHeldAndTheRunStillWorks) {
  wchar_t system[MAX_PATH] = {};
  ASSERT_GT(::GetSystemDirectoryW(system, MAX_PATH), 0u);
  const fs::path top = base_ / "updates";
  const fs::path dir = top / "1.2.3";
  fs::create_directories(dir);
  const fs::path child = dir / "child.exe";
  ASSERT_TRUE(::CopyFileW((std::wstring(system) + L"\\cmd.exe").c_str(), child.wstring().c_str(), TRUE));
  const std::u16string childPath = WinPath(child);

  // Each attempt of a caller who wants another program run in the window.
  struct Attempt { const char* what; bool succeeded; DWORD error; };
  std::vector<Attempt> attempts;
  auto attempt = [&](const char* what, BOOL ok) { attempts.push_back({what, ok != FALSE, ok ? 0 : ::GetLastError()}); };
  trust.onVerify = [&](const std::u16string& path) {
    if (path == fake.modulePath) return;  // the child's check names its final path
    const std::wstring c = child.wstring();
    attempt("rename the file", ::MoveFileExW(c.c_str(), (c + L".old").c_str(), 0));
    attempt("replace the file", ::CopyFileW((std::wstring(system) + L"\\cmd.exe").c_str(), c.c_str(), FALSE));
    HANDLE writer = ::CreateFileW(c.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                  nullptr, OPEN_EXISTING, 0, nullptr);
    attempt("open the file for writing", writer != INVALID_HANDLE_VALUE);
    if (writer != INVALID_HANDLE_VALUE) ::CloseHandle(writer);
    attempt("delete the file", ::DeleteFileW(c.c_str()));
    attempt("rename its directory", ::MoveFileExW(dir.wstring().c_str(), (dir.wstring() + L".old").c_str(), 0));
    attempt("rename the directory above", ::MoveFileExW(top.wstring().c_str(), (top.wstring() + L".old").c_str(), 0));
  };

  fake.spawnForReal = true;
  // "/c exit 0" in Base64.
  const std::u16string line = u"--command=run_update --run-type=run_update --run-exe=\"" + childPath +
                              u"\" --run-params=L2MgZXhpdCAw --wait-time-ms=30000";
  EXPECT_EQ(app.Run(line.c_str()), 1);
  ASSERT_EQ(attempts.size(), 6u);
  for (const Attempt& a : attempts) {
    EXPECT_FALSE(a.succeeded) << a.what;
    EXPECT_EQ(a.error, static_cast<DWORD>(ERROR_SHARING_VIOLATION)) << a.what;
  }
  EXPECT_EQ(events.events.size(), 1u);

  // Released once the start has returned.
  EXPECT_TRUE(::MoveFileExW(top.wstring().c_str(), (top.wstring() + L".old").c_str(), 0)) << ::GetLastError();
}

}  // namespace
