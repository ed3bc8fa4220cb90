#include "platform/argv_rules.h"

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

}  // namespace

std::vector<std::u16string> SplitCommandLine(const std::u16string& commandLine) {
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

  while (true) {
    while (i < n && IsSeparator(commandLine[i])) ++i;
    if (i >= n) break;

    std::u16string arg;
    bool quoted = false;
    while (i < n) {
      const char16_t c = commandLine[i];
      if (!quoted && IsSeparator(c)) break;
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
    args.push_back(arg);
  }
  return args;
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
