// Entry point of the Linux build. The arguments become the command line text
// a Windows user would have typed for them (switches with `-` or `--`, paths
// with `/` in Windows form, blanks quoted), so the launcher's parser and its
// survey of dropped files see what they see on Windows; from there the run
// is the same.
#include <string>
#include <vector>

#include "app/com_scope.h"
#include "app/launcher_app.h"
#include "platform/processes/argv_rules.h"
#include "platform/text/unicode.h"

int main(int argc, char** argv) {
  std::vector<std::u16string> arguments;
  for (int i = 1; i < argc; ++i) arguments.push_back(platform::Utf8ToUtf16(argv[i]));
  const std::u16string commandLine = platform::CommandLineFromPosixArguments(arguments);

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
