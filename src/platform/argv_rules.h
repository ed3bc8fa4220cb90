// The Windows rules that split one command line into argv (those of
// CommandLineToArgvW and the C runtime) and the quoting that makes a list of
// arguments read back as itself. Portable; the POSIX backend starts processes
// with SplitCommandLine, and the POSIX entry point joins its argv with
// QuoteArgument, so a Linux process receives what a Windows one would.
#pragma once

#include <string>
#include <vector>

namespace platform {

// CommandLineToArgvW: the first token is the program name (quotes delimit,
// no escapes); the rest follow the 2n backslash rules. An empty line gives
// an empty list here (CommandLineToArgvW would give the module path).
std::vector<std::u16string> SplitCommandLine(const std::u16string& commandLine);

// Quotes one argument so that SplitCommandLine reads it back unchanged
// (argument 1 onwards). Text without blank, tab, newline, vertical tab or
// quote is returned as it is; an empty argument becomes "".
std::u16string QuoteArgument(const std::u16string& argument);

// The arguments joined by single blanks, each quoted by QuoteArgument.
std::u16string JoinArguments(const std::vector<std::u16string>& arguments);

}  // namespace platform
