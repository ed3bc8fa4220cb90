// The log: one UTF-8 file, append only, a line per call, flushed per line.
// Every line is masked (user names in profile paths) and its path span is
// encrypted or replaced before it reaches the file. Logging never fails
// towards the caller.
#pragma once

#include <cstddef>
#include <string>

#include "base/format.h"

// Level tokens.
inline constexpr char16_t kLogDebug[] = u"DEBG";
inline constexpr char16_t kLogInfo[] = u"INFO";
inline constexpr char16_t kLogWarn[] = u"WARN";
inline constexpr char16_t kLogError[] = u"ERRO";

// Formats one line "%s [%s][%5d][%5d] [%s] %s" (time, level, process id,
// thread id, tag, message), masks, encodes and, when the log is open, writes
// it with CR LF and flushes. Re-entrant: the encoder logs its own failure
// through it.
void WriteLogLine(const char16_t* level, const char16_t* format, const FormatArg* args, size_t argCount);

template <typename... Args>
void LogDebug(const char16_t* format, const Args&... args) {
  const FormatArg list[] = {FormatArg(args)..., FormatArg()};
  WriteLogLine(kLogDebug, format, list, sizeof...(Args));
}
template <typename... Args>
void LogInfo(const char16_t* format, const Args&... args) {
  const FormatArg list[] = {FormatArg(args)..., FormatArg()};
  WriteLogLine(kLogInfo, format, list, sizeof...(Args));
}
template <typename... Args>
void LogWarn(const char16_t* format, const Args&... args) {
  const FormatArg list[] = {FormatArg(args)..., FormatArg()};
  WriteLogLine(kLogWarn, format, list, sizeof...(Args));
}
template <typename... Args>
void LogError(const char16_t* format, const Args&... args) {
  const FormatArg list[] = {FormatArg(args)..., FormatArg()};
  WriteLogLine(kLogError, format, list, sizeof...(Args));
}

void SetLogFileTag(const std::u16string& tag);
void SetDisallowEncodeLog(bool value);
bool IsDisallowEncodeLog();

// Creates `dir`, opens dir\fileName for appending ("a+b") and writes the
// banner line. A file that cannot be opened leaves the log closed.
void OpenLogFile(const std::u16string& dir, const std::u16string& fileName);

// "\Users\<name>\" becomes "\Users\*\" (exact case), see the log format.
std::u16string MaskUserName(const std::u16string& line);

// "%04d-%02d-%02d %02d:%02d:%02d.%03d" in local time, cut at 10 characters
// without time or at 19 without milliseconds.
std::u16string FormatTimestamp(uint64_t ms, bool withTime, bool withMilliseconds);

// Tests only: closes the log and clears the tag and both flags.
void ResetLogStateForTesting();
