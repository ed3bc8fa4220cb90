// A normal start as a user makes it: the launcher in an install root beside a
// version directory, started with a command line, and what the application,
// the tree, Orvane.ini, the log and the report show afterwards.
#include <algorithm>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

#include "e2e_support.h"
#include "gtest/gtest.h"
#include "platform/processes/argv_rules.h"
#include "platform/text/unicode.h"

namespace e2e {
namespace {

// The n of "--start_time=<n>", or 0 when the argument has another shape.
uint64_t StartTimeOf(const std::string& arg) {
  return std::regex_match(arg, std::regex("--start_time=[0-9]+")) ? std::stoull(arg.substr(13)) : 0;
}

TEST(NormalStart, StartsTheVersionUnderTheConfiguredNamesAndRecordsIt) {
  auto& clock = platform::Service<platform::Clock>();
  Sandbox box("NormalStart");
  const fs::path launcher = box.InstallLauncher();
  box.AddVersion("1.78.4");
  const std::string R = box.RootText();

  const uint64_t before = clock.NowMs();
#ifdef _WIN32
  const RunResult run = box.Run(launcher, "--zeta=1 -alpha /Beta=x");
#else
  const RunResult run = box.Run(launcher, "--zeta=1 -alpha --Beta=x");  // '/' begins a path on Linux
#endif
  const uint64_t after = clock.NowMs();
  EXPECT_TRUE(EndedWith(run, 0));

  const std::vector<ProbeRecord> records = box.WaitForRecords(1);
  ASSERT_EQ(records.size(), 1u);
  const ProbeRecord& rec = records[0];
  ASSERT_EQ(rec.argv.size(), 4u);
  EXPECT_EQ(rec.argv[0] + " " + rec.argv[1] + " " + rec.argv[2], "--Beta=x --alpha --zeta=1");
  EXPECT_TRUE(StartTimeOf(rec.argv[3]) >= before && StartTimeOf(rec.argv[3]) <= after) << rec.argv[3];
  EXPECT_EQ(rec.cwd, R + "app");
  EXPECT_EQ(rec.exe, R + "app\\Orvane.exe");
#ifdef _WIN32
  EXPECT_EQ(rec.cmdline, "\"" + R + "app\\Orvane.exe\" --Beta=x --alpha --zeta=1 " + rec.argv[3]);
#endif
  std::vector<std::string> tree = {"Orvane.ini", "app", launcher.filename().u8string()};
  std::sort(tree.begin(), tree.end());
  EXPECT_EQ(box.RootEntries(), tree);
  EXPECT_EQ(ReadFile(box.IniPath()), "app");

  const LogView log(box.LogPath());
  EXPECT_TRUE(log.endsInCrLf);
  ASSERT_FALSE(log.lines.empty()) << "every line has the format\n" << log.Dump();
  for (const LogLine& line : log.lines) {
    EXPECT_EQ(std::make_tuple(line.pidField, line.tag), std::make_tuple(Pid5(run.pid), std::string("launcher")));
  }
  EXPECT_EQ(log.lines.front().message, "------------ Log start -------------");
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
                                  {"INFO", "Launch app cmdline=\"" + R + "app\\Orvane.exe\" * " + rec.argv[3]},
                                  {"INFO", "Write 'app' to Orvane.ini"},
                              },
                              kDefaultSpanMode));

  // A second start finds the recorded directory and changes nothing on disk.
  const RunResult again = box.Run(launcher, "");
  EXPECT_TRUE(EndedWith(again, 0));
  const std::vector<ProbeRecord> both = box.WaitForRecords(2);
  ASSERT_EQ(both.size(), 2u);
  EXPECT_EQ(both[1].cwd, R + "app");
  EXPECT_TRUE(both[1].argv.size() == 1 && StartTimeOf(both[1].argv[0]) > 0);
  EXPECT_EQ(box.RootEntries(), tree);
  EXPECT_EQ(ReadFile(box.IniPath()), "app");

  const LogView log2(box.LogPath());
  const std::vector<size_t> banners = FindMessage(log2, "------------ Log start -------------");
  ASSERT_EQ(banners.size(), 2u) << log2.Dump();
  EXPECT_EQ(log2.lines[banners[1]].pidField, Pid5(again.pid));
  EXPECT_TRUE(HasLinesInOrder(
      log2,
      {{"INFO", "CLauncherApp::_LaunchExe, found exe '" + R + "app\\Orvane.exe'"}, {"INFO", "Orvane.ini no change"}},
      kDefaultSpanMode, banners[1]));
}

