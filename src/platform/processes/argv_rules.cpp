#include "platform/processes/argv_rules.h"

namespace platform {

// How a Windows command line falls apart into argv, as CommandLineToArgvW
// splits it (checked against the system's own function):
//
// Program name (first token). If the line starts with a quote, the name is
// everything up to the next quote (or the end), and the closing quote also
// ends the token: the next argument starts right behind it. Otherwise the
// name runs to the first blank or tab, so leading blanks give an empty name.
// Backslashes mean nothing in the name.
//
// Every later argument:
// - blanks and tabs outside a quoted run separate arguments; runs of them
//   count as one, and trailing ones give no empty argument;
// - a quote toggles the quoted run and is not copied, so "a b"c is one
//   argument `a bc`; an argument that was only quotes ("") is empty but still
//   counts;
// - inside a quoted run, two quotes in a row give one literal quote and end
//   the run ("a""b c" gives `a"b` and `c`). The C runtime since 2008 stays
//   in the run instead; CommandLineToArgvW does not, and the children we
//   start read their command line with it;
// - 2n backslashes followed by a quote give n backslashes, and the quote
//   toggles the run; 2n+1 backslashes followed by a quote give n backslashes
//   and a literal quote; backslashes not followed by a quote are literal.
//
// The line ends at its first NUL, as the C string it stands for.
namespace {

bool IsSeparator(char16_t c) { return c == u' ' || c == u'\t'; }

// The launcher's serialiser puts its own pair of quotes around a positional
// argument that holds a blank and kept its quotes: `""a b""`. At `i`, such a
// token: two quotes, text that does not start with a blank, and two quotes
// followed by a blank or the end. Sets `end` past it and `inner` to the text.
bool DoubledQuoteToken(const std::u16string& line, size_t i, size_t n, size_t* end, std::u16string* inner) {
  if (i + 2 >= n || line[i] != u'"' || line[i + 1] != u'"' || line[i + 2] == u' ') return false;
  for (size_t k = i + 2; k + 1 < n; ++k) {
    if (line[k] == u'"' && line[k + 1] == u'"' && (k + 2 == n || line[k + 2] == u' ')) {
      if (line.find(u' ', i + 2) > k) return false;  // no blank: the plain rules read it right
      *inner = line.substr(i + 2, k - (i + 2));
      *end = k + 2;
      return true;
    }
  }
  return false;
}

std::vector<std::u16string> Split(const std::u16string& commandLine, bool posixLaunch) {
  std::vector<std::u16string> args;
  const size_t nul = commandLine.find(u'\0');
  const size_t n = nul == std::u16string::npos ? commandLine.size() : nul;
  if (n == 0) return args;

  size_t i = 0;
  std::u16string name;
  if (commandLine[0] == u'"') {
    i = 1;
    while (i < n && commandLine[i] != u'"') name.push_back(commandLine[i++]);
    if (i < n) ++i;  // the closing quote
  } else {
    while (i < n && !IsSeparator(commandLine[i])) name.push_back(commandLine[i++]);
  }
  args.push_back(name);

  // On a Linux start only the blank separates: the launcher never writes a
  // tab between arguments, so a tab inside one stays there.
  const auto separates = [posixLaunch](char16_t c) { return posixLaunch ? c == u' ' : IsSeparator(c); };
  while (true) {
    while (i < n && separates(commandLine[i])) ++i;
    if (i >= n) break;

    std::u16string arg;
    const size_t tokenStart = i;
    if (posixLaunch) {
      size_t end = 0;
      if (DoubledQuoteToken(commandLine, i, n, &end, &arg)) {
        i = end;
        args.push_back(PosixPathArgument(arg));
        continue;
      }
    }
    bool quoted = false;
    while (i < n) {
      const char16_t c = commandLine[i];
      if (!quoted && separates(c)) break;
      if (c == u'\\') {
        size_t count = 0;
        while (i < n && commandLine[i] == u'\\') {
          ++count;
          ++i;
        }
        if (i < n && commandLine[i] == u'"') {
          arg.append(count / 2, u'\\');
          if (count % 2 == 1) {
            arg.push_back(u'"');
            ++i;
          }
          // With an even count the quote is handled on the next round.
        } else {
          arg.append(count, u'\\');
        }
        continue;
      }
      if (c == u'"') {
        if (quoted && i + 1 < n && commandLine[i + 1] == u'"') {
          arg.push_back(u'"');
          quoted = false;
          i += 2;
          continue;
        }
        quoted = !quoted;
        ++i;
        continue;
      }
      arg.push_back(c);
      ++i;
    }
    // A switch keeps its value as written; any other argument that begins
    // with a backslash is a path in Windows form and goes back to POSIX form.
    const bool isSwitch = commandLine[tokenStart] == u'-';
    args.push_back(posixLaunch && !isSwitch ? PosixPathArgument(arg) : arg);
  }
  return args;
}

bool IsPosixPathStart(const std::u16string& argument) { return !argument.empty() && argument[0] == u'/'; }

}  // namespace

std::u16string PosixPathArgument(const std::u16string& argument) {
  if (argument.empty() || argument[0] != u'\\') return argument;
  std::u16string out = argument;
  for (char16_t& c : out) {
    if (c == u'\\') c = u'/';
  }
  return out;
}

std::vector<std::u16string> SplitCommandLine(const std::u16string& commandLine) { return Split(commandLine, false); }

std::vector<std::u16string> SplitPosixLaunchLine(const std::u16string& commandLine) {
  return Split(commandLine, true);
}

std::u16string CommandLineFromPosixArguments(const std::vector<std::u16string>& arguments) {
  std::u16string out;
  for (const std::u16string& argument : arguments) {
    if (!out.empty()) out.push_back(u' ');
    const bool hasBlank = argument.find_first_of(u" \t") != std::u16string::npos;
    if (argument.size() >= 2 && argument[0] == u'-') {
      // A switch. A value with a blank is quoted as a Windows user quotes it,
      // --g="h i"; the parser takes the pair off again. A name with a blank
      // cannot be a switch on Windows either: it goes as a quoted argument.
      const size_t eq = argument.find(u'=');
      if (eq != std::u16string::npos && argument.find_first_of(u" \t") > eq) {
        out += argument.substr(0, eq + 1) + u'"' + argument.substr(eq + 1) + u'"';
      } else if (hasBlank) {
        out += u'"' + argument + u'"';
      } else {
        out += argument;
      }
      continue;
    }
    // '/' begins a path on Linux: it goes in its Windows form, so the
    // parser sees a path and not a switch, as it would on Windows.
    std::u16string text = argument;
    if (IsPosixPathStart(text)) {
      for (char16_t& c : text) {
        if (c == u'/') c = u'\\';
      }
    }
    if (text.empty() || hasBlank) {
      out += u'"' + text + u'"';
    } else {
      out += text;
    }
  }
  return out;
}

std::u16string QuoteArgument(const std::u16string& argument) {
  if (argument.empty()) return u"\"\"";
  if (argument.find_first_of(u" \t\n\v\"") == std::u16string::npos) return argument;

  std::u16string out;
  out.reserve(argument.size() + 2);
  out.push_back(u'"');
  for (size_t i = 0; i < argument.size();) {
    size_t backslashes = 0;
    while (i < argument.size() && argument[i] == u'\\') {
      ++backslashes;
      ++i;
    }
    if (i == argument.size()) {
      // They stand before the closing quote: double them all.
      out.append(backslashes * 2, u'\\');
      break;
    }
    if (argument[i] == u'"') {
      out.append(backslashes * 2 + 1, u'\\');
      out.push_back(u'"');
    } else {
      out.append(backslashes, u'\\');
      out.push_back(argument[i]);
    }
    ++i;
  }
  out.push_back(u'"');
  return out;
}

std::u16string JoinArguments(const std::vector<std::u16string>& arguments) {
  std::u16string out;
  for (size_t i = 0; i < arguments.size(); ++i) {
    if (i > 0) out.push_back(u' ');
    out += QuoteArgument(arguments[i]);
  }
  return out;
}

}  // namespace platform
