// Inputs that go wrong: broken built-in documents, broken manifests and ini
// contents, no main executable, an overlong command line.
#include <algorithm>
#include <string>
#include <vector>

#include "e2e_log.h"
#include "e2e_support.h"
#include "gtest/gtest.h"

namespace e2e {
namespace {

platform::Platform& P() { return platform::Get(); }

// Launchers built with other documents end before any launch: a broken
// configuration before the log exists, a broken locale right after.
TEST(BadInput, BrokenBuiltInDocumentsEndWithTheirCodes) {
  struct Row {
    const char* variant;
    int32_t exitCode;
    bool logWritten;
  };
  const Row rows[] = {
      {"launcher_broken_config", -2, false},
      {"launcher_incomplete_config", -2, false},
      {"launcher_broken_locale", -3, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.variant);
    Sandbox box(std::string("Variant-") + row.variant);
    const fs::path launcher = box.InstallLauncher(VariantProgram(row.variant));
    box.AddVersion("1.78.4");
    const RunResult run = box.Run(launcher, "");
    ASSERT_TRUE(run.finished);
    EXPECT_TRUE(SameExitCode(run.exitCode, row.exitCode)) << run.exitCode;
    P().SleepMs(100);
    EXPECT_TRUE(box.Records().empty());
    EXPECT_TRUE(fs::exists(box.root() / "1.78.4")) << "nothing was renamed";
    EXPECT_FALSE(fs::exists(box.IniPath()));
    const LogView log(box.LogPath());
    EXPECT_EQ(log.exists, row.logWritten);
    if (row.logWritten) {
      ASSERT_FALSE(log.lines.empty()) << log.Dump();
      EXPECT_EQ(log.lines.front().message, "------------ Log start -------------");
      const std::string prefix = "CInstallWindow::_InitConfigInfo, parse locale json failed, json=";
      bool found = false;
      for (const LogLine& line : log.lines) found = found || (line.level == "ERRO" && line.message.rfind(prefix, 0) == 0);
      EXPECT_TRUE(found) << log.Dump();
    }
  }
}

// manifest.json in the version directory: what it names is started under its
// own name; anything unusable falls back to the configured file name.
TEST(BadInput, ManifestRows) {
  struct Row {
    const char* manifest;
    const char* exeInApp;       // the probe's name inside app
    const char* startedExe;     // relative to app
    const char* startedDir;     // relative to the root
    const char* expectedError;  // an ERRO line in clear, with R for the root; null: none checked
  };
  const Row rows[] = {
      {"{not json", "Orvane.exe", "Orvane.exe", "app", "Parse manifest.json failed, text={not json"},
      {"{\"launchName\":\"bin\\\\Runner.exe\"}", "bin\\Runner.exe", "bin\\Runner.exe", "app\\bin", nullptr},
      {"{\"launchName\":\"missing.exe\"}", "Orvane.exe", "Orvane.exe", "app",
       "Not exists launchName file, path=R\\app\\missing.exe"},
      {"{\"name\":\"x\"}", "Orvane.exe", "Orvane.exe", "app", nullptr},
      {"\xEF\xBB\xBF{\"launchName\":\"Other.exe\"}", "Other.exe", "Other.exe", "app", nullptr},
  };
  int index = 0;
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << index << ": " << row.manifest);
    Sandbox box("Manifest-" + std::to_string(index++));
    const fs::path launcher = box.InstallLauncher();
    std::string exeName = row.exeInApp;
    std::replace(exeName.begin(), exeName.end(), '\\', '/');
    box.AddVersion("app", exeName);
    WriteFile(box.root() / "app" / "manifest.json", row.manifest);