// Each positional argument that names an existing path gives one report
// record, classified as it is on disk (a directory named *.lnk is a
// directory). The paths are in Windows form here; the Linux table below
// drops them in POSIX form.
TEST(NormalStart, ReportsDroppedPathsByKind) {
  auto& clock = platform::Service<platform::Clock>();
  Sandbox box("DroppedFiles");
  const fs::path launcher = box.InstallWithApp();
  fs::create_directories(box.base() / "drop dir.lnk");
  WriteFile(box.base() / "Shortcut.LNK", "x");
  WriteFile(box.base() / "notes.txt", "x");
  std::vector<std::u16string> dropped = {u"no-such-file.txt"};
  for (const char* name : {"drop dir.lnk", "Shortcut.LNK", "notes.txt"}) {
    dropped.insert(dropped.end() - 1, platform::Utf8ToUtf16(WinForm(box.base() / name)));
  }
  const double before = static_cast<double>(clock.NowMs()) / 1000.0;
  const RunResult run = box.Run(launcher, platform::Utf16ToUtf8(platform::JoinArguments(dropped)));
  const double after = static_cast<double>(clock.NowMs()) / 1000.0;
  EXPECT_TRUE(EndedWith(run, 0));
  ASSERT_EQ(box.WaitForRecords(1).size(), 1u);

  // One line per existing path, in order, each stamped in seconds.
  const std::string report = ReadFile(box.ReportPath());
  const std::regex stamp(R"("timestamp":([0-9.]+)\})");
  for (auto it = std::sregex_iterator(report.begin(), report.end(), stamp); it != std::sregex_iterator(); ++it) {
    EXPECT_GE(std::stod((*it)[1]), before - 0.001);
    EXPECT_LE(std::stod((*it)[1]), after + 0.001);
  }
  std::string expected;
  for (const char* kind : {"dir", "lnk", "file"}) {
    expected += std::string("{\"event_name\":\"update_launcher_drag_file\",\"fail_reason\":\"\",") +
                "\"extra1_key\":\"file_ex\",\"extra1_val\":\"" + kind +
                "\",\"extra2_key\":\"\",\"extra2_val\":\"\",\"timestamp\":#}\n";
  }
  EXPECT_EQ(std::regex_replace(report, stamp, "\"timestamp\":#}"), expected);
  EXPECT_TRUE(HasLinesInOrder(LogView(box.LogPath()),
                              {{"INFO", "CmdLine size is 4"},
                               {"INFO", "CmdLine[0] is dir path"},
                               {"INFO", "CmdLine[1] is lnk path"},
                               {"INFO", "CmdLine[2] is other path"},
                               {"INFO", "CmdLine[3]:no-such-file.txt"}},
                              kDefaultSpanMode));
}

