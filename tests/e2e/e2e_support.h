// Support for the end-to-end tests of the built launcher: a sandbox per test,
// real child processes with timeouts, the probe's records and the launcher's
// files, its log parsed with path spans decrypted where the build can. The
// same source runs natively and, as e2e_tests.exe, under Wine.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "base/product_config.h"
#include "gtest/gtest.h"
#include "platform/error_codes.h"
#include "platform/files/files.h"
#include "platform/processes/processes.h"
#include "platform/registry/registry.h"
#include "platform/system/clock.h"
#include "platform/system/environment.h"

namespace e2e {

namespace fs = std::filesystem;

// The built programs, from ORVANE_LAUNCHER, ORVANE_PROBE and
// ORVANE_VARIANTS_DIR (a variant by its target name, "launcher_broken_config").
fs::path LauncherProgram();
fs::path ProbeProgram();
fs::path VariantProgram(const std::string& name);
// The directory of programs signed for this test run (ORVANE_SIGNED_DIR,
// Windows build only); empty when the build made none.
fs::path SignedDir();
// The launchers of the release road and their children
// (ORVANE_RELEASE_SET_DIR, tests/release/make_release_set.sh; Windows build only).
fs::path ReleaseSetDir();

// The names of the task's launcher copy as the shipped configuration holds them.
CProductConfig ShippedNames();
// Takes away what an earlier run that failed half-way may have left in the
// Wine prefix: the update task and the task's copy of the launcher.
void ClearLeftoverTask();

// The path as the launcher and the probe see it: Windows form, backslashes.
std::string WinForm(const fs::path& path);
// The path as this platform's own APIs take it (POSIX form natively).
std::u16string Native16(const fs::path& path);
std::string ReadFile(const fs::path& path);  // empty when missing
// The path in Windows form and in double quotes, as a command line holds it.
std::string Quoted(const fs::path& path);
// The update broker's switches, as the scheduled task passes them, for `child`.
std::string BrokerSwitches(const fs::path& child);
void WriteFile(const fs::path& path, const std::string& bytes);

// Polls `done` every 10 ms for up to `timeoutMs`.
template <typename Done>
bool PollFor(uint32_t timeoutMs, Done done) {
  for (const uint64_t end = platform::Service<platform::Clock>().MonotonicNs() + uint64_t{timeoutMs} * 1000000; !done();
       platform::Service<platform::Clock>().SleepMs(10)) {
    if (platform::Service<platform::Clock>().MonotonicNs() >= end) return false;
  }
  return true;
}

struct RunResult {
  bool finished = false;  // false: timed out and killed, or never started
  uint32_t exitCode = 0, pid = 0;
  std::string stderrText;  // natively
  std::string why;         // when not finished: what happened instead
};
// Whether the run finished with the exit code of a process whose Run returned
// `expected`: all 32 bits on Windows, the low 8 bits for a Linux parent.
::testing::AssertionResult EndedWith(const RunResult& run, int32_t expected);

// One JSON line of the probe.
struct ProbeRecord {
  std::vector<std::string> argv;
  std::string cmdline, cwd, exe;
};

// One test's world: a temporary directory with an install root (or `root`,
// removed with the sandbox), the user's data directories, a kernel-object
// namespace and the probe's record file, set in this process's environment
// so that every launcher and probe it starts inherits them.
class Sandbox {
 public:
  explicit Sandbox(const std::string& name, const fs::path& root = {});
  ~Sandbox();
  Sandbox(const Sandbox&) = delete;
  Sandbox& operator=(const Sandbox&) = delete;

  const fs::path& base() const { return base_; }
  const fs::path& root() const { return root_; }
  std::string RootText() const { return WinForm(root_) + "\\"; }