    const RunResult run = box.Run(launcher, "");
    ASSERT_TRUE(run.finished);
    EXPECT_TRUE(SameExitCode(run.exitCode, 0)) << run.exitCode;
    const std::vector<ProbeRecord> records = box.WaitForRecords(1);
    ASSERT_EQ(records.size(), 1u);
    const std::string R = WinForm(box.root()) + "\\";
    EXPECT_EQ(records[0].exe, R + "app\\" + row.startedExe);
    EXPECT_EQ(records[0].cwd, R + row.startedDir);
    EXPECT_EQ(ReadFile(box.IniPath()), "app");
    if (row.expectedError != nullptr) {
      std::string message = row.expectedError;
      const size_t at = message.find("R\\");
      if (at != std::string::npos) message.replace(at, 2, R);
      EXPECT_TRUE(HasLinesInOrder(LogView(box.LogPath()), {{"ERRO", message}}, DefaultSpanMode()));
    }
  }
}

// Orvane.ini is one bare name: a line end behind it makes it name nothing,
// the default directory is started, and the file is rewritten plainly.
TEST(BadInput, IniWithALineEndFallsBackAndIsRewritten) {
  struct Row {
    const char* ini;
    const char* afterwards;
  };
  const Row rows[] = {
      {"app\n", "app"},
      {"", "app"},
      {"missing-version", "app"},
      {"APP", "APP"},  // the same name in another case: no write
  };
  int index = 0;
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "ini '" << row.ini << "'");
    Sandbox box("Ini-" + std::to_string(index++));
    const fs::path launcher = box.InstallLauncher();
    box.AddVersion("app");
    WriteFile(box.IniPath(), row.ini);
    const RunResult run = box.Run(launcher, "");
    ASSERT_TRUE(run.finished);
    EXPECT_TRUE(SameExitCode(run.exitCode, 0)) << run.exitCode;
    ASSERT_EQ(box.WaitForRecords(1).size(), 1u);
    EXPECT_EQ(ReadFile(box.IniPath()), row.afterwards);
    const LogView log(box.LogPath());
    const std::string expected = std::string(row.ini) == "APP" ? "Orvane.ini no change" : "Write 'app' to Orvane.ini";
    EXPECT_EQ(FindMessage(log, expected).size(), 1u) << log.Dump();
  }
}

TEST(BadInput, NoMainExecutableEndsWithMinus4AndWritesNoIni) {
  Sandbox box("NoMainExe");
  const fs::path launcher = box.InstallLauncher();
  fs::create_directories(box.root() / "app");
  fs::create_directories(box.root() / "1.78.4");
  WriteFile(box.root() / "1.78.4" / "readme.txt", "not an executable");

  const RunResult run = box.RunCapturingStderr(launcher, "");
  ASSERT_TRUE(run.finished);
  EXPECT_TRUE(SameExitCode(run.exitCode, -4)) << run.exitCode;
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
  const fs::path launcher = box.InstallLauncher();
  box.AddVersion("app");
  const std::string argument(20000, 'x');
  const RunResult run = box.Run(launcher, argument);
  ASSERT_TRUE(run.finished);
  EXPECT_TRUE(SameExitCode(run.exitCode, 0)) << run.exitCode;
  const std::vector<ProbeRecord> records = box.WaitForRecords(1);
  ASSERT_EQ(records.size(), 1u);
  const std::string head = "\"" + WinForm(box.root()) + "\\app\\Orvane.exe\" ";
  ASSERT_EQ(records[0].argv.size(), 1u) << "no --start_time";
  EXPECT_EQ(records[0].argv[0], std::string(10240 - head.size(), 'x'));
#ifdef _WIN32
  EXPECT_EQ(records[0].cmdline, head + std::string(10240 - head.size(), 'x'));
#endif
  // The survey's line for the argument is cut at 2048 characters, prefix
  // included; the only errors are the manifest probes of every start.
  const LogView log(box.LogPath());
  bool found = false;
  for (size_t i = 0; i < log.lines.size(); ++i) {
    if (log.lines[i].message.rfind("CmdLine[0]:xxx", 0) == 0) {
      found = true;
      EXPECT_EQ(log.raw[i].size(), 2048u);
    }
    if (log.lines[i].level == "ERRO") {
      EXPECT_EQ(log.lines[i].message.rfind("Read manifest.json failed", 0), 0u) << log.raw[i];
    }
  }
  EXPECT_TRUE(found) << log.Dump();
}

}  // namespace
}  // namespace e2e
