// The process finders over real processes: a probe standing in for the main
// executable, started below an install root with and without the launcher's
// ini file beside its version directory.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "base/text.h"
#include "e2e_support.h"
#include "platform/text/unicode.h"
#include "toolkit/install_location.h"
#include "toolkit/process_finders.h"

namespace e2e {
namespace {

std::u16string U16(const std::string& utf8) { return platform::Utf8ToUtf16(utf8); }

bool Lists(const std::vector<CFoundProcess>& found, uint32_t pid) {
  return std::any_of(found.begin(), found.end(), [pid](const CFoundProcess& p) { return p.processId == pid; });
}

// Starts the probe at `exe`, staying until the sandbox ends it, and waits
// until it has recorded itself: from then on it is running.
platform::ProcessInfo StartStaying(Sandbox& box, const fs::path& exe) {
  auto& env = platform::Service<platform::Environment>();
  const std::u16string stay = u"60000";
  env.SetEnv(u"ORVANE_PROBE_STAY_MS", &stay);
  platform::ProcessInfo child;
  const bool started = box.Start(exe, "", &child);
  env.SetEnv(u"ORVANE_PROBE_STAY_MS", nullptr);
  EXPECT_TRUE(started);
  if (started) box.WaitForRecords(1);
  return child;
}

// A real process below an install root with its ini: both finders see it and
// read its full path. Which paths each finder accepts (no ini, deeper than a
// version directory, other roots) is FinderTest.ProcessFinderTable's.
TEST(Finders, ProbeIsFoundBelowAnInstallRootWithItsIni) {
  CProductConfig config;
  config.exe_file_name = u"Orvane.exe";
  Sandbox box("Finders");
  WriteFile(box.IniPath(), "[Launcher]\r\n");
  const fs::path exe = box.AddVersion("app");
  const platform::ProcessInfo probe = StartStaying(box, exe);
  ASSERT_NE(probe.pid, 0u);

  for (const std::u16string& root : {std::u16string(), U16(box.RootText())}) {
    std::vector<CFoundProcess> found;
    CVornProcessFinder().Find(config, &found, root);
    EXPECT_TRUE(Lists(found, probe.pid)) << "root '" << platform::Utf16ToUtf8(root) << "'";
  }
  std::vector<CFoundProcess> found;
  EXPECT_TRUE(CDirectoryProcessFinder().Find(&found, U16(box.RootText())));
  ASSERT_TRUE(Lists(found, probe.pid));
  const auto hit =
      std::find_if(found.begin(), found.end(), [&](const CFoundProcess& p) { return p.processId == probe.pid; });
  EXPECT_EQ(CompareNoCase(hit->path, U16(WinForm(exe))), 0) << platform::Utf16ToUtf8(hit->path);
  EXPECT_EQ(CompareNoCase(GetProcessFilePath(probe.pid), U16(WinForm(exe))), 0)
      << platform::Utf16ToUtf8(GetProcessFilePath(probe.pid));

  // This process is never a hit, even for the prefix of its own directory.
  found.clear();
  const std::u16string self = platform::Service<platform::Environment>().ModuleFilePath();
  CDirectoryProcessFinder().Find(&found, self.substr(0, self.rfind(u'\\') + 1));
  EXPECT_FALSE(Lists(found, platform::Service<platform::Environment>().ProcessId()));
}

std::vector<uint8_t> Utf16Value(const std::u16string& text) {
  std::vector<uint8_t> bytes;
  for (char16_t c : text + u'\0') {
    bytes.push_back(static_cast<uint8_t>(c & 0xFF));
    bytes.push_back(static_cast<uint8_t>(c >> 8));
  }
  return bytes;
}

// The install location from the system's own registry: a key of this run's
// own name, written in the user's hive and then in the machine's, removed at
// the end. Linux has no registry, so nothing is installed there.
TEST(Finders, InstallLocationFromTheRegistry) {
  Sandbox box("FindersRegistry");
  box.InstallLauncher();
  CProductConfig config;
  config.exe_file_name = u"Orvane.exe";
  config.product_info_key =
      u"OrvaneFindersTest" + U16(std::to_string(platform::Service<platform::Environment>().ProcessId()));
  const std::u16string key = u"Software\\" + config.product_info_key;
  const std::u16string root = U16(box.RootText());

  const int32_t userWrite = platform::Service<platform::Registry>().ShSetValue(
      platform::Hive::kCurrentUser, key, u"InstallDir", platform::kRegSz, Utf16Value(root.substr(0, root.size() - 1)));
#ifdef _WIN32
  // What a value means (verified or not, the default directory) is
  // InstallLocationTest's; here the value goes through the real registry.
  ASSERT_EQ(userWrite, 0);
  EXPECT_EQ(GetInstalledScope(config), 1);
  EXPECT_EQ(GetInstalledDir(config, 1, false), root);
  EXPECT_EQ(GetInstalledDir(config, 2, false), u"");

  if (platform::Service<platform::Registry>().ShSetValue(platform::Hive::kLocalMachine, key, u"InstallDir",
                                                         platform::kRegSz, Utf16Value(u"C:\\x")) == 0) {
    EXPECT_EQ(GetInstalledScope(config), 2);
    EXPECT_EQ(GetInstalledDir(config, 2, false), u"C:\\x\\");
    EXPECT_EQ(GetInstalledDir(config, 2, true), u"");
    platform::Service<platform::Registry>().ShDeleteValue(platform::Hive::kLocalMachine, key, u"InstallDir");
  } else {
    std::printf("the machine's hive is not writable here; its scope is left untested\n");
  }
  platform::Service<platform::Registry>().ShDeleteValue(platform::Hive::kCurrentUser, key, u"InstallDir");
  EXPECT_EQ(GetInstalledScope(config), 0);
#else
  EXPECT_EQ(userWrite, 120);
  WriteFile(box.IniPath(), "[Launcher]\r\n");
  EXPECT_EQ(GetInstalledScope(config), 0);
  EXPECT_EQ(GetInstalledDir(config, 1, false), u"");
#endif
}

}  // namespace
}  // namespace e2e
