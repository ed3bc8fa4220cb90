// The launcher's own parser of the raw command line: blank-separated tokens
// with a small quoting rule, sorted into named switches (case-sensitive keys,
// one value each, ordered by UTF-16 code units) and positional arguments
// (kept with their quotes). ToCommandString writes them back for the main
// executable.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

// Ends the process as the runtime ends it for a failure that nothing
// handles: a line on standard error, then exit code 3 at once, without
// unwinding and without any further log line or report.
[[noreturn]] void EndProcessOnUnhandledFailure(const char* what);

class CCommandLine {
 public:
  // Splits and stores; always true. Run passes stripTokenQuotes false.
  bool ParseCommandLine(const std::u16string& text, bool stripTokenQuotes);

  bool HasSwitch(const std::u16string& name) const;
  // Clears `value`, then copies the value on a hit; false when absent.
  bool GetSwitchValue(const std::u16string& name, std::u16string* value) const;
  // The value, or the empty string when absent.
  std::u16string GetSwitchValue(const std::u16string& name) const;
  // Erases the key; the count of entries removed (0 or 1).
  size_t RemoveSwitch(const std::u16string& name);

  size_t GetArgCount() const { return arguments.size(); }
  // A copy of the argument; the empty string past the end.
  std::u16string GetArg(size_t index) const;

  // Switches in key order as --key or --key=value (value quoted when it holds
  // a blank), then the positional arguments (quoted when they hold a blank),
  // separated by one blank. Returns `out`.
  std::u16string& ToCommandString(std::u16string& out) const;

  std::map<std::u16string, std::u16string> switches;
  std::vector<std::u16string> arguments;

 private:
  bool ParseToken(const std::u16string& text, int32_t first, int32_t last, int32_t equalIndex,
                  bool stripTokenQuotes);
};
