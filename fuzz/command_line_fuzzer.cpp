// The command line from a caller: the launcher's parser and serialiser, and
// the Linux argument road through them and back.
#include <cstdint>
#include <string>
#include <vector>

#include "app/command_line.h"
#include "fuzz_support.h"
#include "platform/processes/argv_rules.h"

namespace {

// Whether the parser would meet a switch token whose value is its first '='
// followed by a lone closing quote (`--x="`, or `--y"z --x="` where an earlier
// quote keeps the blank inside): the value's length is then -1, and the
// process ends there on purpose, as the runtime ends it for that string
// length. That road is a unit test; here such a text is skipped. The walk is
// the parser's own splitting rule.
bool EndsTheProcess(const std::u16string& text) {
  const size_t n = text.size();
  bool inQuote = false;
  char16_t previous = 0;
  size_t position = 0;
  while (position < n) {
    while (position < n && text[position] == u' ') ++position;
    if (position >= n) break;
    const size_t start = position;
    size_t equal = std::u16string::npos;
    for (; position < n; ++position) {
      const char16_t c = text[position];
      if (c == u' ') {
        if (!inQuote) break;
      } else if (previous != u'\\' && c == u'"') {
        inQuote = !inQuote;
      } else if (c == u'=' && equal == std::u16string::npos) {
        equal = position;
      }
      previous = c;
    }
    const size_t last = position - 1;
    const bool isSwitch = last > start && (text[start] == u'-' || text[start] == u'/');
    if (isSwitch && equal != std::u16string::npos && equal + 1 == last && text[last] == u'"') return true;
    previous = position < n ? text[position] : 0;
    ++position;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::u16string text = fuzz::WideFromBytes(data, size);
  if (EndsTheProcess(text)) return 0;

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
  const std::u16string line = platform::CommandLineFromPosixArguments(argv);
  if (EndsTheProcess(line)) return 0;
  CCommandLine fromLinux;
  fromLinux.ParseCommandLine(line, false);
  return 0;
}
