// The probe: stands in for the application that the launcher starts. It
// records how it was started as one JSON line appended to the file named by
// ORVANE_PROBE_RECORD (when set), then stays alive ORVANE_PROBE_STAY_MS
// milliseconds (when set) and exits with 0.
//
// As the launcher that a scheduled task runs, for the tests of the waiting
// side: ORVANE_PROBE_SIGNAL names an event to set (as the broker sets its
// success event), ORVANE_PROBE_HOLD a file whose appearance the probe waits
// for before it ends, and ORVANE_PROBE_EXIT the exit code to end with.
//
// Record: {"argv":[...],"cmdline":"...","cwd":"...","exe":"...","pid":n,"start_ns":n}
// argv holds every argument after the program name, in UTF-8. cmdline is the
// raw command line on Windows and the empty string elsewhere (a Linux process
// has no raw command line). cwd and exe are in Windows form on every
// platform, as the platform seam reports them. start_ns is the platform's
// monotonic clock, taken first thing, comparable with other processes'.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/files/files.h"
#include "platform/processes/named_events.h"
#include "platform/processes/processes.h"
#include "platform/system/clock.h"
#include "platform/system/environment.h"
#include "platform/text/unicode.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace {

std::string JsonString(const std::string& utf8) {
  std::string out = "\"";
  for (unsigned char c : utf8) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (c < 0x20) {
          char buf[8];
          std::snprintf(buf, sizeof buf, "\\u%04x", c);
          out += buf;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  return out + "\"";
}

std::string Utf8(const std::u16string& text) { return platform::Utf16ToUtf8(text); }

int RunProbe(uint64_t startNs, const std::vector<std::u16string>& args, const std::u16string& rawCommandLine) {
  auto& env = platform::Service<platform::Environment>();
  auto& files = platform::Service<platform::Files>();
  auto& clock = platform::Service<platform::Clock>();
  auto& processes = platform::Service<platform::Processes>();

  std::u16string recordPath;
  if (env.GetEnv(u"ORVANE_PROBE_RECORD", &recordPath) && !recordPath.empty()) {
    std::string line = "{\"argv\":[";
    for (size_t i = 0; i < args.size(); ++i) {
      if (i != 0) line += ',';
      line += JsonString(Utf8(args[i]));
    }
    line += "],\"cmdline\":" + JsonString(Utf8(rawCommandLine));
    line += ",\"cwd\":" + JsonString(Utf8(env.CurrentDirectory()));
    line += ",\"exe\":" + JsonString(Utf8(env.ModuleFilePath()));
    line += ",\"pid\":" + std::to_string(env.ProcessId());
    line += ",\"start_ns\":" + std::to_string(startNs) + "}\n";
    // One write of an append-mode stream keeps the line whole when several
    // probes record into the same file.
    if (std::FILE* f = files.OpenStream(recordPath, "ab")) {
      std::fwrite(line.data(), 1, line.size(), f);
      std::fclose(f);
    }
  }

  std::u16string stay;
  if (env.GetEnv(u"ORVANE_PROBE_STAY_MS", &stay) && !stay.empty()) {
    const long ms = std::strtol(Utf8(stay).c_str(), nullptr, 10);
    if (ms > 0) clock.SleepMs(static_cast<uint32_t>(ms));
  }

  std::u16string text;
  platform::Handle event = nullptr;
  if (env.GetEnv(u"ORVANE_PROBE_SIGNAL", &text) && !text.empty()) {
    auto& events = platform::Service<platform::NamedEvents>();
    event = events.CreateNamedEvent(text, false, false);
    if (event == nullptr || !events.SignalEvent(event)) return 90;
  }
  if (env.GetEnv(u"ORVANE_PROBE_HOLD", &text) && !text.empty()) {
    // The event stays open (and set, until a waiter takes it) while held.
    while (!files.PathExists(text)) clock.SleepMs(5);
  }
  if (event != nullptr) processes.CloseObject(event);
  return env.GetEnv(u"ORVANE_PROBE_EXIT", &text) && !text.empty() ? std::atoi(Utf8(text).c_str()) : 0;
}

}  // namespace

#ifdef _WIN32
int wmain(int argc, wchar_t** argv) {
  const uint64_t startNs = platform::Service<platform::Clock>().MonotonicNs();
  std::vector<std::u16string> args;
  for (int i = 1; i < argc; ++i) args.emplace_back(reinterpret_cast<const char16_t*>(argv[i]));
  const std::u16string raw(reinterpret_cast<const char16_t*>(GetCommandLineW()));
  return RunProbe(startNs, args, raw);
}
#else
int main(int argc, char** argv) {
  const uint64_t startNs = platform::Service<platform::Clock>().MonotonicNs();
  std::vector<std::u16string> args;
  for (int i = 1; i < argc; ++i) args.push_back(platform::Utf8ToUtf16(argv[i]));
  return RunProbe(startNs, args, u"");
}
#endif
