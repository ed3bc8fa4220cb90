// A normal start as a user makes it: the launcher in an install root beside a
// version directory, started with a command line, and what the application,
// the tree, Orvane.ini, the log and the report show afterwards.
#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "cJSON.h"
#include "e2e_log.h"
#include "e2e_support.h"
#include "gtest/gtest.h"
#include "platform/argv_rules.h"
#include "platform/unicode.h"

namespace e2e {
namespace {

platform::Platform& P() { return platform::Get(); }

// "--start_time=<n>": true and n when the argument has exactly that shape.
bool ParseStartTime(const std::string& arg, uint64_t* ms) {
  const std::string prefix = "--start_time=";
  if (arg.compare(0, prefix.size(), prefix) != 0 || arg.size() == prefix.size()) return false;
  for (size_t i = prefix.size(); i < arg.size(); ++i) {
    if (arg[i] < '0' || arg[i] > '9') return false;
  }
  *ms = std::strtoull(arg.c_str() + prefix.size(), nullptr, 10);
  return true;
}

// The install root as the launcher names it: Windows form, trailing separator.
std::string RootText(const Sandbox& box) { return WinForm(box.root()) + "\\"; }

TEST(NormalStart, StartsTheVersionUnderTheConfiguredNamesAndRecordsIt) {
  Sandbox box("NormalStart");
  const fs::path launcher = box.InstallLauncher();
  box.AddVersion("1.78.4");
  const std::string R = RootText(box);

  const uint64_t before = P().NowMs();
  const RunResult run = box.Run(launcher, "--zeta=1 -alpha /Beta=x");
  const uint64_t after = P().NowMs();
  ASSERT_TRUE(run.finished);
  EXPECT_TRUE(SameExitCode(run.exitCode, 0)) << run.exitCode;

  const std::vector<ProbeRecord> records = box.WaitForRecords(1);
  ASSERT_EQ(records.size(), 1u);
  const ProbeRecord& rec = records[0];
  ASSERT_EQ(rec.argv.size(), 4u);
  EXPECT_EQ(rec.argv[0], "--Beta=x");
  EXPECT_EQ(rec.argv[1], "--alpha");
  EXPECT_EQ(rec.argv[2], "--zeta=1");
  uint64_t startTime = 0;
  ASSERT_TRUE(ParseStartTime(rec.argv[3], &startTime)) << rec.argv[3];
  EXPECT_GE(startTime, before);
  EXPECT_LE(startTime, after);
  EXPECT_EQ(rec.cwd, R + "app");
  EXPECT_EQ(rec.exe, R + "app\\Orvane.exe");
#ifdef _WIN32
  EXPECT_EQ(rec.cmdline, "\"" + R + "app\\Orvane.exe\" --Beta=x --alpha --zeta=1 --start_time=" +
                             std::to_string(startTime));
#endif

  std::vector<std::string> tree = {"Orvane.ini", "app", launcher.filename().u8string()};
  std::sort(tree.begin(), tree.end());
  EXPECT_EQ(box.RootEntries(), tree);
  EXPECT_EQ(ReadFile(box.IniPath()), "app");

  {
    const LogView log(box.LogPath());
    ASSERT_TRUE(log.exists);
    EXPECT_TRUE(log.endsInCrLf);
    ASSERT_TRUE(log.unparsed.empty()) << log.Dump();
    for (const LogLine& line : log.lines) {
      EXPECT_EQ(line.pidField, Pid5(run.pid));
      EXPECT_EQ(line.tag, "launcher");
    }
    EXPECT_EQ(log.lines.front().message, "------------ Log start -------------");
    EXPECT_EQ(log.lines.front().level, "INFO");
    const std::string T = std::to_string(startTime);
    EXPECT_TRUE(HasLinesInOrder(log,
                                {
                                    {"INFO", "------------ Log start -------------"},
                                    {"INFO", "Create single instance success."},
                                    {"INFO", "Create single instance success."},
                                    {"INFO", "CmdLine size is 0"},
                                    {"ERRO", "Read manifest.json failed, path=" + R + "app\\manifest.json"},
                                    {"ERRO", "Read manifest.json failed, path=" + R + "1.78.4\\manifest.json"},
                                    {"INFO", "CLauncherApp::_LaunchExe, found exe '" + R + "1.78.4\\Orvane.exe'"},
                                    {"INFO", "Rename " + R + "1.78.4 to " + R + "app"},
                                    {"INFO", "Launch app cmdline=\"" + R + "app\\Orvane.exe\" * --start_time=" + T},
                                    {"INFO", "Write 'app' to Orvane.ini"},
                                },
                                DefaultSpanMode()));
  }

  // A second start finds the recorded directory and changes nothing on disk.
  const RunResult again = box.Run(launcher, "");
  ASSERT_TRUE(again.finished);
  EXPECT_TRUE(SameExitCode(again.exitCode, 0)) << again.exitCode;
  const std::vector<ProbeRecord> both = box.WaitForRecords(2);
  ASSERT_EQ(both.size(), 2u);
  EXPECT_EQ(both[1].cwd, R + "app");
  ASSERT_EQ(both[1].argv.size(), 1u);
  EXPECT_TRUE(ParseStartTime(both[1].argv[0], &startTime));
  EXPECT_EQ(box.RootEntries(), tree);
  EXPECT_EQ(ReadFile(box.IniPath()), "app");

  const LogView log(box.LogPath());
  const std::vector<size_t> banners = FindMessage(log, "------------ Log start -------------");
  ASSERT_EQ(banners.size(), 2u) << log.Dump();
  EXPECT_EQ(log.lines[banners[1]].pidField, Pid5(again.pid));
  EXPECT_TRUE(HasLinesInOrder(log,
                              {
                                  {"INFO", "CLauncherApp::_LaunchExe, found exe '" + R + "app\\Orvane.exe'"},
                                  {"INFO", "Orvane.ini no change"},
                              },
                              DefaultSpanMode(), banners[1]));
  for (size_t i = banners[1]; i < log.lines.size(); ++i) {
    EXPECT_NE(log.lines[i].message.rfind("Rename ", 0), 0u) << "nothing to rename: " << log.raw[i];
  }
}

// What a user drops on the program: each positional argument that names an
// existing path gives one report record, classified as it is on disk.
TEST(NormalStart, ReportsDroppedPathsByKind) {
  Sandbox box("DroppedFiles");
  const fs::path launcher = box.InstallLauncher();
  box.AddVersion("app");
  const fs::path dropDir = box.base() / "drop dir";
  fs::create_directories(dropDir);
  WriteFile(box.base() / "Shortcut.LNK", "x");
  WriteFile(box.base() / "notes.txt", "x");

  // Dropped paths in Windows form on every platform: natively a path that
  // begins with '/' reads as a switch, as the command line's rules say.
  const std::vector<std::u16string> dropped = {WinForm16(dropDir), WinForm16(box.base() / "Shortcut.LNK"),
                                               WinForm16(box.base() / "notes.txt"), u"no-such-file.txt"};
  const double before = static_cast<double>(P().NowMs()) / 1000.0;
  const RunResult run = box.Run(launcher, platform::Utf16ToUtf8(platform::JoinArguments(dropped)));
  const double after = static_cast<double>(P().NowMs()) / 1000.0;
  ASSERT_TRUE(run.finished);
  EXPECT_TRUE(SameExitCode(run.exitCode, 0)) << run.exitCode;
  ASSERT_EQ(box.WaitForRecords(1).size(), 1u);

  const std::string report = ReadFile(box.ReportPath());
  const char* kinds[] = {"dir", "lnk", "file"};
  size_t pos = 0;
  for (const char* kind : kinds) {
    SCOPED_TRACE(kind);
    const size_t end = report.find('\n', pos);
    ASSERT_NE(end, std::string::npos) << report;
    const std::string record = report.substr(pos, end - pos);
    pos = end + 1;
    const std::string head = std::string("{\"event_name\":\"update_launcher_drag_file\",\"fail_reason\":\"\",") +
                             "\"extra1_key\":\"file_ex\",\"extra1_val\":\"" + kind +
                             "\",\"extra2_key\":\"\",\"extra2_val\":\"\",\"timestamp\":";
    ASSERT_EQ(record.compare(0, head.size(), head), 0) << record;
    ASSERT_EQ(record.back(), '}');
    char* numberEnd = nullptr;
    const std::string number = record.substr(head.size(), record.size() - head.size() - 1);
    const double stamp = std::strtod(number.c_str(), &numberEnd);
    EXPECT_EQ(*numberEnd, '\0') << number;
    EXPECT_GE(stamp, before - 0.001);
    EXPECT_LE(stamp, after + 0.001);
  }
  EXPECT_EQ(pos, report.size()) << "only the three existing paths are reported:\n" << report;

  const LogView log(box.LogPath());
  EXPECT_TRUE(HasLinesInOrder(log,
                              {
                                  {"INFO", "CmdLine size is 4"},
                                  {"INFO", "CmdLine[0] is dir path"},
                                  {"INFO", "CmdLine[1] is lnk path"},
                                  {"INFO", "CmdLine[2] is other path"},
                                  {"INFO", "CmdLine[3]:no-such-file.txt"},
                              },
                              DefaultSpanMode()));
}

// The rows of the command line as the launcher's parser reads it and hands
// it on: switches sorted with two dashes, then positionals, then
// --start_time. Rows marked windowsOnly hold text that a Linux argv cannot
// carry through (quotes inside a token, tabs), since the native entry point
// receives its arguments already split.
struct CommandLineRow {
  const char* input;
  const char* handedOn;
  bool windowsOnly;
};

const CommandLineRow kCommandLineRows[] = {
    {"", "", false},
    {"-a /b --c=1 d \"e f\" --j=k=l", "--a --b --c=1 --j=k=l d \"\"e f\"\"", false},
    {"-a /b --c=1 d \"e f\" --g=\"h i\" --j=k=l", "--a --b --c=1 --g=\"h i\" --j=k=l d \"\"e f\"\"", true},
    {"--x=1 --x=2", "--x=2", false},
    {"--X=1 --x=2", "--X=1 --x=2", false},
    {"--=x", "--=x", false},
    {"---x", "---x", false},
    {"//", "--/", false},
    {"--x=\"\"", "--x", false},
    {"--x=\"a b\"c", "--x=\"\"a b\"c\"", true},
    {"--a\"b c\"=d", "--a\"b c\"=d", true},
    {"\"--x=1\"", "\"--x=1\"", true},
    {"a=b", "a=b", false},
    {"--z --a=1 x", "--a=1 --z x", false},
    {"/x=1", "--x=1", false},
    {"--a -- --b", "--a --b", false},
    {"--a\t--b", "--a\t--b", true},
    {"C:/foo /foo", "--foo C:/foo", false},
    {"--p=\"C:\\Program Files\\\" --q=1 r", "--p=\"\"C:\\Program Files\\\" --q=1 r\"", true},
    {"--command=bogus --lang=en", "--command=bogus --lang=en", false},
    {"--start_time=5 x", "--start_time=5 x", false},
    {"--name=Zo\xC3\xAB", "--name=Zo\xC3\xAB", false},
    {"--auto_launch_delay_seconds=30", "--auto_launch_delay_seconds=30", false},
    {"--launch_from=auto-launch", "--launch_from=auto-launch", false},
    {"--launch_from=auto-launch --auto_launch_delay_seconds=0", "--launch_from=auto-launch", false},
    {"--launch_from=auto-launch --auto_launch_delay_seconds=-5", "--launch_from=auto-launch", false},
    {"--launch_from=auto-launch --auto_launch_delay_seconds=soon", "--launch_from=auto-launch", false},
    {"--launch_from=other --auto_launch_delay_seconds=30", "--launch_from=other", false},
};

TEST(NormalStart, CommandLineRowsReachTheApplicationInNormalForm) {
  Sandbox box("CommandLineRows");
  const fs::path launcher = box.InstallLauncher();
  box.AddVersion("app");
  const std::string exe = RootText(box) + "app\\Orvane.exe";
  size_t expectedRecords = 0;
  for (size_t i = 0; i < std::size(kCommandLineRows); ++i) {
    const CommandLineRow& row = kCommandLineRows[i];
#ifndef _WIN32
    if (row.windowsOnly) continue;
#endif
    SCOPED_TRACE(testing::Message() << "row " << i << ": " << row.input);
    const RunResult run = box.Run(launcher, row.input);
    ASSERT_TRUE(run.finished);
    EXPECT_TRUE(SameExitCode(run.exitCode, 0)) << run.exitCode;
    const std::vector<ProbeRecord> records = box.WaitForRecords(++expectedRecords);
    ASSERT_EQ(records.size(), expectedRecords);
    const ProbeRecord& rec = records.back();
    uint64_t startTime = 0;
    ASSERT_FALSE(rec.argv.empty());
#ifdef _WIN32
    // The raw command line is the launcher's composition itself; the C
    // runtime's argv of a row with stray quotes need not end in --start_time.
    const size_t at = rec.cmdline.rfind(" --start_time=");
    ASSERT_NE(at, std::string::npos) << rec.cmdline;
    EXPECT_TRUE(ParseStartTime(rec.cmdline.substr(at + 1), &startTime)) << rec.cmdline;
    EXPECT_EQ(rec.cmdline, "\"" + exe + "\" " + row.handedOn + " --start_time=" + std::to_string(startTime));
#else
    EXPECT_TRUE(ParseStartTime(rec.argv.back(), &startTime)) << rec.argv.back();
    // The application's argv is the composed line split by the Windows rules.
    const std::vector<std::u16string> split =
        platform::SplitCommandLine(u"\"x\" " + platform::Utf8ToUtf16(row.handedOn));
    std::vector<std::string> expected;
    for (size_t k = 1; k < split.size(); ++k) expected.push_back(platform::Utf16ToUtf8(split[k]));
    expected.push_back(rec.argv.back());
    EXPECT_EQ(rec.argv, expected);
#endif
  }
}

}  // namespace
}  // namespace e2e