#ifdef _WIN32
// The command line as the launcher hands it on: switches sorted with two
// dashes, then positionals, then --start_time.
TEST(NormalStart, CommandLineRowsReachTheApplicationInNormalForm) {
  const struct {
    const char* input;
    const char* handedOn;
    bool windowsOnly;
  } rows[] = {
      {"-a /b --c=1 d \"e f\" --j=k=l", "--a --b --c=1 --j=k=l d \"\"e f\"\"", false},
      {"-a --g=\"h i\" \"--x=1\"", "--a --g=\"h i\" \"--x=1\"", false},
      {"--p=\"C:\\Program Files\\\" --q=1 r", "--p=\"\"C:\\Program Files\\\" --q=1 r\"", false},
      {"--command=bogus --lang=en", "--command=bogus --lang=en", false},
      {"--start_time=5 x", "--start_time=5 x", false},
      {"--name=Zo\xC3\xAB", "--name=Zo\xC3\xAB", false},
      {"--auto_launch_delay_seconds=30", "--auto_launch_delay_seconds=30", false},
      {"--launch_from=auto-launch --auto_launch_delay_seconds=0", "--launch_from=auto-launch", false},
      {"--launch_from=other --auto_launch_delay_seconds=30", "--launch_from=other", false},
  };
  Sandbox box("CommandLineRows");
  const fs::path launcher = box.InstallWithApp();
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(testing::Message() << "row " << i << ": " << rows[i].input);
    EXPECT_TRUE(EndedWith(box.Run(launcher, rows[i].input), 0));
    const std::vector<ProbeRecord> records = box.WaitForRecords(i + 1);
    ASSERT_EQ(records.size(), i + 1);
    // The raw command line is the launcher's composition itself.
    const ProbeRecord& rec = records.back();
    const size_t at = rec.cmdline.rfind(" --start_time=");
    ASSERT_NE(at, std::string::npos) << rec.cmdline;
    EXPECT_GT(StartTimeOf(rec.cmdline.substr(at + 1)), 0u) << rec.cmdline;
    EXPECT_EQ(rec.cmdline, "\"" + box.RootText() + "app\\Orvane.exe\" " + rows[i].handedOn + rec.cmdline.substr(at));
  }
}
#else
// A Linux user's argv: '-' and '--' begin switches, '/' begins a path. The
// application receives each argument whole (switches sorted first, then
// --start_time), and the existing POSIX paths are reported by kind. The odd
// shapes are rows of CommandLineTest.LinuxArgumentsReachTheApplicationWhole.
TEST(NormalStart, LinuxArgumentsReachTheApplicationWhole) {
  Sandbox box("LinuxArguments");
  const fs::path launcher = box.InstallWithApp();
  const std::string file = box.base().string() + "/my notes.txt";
  const std::string dir = box.base().string() + "/drop dir";
  const std::string lnk = box.base().string() + "/Start.LNK";
  WriteFile(file, "x");
  WriteFile(lnk, "x");
  fs::create_directories(dir);
  std::vector<std::u16string> argv;
  for (const std::string& a : {file, std::string("--g=h i"), dir, lnk, std::string("/no/such/file.txt")}) {
    argv.push_back(platform::Utf8ToUtf16(a));
  }
  EXPECT_TRUE(EndedWith(box.Run(launcher, platform::Utf16ToUtf8(platform::JoinArguments(argv))), 0));
  const std::vector<ProbeRecord> records = box.WaitForRecords(1);
  ASSERT_EQ(records.size(), 1u);
  std::vector<std::string> got = records[0].argv;
  ASSERT_FALSE(got.empty());
  EXPECT_GT(StartTimeOf(got.back()), 0u) << got.back();
  got.pop_back();
  EXPECT_EQ(got, (std::vector<std::string>{"--g=h i", file, dir, lnk, "/no/such/file.txt"}));
  std::vector<std::string> kinds;
  const std::string report = ReadFile(box.ReportPath());
  const std::regex kind(R"re("extra1_val":"([a-z]+)")re");
  for (auto it = std::sregex_iterator(report.begin(), report.end(), kind); it != std::sregex_iterator(); ++it) {
    kinds.push_back((*it)[1]);
  }
  EXPECT_EQ(kinds, (std::vector<std::string>{"file", "dir", "lnk"}));
}
#endif

// After the start, every other copy of the application is gone and a foreign
// directory stays (the rules row by row: OldVersionsTest). Natively an old
// copy holds a link to a directory outside the root: the link goes with the
// copy, and everything it leads to stays.
TEST(NormalStart, ClearsOldCopiesAway) {
  Sandbox box("CleanUp");
  const fs::path launcher = box.InstallWithApp();
  box.AddVersion("1.79.0");
  fs::create_directories(box.root() / "1.79.0" / "resources");
  WriteFile(box.root() / "1.79.0" / "resources" / "app.asar", std::string(4096, 'a'));
  box.AddVersion("app.todelete-1731590000");
  fs::create_directories(box.root() / "foreign");
  WriteFile(box.root() / "foreign" / "notes.txt", "x");
#ifndef _WIN32
  const fs::path outside = box.base() / "outside";
  const std::vector<std::string> outsideFiles = {"a.txt", "b.bin", "sub/c.txt"};
  fs::create_directories(outside / "sub");
  for (const std::string& name : outsideFiles) WriteFile(outside / name, name);
  fs::create_directory_symlink(outside, box.root() / "1.79.0" / "resources" / "shared");
#endif

  EXPECT_TRUE(EndedWith(box.Run(launcher, ""), 0));
  ASSERT_EQ(box.WaitForRecords(1).size(), 1u);
  std::vector<std::string> tree = {"Orvane.ini", "app", "foreign", launcher.filename().u8string()};
  std::sort(tree.begin(), tree.end());
  EXPECT_EQ(box.RootEntries(), tree);
  const LogView log(box.LogPath());
  const std::string R = box.RootText();
  EXPECT_TRUE(HasLinesInOrder(log,
                              {{"INFO", "Delete electron directory except app"},
                               {"INFO", "Delete directory " + R + "app.todelete-1731590000"}},
                              kDefaultSpanMode))
      << log.Dump();
  EXPECT_FALSE(LogHolds(log, "failed, error=")) << log.Dump();
#ifndef _WIN32
  for (const std::string& name : outsideFiles) EXPECT_EQ(ReadFile(outside / name), name);
#endif
}

}  // namespace
}  // namespace e2e
