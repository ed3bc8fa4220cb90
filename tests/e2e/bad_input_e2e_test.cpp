// Inputs that go wrong: broken built-in documents, broken manifests, no main
// executable, an overlong command line, odd objects where files belong.
#include <algorithm>
#include <string>
#include <vector>

#ifndef _WIN32
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#endif

#include "e2e_support.h"
#include "gtest/gtest.h"

namespace e2e {
namespace {

// Launchers built with other documents end before any launch: a broken
// configuration before the log exists, a broken locale right after.
TEST(BadInput, BrokenBuiltInDocumentsEndWithTheirCodes) {
  const struct {
    const char* variant;
    int32_t exitCode;
    bool logWritten;
  } rows[] = {
      {"launcher_broken_config", -2, false},
      {"launcher_incomplete_config", -2, false},
      {"launcher_broken_locale", -3, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.variant);
    Sandbox box(std::string("Variant-") + row.variant);
    const fs::path launcher = box.InstallLauncher(VariantProgram(row.variant));
    box.AddVersion("1.78.4");
    EXPECT_TRUE(EndedWith(box.Run(launcher, ""), row.exitCode));
    // A start would come after the version directory became "app": that it
    // is still there shows no start was tried, without waiting for a record.
    EXPECT_TRUE(fs::exists(box.root() / "1.78.4")) << "nothing was renamed";
    EXPECT_TRUE(box.Records().empty());
    EXPECT_FALSE(fs::exists(box.IniPath()));
    EXPECT_EQ(fs::exists(box.LogPath()), row.logWritten);
    if (!row.logWritten) continue;
    // What a broken locale logs is VornAppTest.ResourceFailuresAreLogged's.
    const LogView log(box.LogPath());
    ASSERT_FALSE(log.lines.empty()) << log.Dump();
    EXPECT_EQ(log.lines.front().message, "------------ Log start -------------");
  }
}

// manifest.json in the version directory: what it names is started under its
// own name, from its own directory; a name that leads nowhere falls back to
// the configured file name. (A manifest that is no JSON: VersionDirsTest.ProbeRows.)
TEST(BadInput, ManifestRows) {
  const struct {
    const char* manifest;
    const char* exe;            // the probe's name inside app, and the one started
    const char* startedDir;     // relative to the root
    const char* expectedError;  // an ERRO line in clear after the root; null: none checked
  } rows[] = {
      {"{\"launchName\":\"bin\\\\Runner.exe\"}", "bin\\Runner.exe", "app\\bin", nullptr},
      {"{\"launchName\":\"missing.exe\"}", "Orvane.exe", "app", "Not exists launchName file, path=R\\app\\missing.exe"},
      {"\xEF\xBB\xBF{\"launchName\":\"Other.exe\"}", "Other.exe", "app", nullptr},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(testing::Message() << "row " << i << ": " << rows[i].manifest);
    Sandbox box("Manifest-" + std::to_string(i));
    const fs::path launcher = box.InstallLauncher();
    std::string exeName = rows[i].exe;
    std::replace(exeName.begin(), exeName.end(), '\\', '/');
    box.AddVersion("app", exeName);
    WriteFile(box.root() / "app" / "manifest.json", rows[i].manifest);

    EXPECT_TRUE(EndedWith(box.Run(launcher, ""), 0));
    const std::vector<ProbeRecord> records = box.WaitForRecords(1);
    ASSERT_EQ(records.size(), 1u);
    const std::string R = box.RootText();
    EXPECT_EQ(records[0].exe, R + "app\\" + rows[i].exe);
    EXPECT_EQ(records[0].cwd, R + rows[i].startedDir);
    EXPECT_EQ(ReadFile(box.IniPath()), "app");
    if (rows[i].expectedError != nullptr) {
      std::string message = rows[i].expectedError;
      if (const size_t at = message.find("R\\"); at != std::string::npos) message.replace(at, 2, R);
      EXPECT_TRUE(HasLinesInOrder(LogView(box.LogPath()), {{"ERRO", message}}, kDefaultSpanMode));
    }
  }
}

// Orvane.ini holding "." names the install root, where the launcher stands as
// Orvane.exe. The name is read as absent: the copy in app is started where it
// stands, nothing is moved aside or cleared, the ini is set right, and the
// launcher never starts itself.
TEST(BadInput, IniHoldingADotStartsTheCopyInApp) {
  Sandbox box("IniDot");
  const fs::path launcher = box.root() / "Orvane.exe";
  fs::copy_file(LauncherProgram(), launcher);
  box.AddVersion("app");
  WriteFile(box.IniPath(), ".");

  EXPECT_TRUE(EndedWith(box.Run(launcher, ""), 0));
  const std::vector<ProbeRecord> records = box.WaitForRecords(1);
  ASSERT_EQ(records.size(), 1u) << "the application was not started";
  EXPECT_EQ(records[0].exe, box.RootText() + "app\\Orvane.exe");
  EXPECT_EQ(box.RootEntries(), (std::vector<std::string>{"Orvane.exe", "Orvane.ini", "app"}));
  EXPECT_TRUE(fs::exists(box.root() / "app" / "Orvane.exe"));
  EXPECT_EQ(ReadFile(box.IniPath()), "app");
  const LogView log(box.LogPath());
  EXPECT_EQ(FindMessage(log, "------------ Log start -------------").size(), 1u) << log.Dump();
}

TEST(BadInput, NoMainExecutableEndsWithMinus4AndWritesNoIni) {
  Sandbox box("NoMainExe");
  const fs::path launcher = box.InstallLauncher();
  fs::create_directories(box.root() / "app");
  fs::create_directories(box.root() / "1.78.4");
  WriteFile(box.root() / "1.78.4" / "readme.txt", "not an executable");

  const RunResult run = box.Run(launcher, "");
  EXPECT_TRUE(EndedWith(run, -4));
#ifndef _WIN32
  EXPECT_NE(run.stderrText.find("Can't find main exe file"), std::string::npos) << run.stderrText;
#endif
  EXPECT_FALSE(fs::exists(box.IniPath()));
  EXPECT_TRUE(fs::exists(box.root() / "1.78.4"));
  const LogView log(box.LogPath());
  const std::vector<size_t> hits = FindMessage(log, "CLauncherApp::_LaunchExe, can't found main exe");
  ASSERT_EQ(hits.size(), 1u) << log.Dump();
  EXPECT_EQ(log.lines[hits[0]].level, "ERRO");
}

// A command line of 20,000 characters: the composed line is cut at 10240
// characters, which takes --start_time with it, and the start goes on.
TEST(BadInput, OverlongCommandLineIsCutAt10240) {
  Sandbox box("LongCommandLine");
  const fs::path launcher = box.InstallWithApp();
  EXPECT_TRUE(EndedWith(box.Run(launcher, std::string(20000, 'x')), 0));
  const std::vector<ProbeRecord> records = box.WaitForRecords(1);
  ASSERT_EQ(records.size(), 1u);
  const std::string head = "\"" + box.RootText() + "app\\Orvane.exe\" ";
  const std::string kept(10240 - head.size(), 'x');
  EXPECT_EQ(records[0].argv, std::vector<std::string>{kept}) << "no --start_time";
#ifdef _WIN32
  EXPECT_EQ(records[0].cmdline, head + kept);
#endif
  // The survey's line for the argument is cut at 2048 characters, prefix
  // included; the only errors are the manifest probes of every start.
  const LogView log(box.LogPath());
  size_t surveyed = 0;
  for (size_t i = 0; i < log.lines.size(); ++i) {
    const std::string& message = log.lines[i].message;
    if (message.rfind("CmdLine[0]:xxx", 0) == 0) surveyed = log.raw[i].size();
    EXPECT_TRUE(log.lines[i].level != "ERRO" || message.rfind("Read manifest.json failed", 0) == 0) << log.raw[i];
  }
  EXPECT_EQ(surveyed, 2048u) << log.Dump();
}


#ifndef _WIN32

// Makes at `path` an object that is not a regular file; false if it cannot.
bool MakeOddObject(const std::string& kind, const fs::path& path) {
  std::error_code ec;
  fs::create_directories(path.parent_path(), ec);
  if (kind == "directory") return fs::create_directory(path, ec);
  if (kind == "fifo") return ::mkfifo(path.c_str(), 0666) == 0;
  if (kind == "device") return ::symlink("/dev/zero", path.c_str()) == 0;
  if (kind == "dangling link") return ::symlink((path.string() + ".nowhere").c_str(), path.c_str()) == 0;
  if (kind == "socket") {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (fd < 0 || path.native().size() >= sizeof address.sun_path) return false;
    std::copy(path.native().begin(), path.native().end(), address.sun_path);
    const bool bound = ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(fd);  // the socket file stays
    return bound;
  }
  return false;
}
#endif

// A file the launcher opens that is not a file at all: _wfopen refuses it, so
// the launcher takes its road for a file that can't be opened, and never
// blocks on it or reads it without end. Windows (under Wine) can make only the
// directories; Linux makes every kind.
TEST(BadInput, OddObjectsWhereFilesBelong) {
  const struct {
    const char* where;  // "ini", "manifest", "log" or "report"
    const char* kind;
  } rows[] = {
      {"ini", "directory"},     {"manifest", "directory"}, {"log", "directory"},    {"report", "directory"},
#ifndef _WIN32
      {"ini", "fifo"},          {"ini", "socket"},         {"ini", "device"},       {"ini", "dangling link"},
      {"manifest", "fifo"},     {"manifest", "device"},    {"log", "fifo"},         {"report", "fifo"},
      {"manifest", "socket"},   {"report", "device"},
#endif
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.kind) + " as " + row.where);
    Sandbox box(std::string("Odd-") + row.where);
    const fs::path launcher = box.InstallWithApp();
    const std::string where = row.where;
    const fs::path target = where == "ini"        ? box.IniPath()
                            : where == "manifest" ? box.root() / "app" / "manifest.json"
                            : where == "log"      ? box.LogPath()
                                                  : box.ReportPath();
#ifdef _WIN32
    ASSERT_TRUE(fs::create_directories(target));
#else
    ASSERT_TRUE(MakeOddObject(row.kind, target)) << target;
#endif
    // A report record comes from a dropped path that exists.
    const RunResult run = box.Run(launcher, "\"" + WinForm(box.root() / "app") + "\"");
    ASSERT_TRUE(run.finished) << "the launcher hung";
    EXPECT_TRUE(EndedWith(run, 0)) << run.stderrText;
    const std::vector<ProbeRecord> records = box.WaitForRecords(1);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].exe, box.RootText() + "app\\Orvane.exe");
    if (where == "ini" || where == "manifest") {
      const std::string R = box.RootText();
      const std::string error = std::string(row.kind) == "dangling link" ? "2" : "5";
      const ExpectedLine failure =
          where == "ini" ? ExpectedLine{"ERRO", "Write '" + R + "Orvane.ini' fail, error=" + error}
                         : ExpectedLine{"ERRO", "Read manifest.json failed, path=" + R + "app\\manifest.json"};
      EXPECT_TRUE(HasLinesInOrder(LogView(box.LogPath()), {failure}, kDefaultSpanMode));
    }
  }
}

}  // namespace
}  // namespace e2e
