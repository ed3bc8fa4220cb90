// Support for the end-to-end tests of the built launcher: a sandbox per test,
// real child processes with timeouts, the probe's records and the launcher's
// files. The same source runs natively and, as e2e_tests.exe, under Wine.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "platform/platform.h"

namespace e2e {

namespace fs = std::filesystem;

// The built programs, from ORVANE_LAUNCHER, ORVANE_PROBE and
// ORVANE_VARIANTS_DIR (a variant by its target name, "launcher_broken_config").
fs::path LauncherProgram();
fs::path ProbeProgram();
fs::path VariantProgram(const std::string& name);

// The path as the launcher and the probe see it: Windows form, backslashes.
std::string WinForm(const fs::path& path);
// The path as this platform's own APIs take it (POSIX form natively).
std::u16string Native16(const fs::path& path);

std::string ReadFile(const fs::path& path);  // empty when missing
void WriteFile(const fs::path& path, const std::string& bytes);

struct Child {
  platform::Handle process = nullptr;
  uint32_t pid = 0;
};

struct RunResult {
  bool finished = false;  // false: timed out and killed
  uint32_t exitCode = 0;
  uint32_t pid = 0;
  std::string stderrText;  // natively, when captured
};

// Whether the run finished with the exit code of a process whose Run returned
// `expected`: all 32 bits on Windows, the low 8 bits for a Linux parent.
::testing::AssertionResult EndedWith(const RunResult& run, int32_t expected);

// One JSON line of the probe.
struct ProbeRecord {
  std::vector<std::string> argv;
  std::string cmdline, cwd, exe;
};

// One line of the launcher's log: "%s [%s][%5d][%5d] [%s] %s" with a
// 23-character timestamp.
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
  fs::path InstallWithApp() {
    AddVersion("app");
    return InstallLauncher();
  }
  // Creates root/dirName holding the probe as `exeName`; returns the exe path.
  fs::path AddVersion(const std::string& dirName, const std::string& exeName = "Orvane.exe");

  fs::path LogPath() const { return local_ / "Orvane/User Data/sdk_storage/log/Orvane-launcher.log"; }
  fs::path ReportPath() const { return local_ / "Orvane/User Data/update/update_report.json"; }
  fs::path IniPath() const { return root_ / "Orvane.ini"; }
  const fs::path& RecordPath() const { return record_; }

  // Starts `program` with the argument text as it stands on a Windows
  // command line after the program's name. Wait kills the child on time-out.
  bool Start(const fs::path& program, const std::string& argumentText, Child* child);
  RunResult Wait(const Child& child, uint32_t timeoutMs = 15000);
  RunResult Run(const fs::path& program, const std::string& argumentText);
  // Natively: standard error lands in stderrText. Elsewhere the same as Run.
  RunResult RunCapturingStderr(const fs::path& program, const std::string& argumentText);

  std::vector<ProbeRecord> Records() const;
  // Waits until the record file holds at least `count` records.
  std::vector<ProbeRecord> WaitForRecords(size_t count) const;
  std::vector<std::string> RootEntries() const;  // sorted names

 private:
  bool StartLine(const std::u16string& commandLine, Child* child);

  fs::path base_, root_, local_, record_;
  std::vector<Child> started_;
};

}  // namespace e2e
