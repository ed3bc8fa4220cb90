// The installer's command line:
//
//   orvane-setup install APP.zip --version V [--root DIR] [--autorun SECONDS] [--launcher PATH]
//   orvane-setup update APP.zip --version V [--root DIR] [--md5 HEX]
//   orvane-setup uninstall [--root DIR]
//
// Pure text in, options or one error line out, so every rule is a table row.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace setup {

enum class Command { kInstall, kUpdate, kUninstall };

struct Options {
  Command command = Command::kInstall;
  std::u16string archive;   // install, update
  std::u16string version;   // one plain directory name
  std::u16string root;      // empty: the install location lookups decide
  std::u16string launcher;  // empty: the launcher beside the installer
  std::u16string md5;       // lower case; empty: not checked
  std::optional<uint32_t> autorunSeconds;
};

// Options from the arguments after the program's name; false with `error`
// set (one line, no trailing newline) for anything it does not accept.
bool ParseSetupCommandLine(const std::vector<std::u16string>& args, Options* options, std::string* error);

// A name that can be a version directory of its own below the install root:
// not empty, not "." or "..", no separator, colon, wildcard, quote or control
// character, no trailing dot or blank, at most 64 characters.
bool IsPlainVersionName(const std::u16string& name);

// ASCII case folded equality, as names compare on Windows.
bool SameName(const std::u16string& a, const std::u16string& b);

}  // namespace setup
