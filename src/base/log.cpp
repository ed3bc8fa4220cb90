// The log writer. Each line is composed from two bounded buffers (message and
// whole line, 2048 wide characters each), masked, encoded and appended to the
// one log stream with CR LF, then flushed so that nothing is lost if the
// process dies and concurrent launchers keep their lines whole.
#include "base/log.h"

#include <cstdio>

#include "base/log_encoder.h"
#include "base/text.h"
#include "layout/paths.h"
#include "platform/files/files.h"
#include "platform/system/clock.h"
#include "platform/system/environment.h"

namespace {

// Process-wide log state, set on the main thread during start-up. The tag is
// allocated once and never destroyed, so a line logged during static
// destruction still finds it.
std::FILE* g_logStream = nullptr;
bool g_disallowEncode = false;

std::u16string& LogTag() {
  static std::u16string* tag = new std::u16string();
  return *tag;
}

// A composed buffer is read back as a C string: the text ends at its first
// NUL, as it does for the wide %s that consumes it.
void CutAtFirstNul(std::u16string* text) {
  const size_t nul = text->find(u'\0');
  if (nul != std::u16string::npos) text->resize(nul);
}

constexpr char16_t kUsersNeedle[] = u"\\Users\\";
constexpr size_t kUsersNeedleLength = 7;

}  // namespace

void SetLogFileTag(const std::u16string& tag) { LogTag() = tag; }

void SetDisallowEncodeLog(bool value) { g_disallowEncode = value; }

bool IsDisallowEncodeLog() { return g_disallowEncode; }

std::u16string FormatTimestamp(uint64_t ms, bool withTime, bool withMilliseconds) {
  const int64_t signedMs = static_cast<int64_t>(ms);
  const int64_t seconds = signedMs / 1000;
  const int millis = static_cast<int>(signedMs % 1000);

  // A time the platform cannot break down reads as an all-zero broken-down
  // time (year 1900, January, day 0).
  platform::LocalTimeParts parts;
  if (!platform::Service<platform::Clock>().ToLocalTime(seconds, &parts)) {
    parts = platform::LocalTimeParts();
    parts.year = 1900;
    parts.month = 1;
  }
  std::u16string text = FormatWideString(u"%04d-%02d-%02d %02d:%02d:%02d.%03d", parts.year, parts.month, parts.day,
                                         parts.hour, parts.minute, parts.second, millis);
  if (!withTime) {
    if (text.size() > 10) text.resize(10);
  } else if (!withMilliseconds) {
    if (text.size() > 19) text.resize(19);
  }
  return text;
}

std::u16string MaskUserName(const std::u16string& line) {
  std::u16string out;
  out.reserve(line.size());
  const size_t n = line.size();
  size_t i = 0;
  while (i < n) {
    const bool match = line[i] == u'\\' && n - i >= kUsersNeedleLength &&
                       line.compare(i, kUsersNeedleLength, kUsersNeedle) == 0;
    if (!match) {
      out.push_back(line[i]);
      ++i;
      continue;
    }
    out.append(kUsersNeedle, kUsersNeedleLength);
    i += kUsersNeedleLength;
    // A doubled separator after the needle survives as it is.
    while (i < n && line[i] == u'\\') {
      out.push_back(u'\\');
      ++i;
    }
    const size_t next = line.find(u'\\', i);
    if (next == std::u16string::npos) {
      // A path that ends in the user name keeps it.
      out.append(line, i, std::u16string::npos);
      break;
    }
    // Everything up to the next separator is the user name, blanks included.
    out.push_back(u'*');
    i = next;
  }
  return out;
}

void WriteLogLine(const char16_t* level, const char16_t* format, const FormatArg* args, size_t argCount) {
  auto& clock = platform::Service<platform::Clock>();
  auto& env = platform::Service<platform::Environment>();
  auto& files = platform::Service<platform::Files>();

  std::u16string message = FormatWideV(kFormatLimit, format, args, argCount);
  CutAtFirstNul(&message);

  const std::u16string timestamp = FormatTimestamp(clock.NowMs(), true, true);
  const uint32_t threadId = env.ThreadId();
  const uint32_t processId = env.ProcessId();

  std::u16string line = FormatWideLimited(kFormatLimit, u"%s [%s][%5d][%5d] [%s] %s", timestamp, level, processId,
                                          threadId, LogTag(), message);
  CutAtFirstNul(&line);

  // The encoder may log its own failure from here; that line reaches the file
  // before this one.
  const std::u16string encoded = EncodeLogLine(MaskUserName(line));
  std::string bytes = WideToUtf8(encoded);

  if (g_logStream == nullptr) return;
  bytes.append("\r\n");
  files.AppendShared(g_logStream, bytes);
}

void OpenLogFile(const std::u16string& dir, const std::u16string& fileName) {
  auto& files = platform::Service<platform::Files>();
  // An existing directory is no case of its own, and a failure shows later as
  // a stream that cannot be opened.
  files.MakeDirectoryTree(dir);
  const std::u16string path = JoinPath(dir, fileName);
  // The log is opened once per run; a second open (tests) must not leak the
  // first stream.
  if (g_logStream != nullptr) std::fclose(g_logStream);
  g_logStream = files.OpenStream(path, "a+b");
  LogInfo(u"------------ Log start -------------");
}

void ResetLogStateForTesting() {
  if (g_logStream != nullptr) std::fclose(g_logStream);
  g_logStream = nullptr;
  LogTag().clear();
  g_disallowEncode = false;
  ResetLogEncoderForTesting();
}
