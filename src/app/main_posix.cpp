// Entry point of the Linux build. The arguments are joined into one command
// line text, quoted as Windows quotes them, so the launcher's parser reads
// back the tokens it was given; from there the run is the same as on Windows.
#include <string>
#include <vector>

#include "app/com_scope.h"
#include "app/launcher_app.h"
#include "platform/argv_rules.h"
#include "platform/unicode.h"

int main(int argc, char** argv) {
  std::vector<std::u16string> arguments;
  for (int i = 1; i < argc; ++i) arguments.push_back(platform::Utf8ToUtf16(argv[i]));
  const std::u16string commandLine = platform::JoinArguments(arguments);

  HardenDllSearchPath();
  int32_t result;
  {
    CComScope com;
    CLauncherApp app;
    CVornApp& base = app;
    result = base.Run(commandLine.c_str());
  }
  return static_cast<int>(result);
}
