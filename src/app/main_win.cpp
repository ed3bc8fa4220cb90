// Entry point of the Windows build: harden the DLL search path, enter COM,
// run the application object with the command line exactly as the system
// handed it over (no program name), return its status as the exit code.
#include <windows.h>

#include "app/com_scope.h"
#include "app/launcher_app.h"

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR commandLine, int) {
  HardenDllSearchPath();
  int32_t result;
  {
    CComScope com;
    CLauncherApp app;
    CVornApp& base = app;
    static_assert(sizeof(wchar_t) == sizeof(char16_t), "UTF-16 wchar_t");
    const char16_t* text = commandLine != nullptr ? reinterpret_cast<const char16_t*>(commandLine) : u"";
    result = base.Run(text);
  }
  return static_cast<int>(result);
}
