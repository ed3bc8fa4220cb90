#include "layout/launcher_ini.h"

#include <string>

#include "app/launcher_app.h"
#include "base/log.h"
#include "base/text.h"
#include "layout/file_io.h"
#include "layout/paths.h"
#include "platform/error_codes.h"

std::u16string ReadLauncherIni(const std::u16string& installRoot) {
  std::string text;
  ReadFileToString(JoinPath(installRoot, kLauncherIniName), &text);
  // No trimming: whatever another writer left behind the name stays part of it.
  return Utf8ToWide(text);
}

void CLauncherApp::_WriteLauncherIni() {
  const std::u16string iniPath = JoinPath(m_launcherDir, kLauncherIniName);
  std::string current;
  ReadFileToString(iniPath, &current);
  const std::string name = WideToUtf8(m_versionDirName);
  // A change of letter case alone is not worth a write.
  if (CompareNoCaseNarrow(current, name) == 0) {
    LogInfo(u"Orvane.ini no change");
    return;
  }
  LogInfo(u"Write '%s' to Orvane.ini", m_versionDirName);
  const int64_t written = WriteStringToFile(iniPath, name, false);
  if (written != static_cast<int64_t>(name.size())) {
    LogError(u"Write '%s' fail, error=%d", iniPath, platform::LastError());
  }
}
