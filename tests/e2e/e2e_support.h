// Support for the end-to-end tests of the built launcher: temporary install
// roots, real child processes with timeouts, the probe's records, and the
// launcher's log, report and ini files. The same source runs natively and, as
// e2e_tests.exe, under Wine.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace e2e {

namespace fs = std::filesystem;

// Paths of the built programs, from ORVANE_LAUNCHER, ORVANE_PROBE and
// ORVANE_VARIANTS_DIR. Under Wine these hold Linux paths; /x/y becomes Z:\x\y.
fs::path ProgramFromEnv(const char* name);
fs::path LauncherProgram();
fs::path ProbeProgram();
// A variant launcher by its target name ("launcher_broken_config").
fs::path VariantProgram(const std::string& name);

// The path as the launcher and the probe see it: Windows form, backslashes.
std::string WinForm(const fs::path& path);
std::u16string WinForm16(const fs::path& path);
// The path as this platform's own APIs take it (POSIX form natively).
std::u16string Native16(const fs::path& path);

std::string ReadFile(const fs::path& path);  // empty when missing
void WriteFile(const fs::path& path, const std::string& bytes);

// True natively: a Linux parent sees only the low 8 bits of an exit code.
bool ExitCodeIsCutTo8Bits();
// Whether `actual` is the process exit code of `Run` returning `expected`.
bool SameExitCode(uint32_t actual, int32_t expected);

// A started process. WaitFor never hangs: on time-out it kills the process.
struct Child {
  platform::Handle process = nullptr;
  uint32_t pid = 0;
};

struct RunResult {
  bool finished = false;  // false: timed out and killed
  uint32_t exitCode = 0;
  uint32_t pid = 0;
  std::string stderrText;  // natively, when captured; empty otherwise
};

// One JSON line of the probe.
struct ProbeRecord {
  std::vector<std::string> argv;
  std::string cmdline;
  std::string cwd;
  std::string exe;
  uint32_t pid = 0;
  uint64_t startNs = 0;
};

// One line of the launcher's log, split into the fields of its format.
struct LogLine {
  std::string time;
  std::string level;
  std::string pidField;  // "%5d" of the process id, as written
  std::string tidField;
  std::string tag;
  std::string message;
};

// Splits the log into lines at CR LF. `wellFormed` is cleared when the file
// does not end in CR LF or a line holds a bare CR or LF.
std::vector<std::string> SplitLogLines(const std::string& bytes, bool* wellFormed);
// Parses "%s [%s][%5d][%5d] [%s] %s" with a 23-character timestamp.
bool ParseLogLine(const std::string& line, LogLine* out);
std::string Pid5(uint32_t pid);  // "%5d"

// The span of a clear message that the log encoder replaces: from the start
// of the blank-delimited word holding the first backslash to the end of the
// word holding the last one. False when the message holds no backslash.
bool FindPathSpan(const std::string& message, size_t* start, size_t* end);
// The message as the log shows it with size notes ("str size:N").
std::string WithSizeNote(const std::string& message);

// One test's world: a temporary directory with an install root, the user's
// local and roaming data directories, a kernel-object namespace and the
// probe's record file, all set in the environment of this process so that
// every launcher and probe it starts inherits them.
class Sandbox {
 public:
  explicit Sandbox(const std::string& name);
  // The same with the install root at `root` instead of inside the sandbox
  // (for a root of a chosen path length); it is removed with the sandbox.
  Sandbox(const std::string& name, const fs::path& root);
  ~Sandbox();
  Sandbox(const Sandbox&) = delete;
  Sandbox& operator=(const Sandbox&) = delete;

  const fs::path& base() const { return base_; }
  const fs::path& root() const { return root_; }

  // Copies a launcher into the install root; returns its path there.
  fs::path InstallLauncher(const fs::path& program = LauncherProgram());
  // Creates root/dirName holding the probe as `exeName`; returns the exe path.
  fs::path AddVersion(const std::string& dirName, const std::string& exeName = "Orvane.exe");

  fs::path LogPath() const;     // %LOCALAPPDATA%\Orvane\User Data\sdk_storage\log\Orvane-launcher.log
  fs::path ReportPath() const;  // %LOCALAPPDATA%\Orvane\User Data\update\update_report.json
  fs::path IniPath() const;     // root\Orvane.ini
  fs::path RecordPath() const { return record_; }

  // Starts `program` with the argument text as it would stand on a Windows
  // command line after the program's name (quoted exactly as given).
  bool Start(const fs::path& program, const std::string& argumentText, Child* child);
  RunResult Wait(const Child& child, uint32_t timeoutMs = 15000);
  RunResult Run(const fs::path& program, const std::string& argumentText, uint32_t timeoutMs = 15000);
  // Natively: runs through /bin/sh so that standard error lands in a file,
  // returned in stderrText. Elsewhere the same as Run.
  RunResult RunCapturingStderr(const fs::path& program, const std::string& argumentText,
                               uint32_t timeoutMs = 15000);

  // Waits until the record file holds at least `count` records.
  std::vector<ProbeRecord> WaitForRecords(size_t count, uint32_t timeoutMs = 10000);
  // The records there now.
  std::vector<ProbeRecord> Records();

  // The sorted names of the install root's entries.
  std::vector<std::string> RootEntries() const;

 private:
  fs::path base_;
  fs::path root_;
  fs::path local_;
  fs::path roaming_;
  fs::path objects_;
  fs::path record_;
  std::vector<Child> started_;
  bool separateRoot_ = false;
};

// Sets or removes one environment variable of this process (and so of the
// children it starts afterwards).
void SetEnv(const std::u16string& name, const std::u16string& value);
void UnsetEnv(const std::u16string& name);

}  // namespace e2e
