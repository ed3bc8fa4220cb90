// The uninstall hand-off: the launcher starts the uninstaller that stands
// beside it and ends; it uninstalls nothing itself.
#include <cstdint>
#include <string>

#include "app/exit_codes.h"
#include "app/launcher_app.h"
#include "base/log.h"
#include "layout/paths.h"
#include "platform/error_codes.h"
#include "platform/files/files.h"
#include "platform/shell/shell_execute.h"

int32_t CLauncherApp::_RunUninstaller() {
  auto& files = platform::Service<platform::Files>();
  const std::u16string path = JoinPath(m_launcherDir, m_productConfig.uninstall_exe_name);
  if (!files.PathExists(path)) {
    LogError(u"Not found uninstaller '%s'", path);
    return kExitFailure;
  }
  // The uninstaller gets no arguments; any elevation it needs is its own.
  const intptr_t value =
      platform::Service<platform::ShellExecution>().ShellExecute(u"open", path, u"", nullptr, platform::kShowWindowShow);
  const int32_t result = static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(value) & 0xFFFFFFFFu));
  if (result > 32) return kExitSuccess;
  LogError(u"Run uninstaller failed, return=%d, error=%d, path='%s'", result, platform::LastError(), path);
  return kExitFailure;
}
