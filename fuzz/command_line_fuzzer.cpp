// The command line from a caller: the launcher's parser and serialiser, and
// the Linux argument road through them and back.
#include <cstdint>
#include <string>
#include <vector>

#include "app/command_line.h"
#include "fuzz_support.h"
#include "platform/argv_rules.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::u16string text = fuzz::WideFromBytes(data, size);
  // `--x="` as the very last characters ends the process on purpose, as the
  // runtime does for the string length it yields; that road is a unit test.
  if (text.size() >= 2 && text.compare(text.size() - 2, 2, u"=\"") == 0) text.pop_back();

  CCommandLine commandLine;
  commandLine.ParseCommandLine(text, false);
  std::u16string serialised;
  commandLine.ToCommandString(serialised);
  platform::SplitCommandLine(u"\"x\" " + serialised);
  platform::SplitPosixLaunchLine(u"\"x\" " + serialised);

  // The same text as a Linux argv, split at NULs.
  std::vector<std::u16string> argv(1);
  for (char16_t c : text) {
    if (c == 0) {
      argv.emplace_back();
    } else {
      argv.back().push_back(c);
    }
  }
  std::u16string line = platform::CommandLineFromPosixArguments(argv);
  if (line.size() >= 2 && line.compare(line.size() - 2, 2, u"=\"") == 0) return 0;
  CCommandLine fromLinux;
  fromLinux.ParseCommandLine(line, false);
  return 0;
}