  // Copies a launcher into the install root; returns its path there.
  fs::path InstallLauncher(const fs::path& program = LauncherProgram());
  // The same, beside the version directory "app" (see AddVersion).
  fs::path InstallWithApp() { return AddVersion("app"), InstallLauncher(); }
  // Creates root/dirName holding the probe as `exeName`; returns the exe path.
  fs::path AddVersion(const std::string& dirName, const std::string& exeName = "Orvane.exe");
  // Copies a launcher and a child where the broker tests run them: the
  // launcher as root/Orvane.exe, the child as root/updater/child.exe, whose
  // path is returned.
  fs::path InstallBrokerPair(const fs::path& launcher, const fs::path& child);

  fs::path LogPath() const { return local_ / "Orvane/User Data/sdk_storage/log/Orvane-launcher.log"; }
  fs::path ReportPath() const { return local_ / "Orvane/User Data/update/update_report.json"; }
  fs::path IniPath() const { return root_ / "Orvane.ini"; }

  // Starts `program` with the argument text as it stands on a Windows
  // command line after the program's name. Wait kills the child on time-out.
  bool Start(const fs::path& program, const std::string& argumentText, platform::ProcessInfo* child);
  RunResult Wait(const platform::ProcessInfo& child, uint32_t timeoutMs = 15000);
  // Start and Wait; natively standard error lands in stderrText.
  RunResult Run(const fs::path& program, const std::string& argumentText);

  std::vector<ProbeRecord> Records() const;
  // Waits until the record file holds at least `count` records.
  std::vector<ProbeRecord> WaitForRecords(size_t count) const;
  std::vector<std::string> RootEntries() const;  // sorted names

 private:
  bool StartLine(std::u16string commandLine, const std::string& argumentText, platform::ProcessInfo* child);

  fs::path base_, root_, local_, record_;
  std::vector<platform::ProcessInfo> started_;
};

// --- The launcher's log ------------------------------------------------------

// One line: "%s [%s][%5d][%5d] [%s] %s" with a 23-character timestamp.
struct LogLine {
  std::string level, pidField, tag, message;
};
std::string Pid5(uint32_t pid);  // "%5d"

// The span of a clear message that the log encoder replaces: from the start
// of the blank-delimited word holding the first backslash to the end of the
// word holding the last one. False when the message holds no backslash.
bool FindPathSpan(const std::string& message, size_t* start, size_t* end);
// The message as the log shows it with size notes ("str size:N").
std::string WithSizeNote(const std::string& message);
// Base64 of `bytes` zero bytes, as the encoder's failure road writes a span.
std::string Base64OfZeros(size_t bytes);

// How the log is expected to show a path span.
enum class SpanMode {
  kEncrypted,   // RSA ciphertext in Base64 (natively); compared after decryption
  kSizeNotes,   // "str size:N" (--disallow_encode_log)
  kWineFailed,  // the encoder's failure road: one span of zero blocks, then size notes
};
// The mode of a run without --disallow_encode_log on this platform.
#ifdef _WIN32
constexpr SpanMode kDefaultSpanMode = SpanMode::kWineFailed;
#else
constexpr SpanMode kDefaultSpanMode = SpanMode::kEncrypted;
#endif

struct ExpectedLine {
  std::string level;    // "INFO", "ERRO" ...
  std::string message;  // in clear, paths included
};

struct LogView {
  explicit LogView(const fs::path& file);
  std::string Dump() const;

  bool endsInCrLf = false;       // every line ends in CR LF, and no line holds another CR or LF
  std::vector<std::string> raw;  // the lines as bytes
  std::vector<LogLine> lines;    // parsed; empty unless every line parses
};

// Each expected line appears, in this order, at or after line `from`.
::testing::AssertionResult HasLinesInOrder(const LogView& log, const std::vector<ExpectedLine>& expected, SpanMode mode,
                                           size_t from = 0);
// Indices of the lines whose message equals `message` exactly as written.
std::vector<size_t> FindMessage(const LogView& log, const std::string& message);
// Whether some line's message holds `text`.
bool LogHolds(const LogView& log, const std::string& text);

}  // namespace e2e
