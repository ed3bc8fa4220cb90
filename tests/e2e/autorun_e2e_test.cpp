// The autorun value of the toolkit against the auto-launch gate it feeds: a
// launcher started from exactly the value's data waits its delay, and a
// start by the user cuts the wait short. Under Wine the value goes through
// Wine's real registry and is read back before it is used; Linux has no
// registry, so there the data is started as the toolkit builds it.
#include <string>

#include "e2e_support.h"
#include "gtest/gtest.h"
#include "platform/text/unicode.h"
#include "toolkit/autorun.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace e2e {
namespace {

int64_t NowMsMonotonic() { return static_cast<int64_t>(platform::Service<platform::Clock>().MonotonicNs() / 1000000); }

bool LauncherWaits() {
  auto& processes = platform::Service<platform::Processes>();
  platform::Handle h =
      processes.OpenSemaphoreByName(2 /* SEMAPHORE_MODIFY_STATE */, u"{D2803213-8F84-47FD-8B7A-5E01ECF1CE7F}");
  if (h != nullptr) processes.CloseObject(h);
  return h != nullptr;
}

#ifdef _WIN32
// The value as the system's own reader finds it, apart from the toolkit.
std::u16string SystemReadsRunValue(const std::u16string& name) {
  wchar_t buffer[4096] = {};
  DWORD size = sizeof(buffer);
  const LSTATUS status =
      ::RegGetValueW(HKEY_CURRENT_USER, reinterpret_cast<const wchar_t*>(kAutorunRunKey),
                     reinterpret_cast<const wchar_t*>(name.c_str()), RRF_RT_REG_SZ, nullptr, buffer, &size);
  return status == ERROR_SUCCESS ? std::u16string(reinterpret_cast<const char16_t*>(buffer)) : u"(status " +
             platform::Utf8ToUtf16(std::to_string(status)) + u")";
}
#endif

TEST(Autorun, TheValueStartsALauncherThatWaitsAndCanBeCutShort) {
  auto& processes = platform::Service<platform::Processes>();
  // Blanks in the install root: the value must keep the launcher's path whole.
  Sandbox box("Autorun with blanks");
  const fs::path launcher = box.InstallWithApp();
  CProductConfig config;
  config.autolaunch_key = u"OrvaneAutorunE2E" +
                          platform::Utf8ToUtf16(std::to_string(platform::Service<platform::Environment>().ProcessId()));
  const std::u16string launcherPath = platform::Utf8ToUtf16(WinForm(launcher));
  const std::u16string built = Utils::BuildAutorunCommand(launcherPath, 30);
  ASSERT_FALSE(built.empty());

  std::u16string data;
#ifdef _WIN32
  ASSERT_TRUE(Utils::SetAutorunValue(config, launcherPath, 30));
  ASSERT_TRUE(Utils::ReadAutorunValue(config, &data));
  EXPECT_EQ(data, built);
  EXPECT_EQ(SystemReadsRunValue(config.autolaunch_key), built);
#else
  EXPECT_FALSE(Utils::SetAutorunValue(config, launcherPath, 30));  // no registry to hold it
  data = built;
#endif

  const int64_t started = NowMsMonotonic();
  platform::ProcessInfo first;
  ASSERT_TRUE(processes.StartProcess(data, u"", &first)) << "error " << platform::LastError();
  if (first.thread != nullptr) processes.CloseObject(first.thread);
  // A failed check below must not leave the launcher waiting out its delay.
  struct EndOnExit {
    platform::Handle process;
    ~EndOnExit() {
      auto& processes = platform::Service<platform::Processes>();
      if (processes.WaitOne(process, 0) == platform::kWaitTimeout && processes.Terminate(process, 1))
        processes.WaitOne(process, 5000);
      processes.CloseObject(process);
    }
  } endOnExit{first.process};
  ASSERT_TRUE(PollFor(10000, LauncherWaits)) << "the launcher from the autorun value never waited";
  EXPECT_TRUE(box.Records().empty()) << "the application started before the delay";

  // The user starts the product meanwhile: that launcher only wakes the
  // waiting one, which starts the application at once, as a normal start.
  EXPECT_TRUE(EndedWith(box.Run(launcher, ""), -16));
  EXPECT_TRUE(EndedWith(box.Wait(first, 20000), 0));
  EXPECT_LT(NowMsMonotonic() - started, 20000) << "the delay was not cut short";
  const std::vector<ProbeRecord> records = box.WaitForRecords(1);
  ASSERT_EQ(records.size(), 1u);
  ASSERT_EQ(records[0].argv.size(), 1u);
  EXPECT_EQ(records[0].argv[0].rfind("--start_time=", 0), 0u);  // neither launch_from nor the delay
  const LogView log(box.LogPath());
  EXPECT_EQ(FindMessage(log, "Immediate launch app, remove auto-launch switch").size(), 1u) << log.Dump();

  EXPECT_TRUE(Utils::RemoveAutorunValue(config));
  EXPECT_FALSE(Utils::ReadAutorunValue(config, &data));
#ifdef _WIN32
  EXPECT_EQ(SystemReadsRunValue(config.autolaunch_key), u"(status 2)");
#endif
}

}  // namespace
}  // namespace e2e
