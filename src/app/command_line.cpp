#include "app/command_line.h"

#include <cstdio>
#include <cstdlib>

// The process exit code of a failure that nothing handles. It is the code
// with which the C runtime's abort ends a process on Windows.
constexpr int kUnhandledFailureExitCode = 3;

void EndProcessOnUnhandledFailure(const char* what) {
  std::fputs("Orvane launcher: ", stderr);
  std::fputs(what, stderr);
  std::fputs("\n", stderr);
  std::fflush(stderr);
  std::_Exit(kUnhandledFailureExitCode);
}

namespace {

constexpr char16_t kBlank = u' ';
constexpr char16_t kQuote = u'"';
constexpr char16_t kBackslash = u'\\';
constexpr char16_t kEquals = u'=';

// The one text that yields a switch value of negative length is `--x="` with
// the quote as the very last character: the quote is then both the first and
// the last character of the value. Storing such a value is impossible, and the
// launcher has no way to go on with a half-parsed command line: nothing is
// logged yet and no result is defined for it. So the process ends here, at
// once and on purpose, as for any failure that nothing handles.
[[noreturn]] void EndOnMalformedSwitchValue() {
  EndProcessOnUnhandledFailure("malformed switch value on the command line (a lone opening quote at its end)");
}

std::u16string Quoted(const std::u16string& text) {
  if (text.find(kBlank) == std::u16string::npos) return text;
  std::u16string out;
  out.reserve(text.size() + 2);
  out += kQuote;
  out += text;
  out += kQuote;
  return out;
}

}  // namespace

bool CCommandLine::ParseCommandLine(const std::u16string& text, bool stripTokenQuotes) {
  const int32_t length = static_cast<int32_t>(text.size());
  if (length < 1) return true;
  // The character at a position, with the terminating zero behind the end.
  auto at = [&](int32_t index) -> char16_t { return index < length ? text[static_cast<size_t>(index)] : u'\0'; };

  bool inQuote = false;
  char16_t previous = u'\0';
  int32_t position = 0;
  while (position < length) {
    while (position < length && at(position) == kBlank) ++position;
    if (position >= length) break;

    const char16_t firstChar = at(position);
    const int32_t start = position;
    int32_t equalIndex = -1;
    for (; position < length; ++position) {
      const char16_t c = at(position);
      if (c == kBlank) {
        const bool keptByQuote = stripTokenQuotes && firstChar == kQuote && previous != kQuote;
        if (!inQuote && !keptByQuote) break;
      } else if (previous != kBackslash && c == kQuote) {
        inQuote = !inQuote;
      } else if (c == kEquals && equalIndex < 0) {
        equalIndex = position;
      }
      previous = c;
    }
    ParseToken(text, start, position - 1, equalIndex, stripTokenQuotes);
    previous = at(position);
    ++position;
  }
  return true;
}

bool CCommandLine::ParseToken(const std::u16string& text, int32_t first, int32_t last, int32_t equalIndex,
                              bool stripTokenQuotes) {
  const int32_t length = static_cast<int32_t>(text.size());
  auto at = [&](int32_t index) -> char16_t {
    return index >= 0 && index < length ? text[static_cast<size_t>(index)] : u'\0';
  };
  auto slice = [&](int32_t from, int32_t through) -> std::u16string {
    if (through < from) return std::u16string();
    return text.substr(static_cast<size_t>(from), static_cast<size_t>(through - from + 1));
  };

  int32_t c = first;
  bool positional = true;
  bool beganWithQuote = false;
  if (first < last) {
    while (c < last && at(c) == kBlank) ++c;
    if (stripTokenQuotes && at(c) == kQuote) {
      beganWithQuote = true;
      ++c;
      while (c < last && at(c) == kBlank) ++c;
    }
    if (at(c) == u'-' || at(c) == u'/') {
      positional = false;
      ++c;
      if (at(c) == u'-') ++c;
    }
  }
  if (c > last) return true;  // "--", "/-": nothing is left of the token

  if (positional) {
    arguments.push_back(slice(first, last));
    return true;
  }

  if (equalIndex < 0) {
    switches[slice(c, last)] = std::u16string();
    return true;
  }

  std::u16string key = equalIndex > c ? slice(c, equalIndex - 1) : std::u16string();
  std::u16string value;
  if (equalIndex != last) {
    int32_t valueLast = last;
    if (stripTokenQuotes && beganWithQuote && at(valueLast) == kQuote) --valueLast;
    int32_t valueStart = equalIndex + 1;
    if (at(valueStart) == kQuote && at(valueLast) == kQuote) {
      ++valueStart;
      --valueLast;
    }
    if (valueLast - valueStart + 1 < 0) EndOnMalformedSwitchValue();
    value = slice(valueStart, valueLast);
  }
  switches[key] = value;
  return true;
}

bool CCommandLine::HasSwitch(const std::u16string& name) const { return switches.find(name) != switches.end(); }

bool CCommandLine::GetSwitchValue(const std::u16string& name, std::u16string* value) const {
  value->clear();
  auto it = switches.find(name);
  if (it == switches.end()) return false;
  *value = it->second;
  return true;
}

std::u16string CCommandLine::GetSwitchValue(const std::u16string& name) const {
  std::u16string value;
  GetSwitchValue(name, &value);
  return value;
}

size_t CCommandLine::RemoveSwitch(const std::u16string& name) { return switches.erase(name); }

std::u16string CCommandLine::GetArg(size_t index) const {
  return index < arguments.size() ? arguments[index] : std::u16string();
}

std::u16string& CCommandLine::ToCommandString(std::u16string& out) const {
  out.clear();
  bool first = true;
  auto separate = [&out, &first]() {
    if (!first) out += kBlank;
    first = false;
  };
  for (const auto& [key, value] : switches) {
    separate();
    out += u"--";
    out += key;
    if (!value.empty()) {
      out += kEquals;
      out += Quoted(value);
    }
  }
  for (const auto& argument : arguments) {
    separate();
    out += Quoted(argument);
  }
  return out;
}
