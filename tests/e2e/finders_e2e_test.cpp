// The process finders over real processes: a probe standing in for the main
// executable, started from an install root's app directory with and without
// the launcher's ini file beside it, and from a directory of no installation.
#include <algorithm>
#include <string>
#include <vector>

#include "e2e_support.h"
#include "base/text.h"
#include "platform/unicode.h"
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
  const std::u16string stay = u"60000";
  P().SetEnv(u"ORVANE_PROBE_STAY_MS", &stay);
  platform::ProcessInfo child;
  const bool started = box.Start(exe, "", &child);
  P().SetEnv(u"ORVANE_PROBE_STAY_MS", nullptr);
  EXPECT_TRUE(started);
  if (started) box.WaitForRecords(1);
  return child;
}

TEST(Finders, ProbeIsFoundOnlyFromAnInstallRootWithItsIni) {
  CProductConfig config;
  config.exe_file_name = u"Orvane.exe";
  const struct {
    const char* what;
    bool ini;
    const char* dir;  // below the install root
    bool found;
  } rows[] = {
      {"app directory beside Orvane.ini", true, "app", true},
      {"app directory without Orvane.ini", false, "app", false},
      {"deeper than a version directory", true, "app/bin", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Sandbox box(std::string("Finders") + row.what[0]);
    if (row.ini) WriteFile(box.IniPath(), "[Launcher]\r\n");
    const fs::path exe = box.AddVersion(row.dir);
    const platform::ProcessInfo probe = StartStaying(box, exe);
    ASSERT_NE(probe.pid, 0u);

    std::vector<CFoundProcess> found;
    CVornProcessFinder().Find(config, &found, u"");
    EXPECT_EQ(Lists(found, probe.pid), row.found);
    found.clear();
    CVornProcessFinder().Find(config, &found, U16(box.RootText()));
    EXPECT_EQ(Lists(found, probe.pid), row.found);

    // Whatever its ini, the probe runs from below the root, and the walk
    // reads its full path.
    found.clear();
    EXPECT_TRUE(CDirectoryProcessFinder().Find(&found, U16(box.RootText())));
    ASSERT_TRUE(Lists(found, probe.pid));
    const auto hit = std::find_if(found.begin(), found.end(),
                                  [&](const CFoundProcess& p) { return p.processId == probe.pid; });
    EXPECT_EQ(CompareNoCase(hit->path, U16(WinForm(exe))), 0) << platform::Utf16ToUtf8(hit->path);
    EXPECT_EQ(CompareNoCase(GetProcessFilePath(probe.pid), U16(WinForm(exe))), 0) << platform::Utf16ToUtf8(GetProcessFilePath(probe.pid));

    // This process is never a hit, even for the prefix of its own directory.
    found.clear();
    const std::u16string self = P().ModuleFilePath();
    CDirectoryProcessFinder().Find(&found, self.substr(0, self.rfind(u'\\') + 1));
    EXPECT_FALSE(Lists(found, P().ProcessId()));
  }
}

TEST(Finders, ProbeOutsideAnyInstallationIsNotFound) {
  CProductConfig config;
  config.exe_file_name = u"Orvane.exe";
  Sandbox box("FindersElsewhere");
  WriteFile(box.IniPath(), "[Launcher]\r\n");
  const fs::path exe = box.base() / "elsewhere" / "Orvane.exe";
  fs::create_directories(exe.parent_path());
  fs::copy_file(ProbeProgram(), exe);
  const platform::ProcessInfo probe = StartStaying(box, exe);
  ASSERT_NE(probe.pid, 0u);

  std::vector<CFoundProcess> found;
  CVornProcessFinder().Find(config, &found, u"");
  EXPECT_FALSE(Lists(found, probe.pid));
  found.clear();
  CDirectoryProcessFinder().Find(&found, U16(WinForm(exe.parent_path())) + u"\\");
  EXPECT_TRUE(Lists(found, probe.pid));
}

}  // namespace
}  // namespace e2e
