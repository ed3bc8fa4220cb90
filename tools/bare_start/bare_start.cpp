// bare-start: starts the command line it is given with the platform's
// StartProcess and exits at once, without waiting. The launch latency
// benchmark's baseline: the cost of one process start with nothing else.
//
// Usage: bare-start <executable> [arguments...]
// The arguments are joined back into one command line with the Windows
// quoting rules, so the started program receives them unchanged.
#include <cstdio>
#include <string>
#include <vector>

#include "platform/error_codes.h"
#include "platform/processes/argv_rules.h"
#include "platform/processes/processes.h"
#include "platform/text/unicode.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace {

int StartAndLeave(const std::vector<std::u16string>& args) {
  if (args.empty()) {
    std::fputs("usage: bare-start <executable> [arguments...]\n", stderr);
    return 2;
  }
  auto& processes = platform::Service<platform::Processes>();
  // The program name is quoted as CreateProcessW expects it (no escapes in
  // the first token); the rest by the argument rules.
  std::u16string commandLine = u"\"" + args[0] + u"\"";
  const std::vector<std::u16string> rest(args.begin() + 1, args.end());
  if (!rest.empty()) commandLine += u" " + platform::JoinArguments(rest);

  platform::ProcessInfo info;
  if (!processes.StartProcess(commandLine, u"", &info)) {
    std::fprintf(stderr, "bare-start: start failed, error=%u\n", platform::LastError());
    return 1;
  }
  processes.CloseObject(info.process);
  processes.CloseObject(info.thread);
  return 0;
}

}  // namespace

#ifdef _WIN32
int wmain(int argc, wchar_t** argv) {
  std::vector<std::u16string> args;
  for (int i = 1; i < argc; ++i) args.emplace_back(reinterpret_cast<const char16_t*>(argv[i]));
  return StartAndLeave(args);
}
#else
int main(int argc, char** argv) {
  std::vector<std::u16string> args;
  for (int i = 1; i < argc; ++i) args.push_back(platform::Utf8ToUtf16(argv[i]));
  return StartAndLeave(args);
}
#endif
