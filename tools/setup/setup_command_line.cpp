#include "setup_command_line.h"

#include <cstddef>

namespace setup {
namespace {

std::string Narrow(const std::u16string& text) {
  std::string out;
  for (char16_t c : text) out.push_back(c >= 0x20 && c < 0x7f ? static_cast<char>(c) : '?');
  return out;
}

bool ParseSeconds(const std::u16string& text, uint32_t* seconds) {
  if (text.empty() || text.size() > 10) return false;
  uint64_t value = 0;
  for (char16_t c : text) {
    if (c < u'0' || c > u'9') return false;
    value = value * 10 + static_cast<uint64_t>(c - u'0');
  }
  if (value > 0xffffffffu) return false;
  *seconds = static_cast<uint32_t>(value);
  return true;
}

bool ParseMd5(const std::u16string& text, std::u16string* md5) {
  if (text.size() != 32) return false;
  md5->clear();
  for (char16_t c : text) {
    if (c >= u'A' && c <= u'F') c = static_cast<char16_t>(c - u'A' + u'a');
    if (!((c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f'))) return false;
    md5->push_back(c);
  }
  return true;
}

}  // namespace

bool IsPlainVersionName(const std::u16string& name) {
  if (name.empty() || name.size() > 64 || name == u"." || name == u"..") return false;
  for (char16_t c : name) {
    if (c < 0x20 || c == u'\\' || c == u'/' || c == u':' || c == u'*' || c == u'?' || c == u'"' || c == u'<' ||
        c == u'>' || c == u'|') {
      return false;
    }
  }
  return name.back() != u'.' && name.back() != u' ';
}

bool SameName(const std::u16string& a, const std::u16string& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    char16_t x = a[i], y = b[i];
    if (x >= u'A' && x <= u'Z') x = static_cast<char16_t>(x + 32);
    if (y >= u'A' && y <= u'Z') y = static_cast<char16_t>(y + 32);
    if (x != y) return false;
  }
  return true;
}

bool ParseSetupCommandLine(const std::vector<std::u16string>& args, Options* options, std::string* error) {
  Options parsed;
  if (args.empty()) {
    *error = "no command: install, update or uninstall";
    return false;
  }
  if (args[0] == u"install") {
    parsed.command = Command::kInstall;
  } else if (args[0] == u"update") {
    parsed.command = Command::kUpdate;
  } else if (args[0] == u"uninstall") {
    parsed.command = Command::kUninstall;
  } else {
    *error = "unknown command '" + Narrow(args[0]) + "': install, update or uninstall";
    return false;
  }
  bool haveVersion = false;
  for (size_t i = 1; i < args.size(); ++i) {
    const std::u16string& arg = args[i];
    const bool isSwitch = arg.size() > 2 && arg[0] == u'-' && arg[1] == u'-';
    if (!isSwitch) {
      if (parsed.command == Command::kUninstall || !parsed.archive.empty()) {
        *error = "unexpected argument '" + Narrow(arg) + "'";
        return false;
      }
      parsed.archive = arg;
      continue;
    }
    if (i + 1 >= args.size()) {
      *error = Narrow(arg) + " needs a value";
      return false;
    }
    const std::u16string& value = args[++i];
    const bool forInstall = parsed.command == Command::kInstall;
    const bool forUpdate = parsed.command == Command::kUpdate;
    if (arg == u"--root" && !value.empty()) {
      parsed.root = value;
    } else if (arg == u"--version" && (forInstall || forUpdate)) {
      if (!IsPlainVersionName(value)) {
        *error = "--version '" + Narrow(value) + "' is not one plain directory name";
        return false;
      }
      parsed.version = value;
      haveVersion = true;
    } else if (arg == u"--launcher" && forInstall && !value.empty()) {
      parsed.launcher = value;
    } else if (arg == u"--autorun" && forInstall) {
      uint32_t seconds = 0;
      if (!ParseSeconds(value, &seconds)) {
        *error = "--autorun takes a number of seconds, not '" + Narrow(value) + "'";
        return false;
      }
      parsed.autorunSeconds = seconds;
    } else if (arg == u"--md5" && forUpdate) {
      if (!ParseMd5(value, &parsed.md5)) {
        *error = "--md5 takes 32 hex digits, not '" + Narrow(value) + "'";
        return false;
      }
    } else {
      *error = "unexpected switch " + Narrow(arg) + " for " + Narrow(args[0]);
      return false;
    }
  }
  if (parsed.command != Command::kUninstall && (parsed.archive.empty() || !haveVersion)) {
    *error = Narrow(args[0]) + " needs an archive and --version";
    return false;
  }
  *options = parsed;
  return true;
}

}  // namespace setup
