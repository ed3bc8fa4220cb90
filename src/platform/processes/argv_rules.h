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

// The Linux entry: its argv (program name left out) as the command line a
// Windows user would have typed for the same arguments, so that the shared
// parser decides as on Windows. `-` and `--` begin a switch, a switch value
// with a blank or tab is quoted (--g="h i"); `/` begins a path, which goes
// in Windows form (\home\ann\x.txt); any other argument with a blank or tab
// is quoted, and an empty one is "". Double quotes inside an argument are
// not escaped: the Windows command line has no form for them that the
// parser and the serialiser both keep.
std::u16string CommandLineFromPosixArguments(const std::vector<std::u16string>& arguments);

// The Linux process start: the launch command line back into the arguments
// the application gets, whole. SplitCommandLine's rules, except that only
// the blank separates, that the serialiser's doubled quotes around an
// argument with a blank (""a b"") read as that one argument, and that an
// argument (not a switch) beginning with a backslash is turned back into a
// POSIX path.
std::vector<std::u16string> SplitPosixLaunchLine(const std::u16string& commandLine);

// A path in Windows form that begins with a backslash, in POSIX form; any
// other text as it is.
std::u16string PosixPathArgument(const std::u16string& argument);

}  // namespace platform
