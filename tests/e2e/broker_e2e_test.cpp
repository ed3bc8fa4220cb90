// The update broker (--command=run_update) against the built launcher: the
// child's command line, directory and wait, the success event, the report,
// the failures a real process can reach, and, under Wine, the signer matrix
// with programs signed for this run (tests/e2e/signing/make_signed_set.sh)
// and the shipped launcher as scripts/release-package leaves it
// (tests/release/make_release_set.sh).
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "e2e_support.h"
#include "gtest/gtest.h"
#include "platform/processes/named_events.h"
#include "toolkit/task_housekeeping.h"

namespace e2e {
namespace {

constexpr char16_t kSuccessEvent[] = u"OrvaneRunTaskScheduleSuccessEvent";

// The success event as a waiting caller holds it: created before the run.
class SuccessEvent {
 public:
  SuccessEvent() : handle_(platform::Service<platform::NamedEvents>().CreateNamedEvent(kSuccessEvent, false, false)) {}
  ~SuccessEvent() {
    if (handle_ != nullptr) platform::Service<platform::Processes>().CloseObject(handle_);
  }
  bool valid() const { return handle_ != nullptr; }
  bool Signalled() { return platform::Service<platform::Processes>().WaitOne(handle_, 0) == platform::kWaitObject0; }

 private:
  platform::Handle handle_;
};

std::string ReportLines(const Sandbox& box) { return ReadFile(box.ReportPath()); }

// "--mode=silent --dir=\"C:\\A B\"" in UTF-8 and Base64, without its padding.
constexpr char kParams[] = "LS1tb2RlPXNpbGVudCAtLWRpcj0iQzpcQSBCIg";

TEST(Broker, StartsTheChildWithDecodedParametersAndSignalsSuccess) {
  Sandbox box("BrokerStart");
  const fs::path launcher = box.InstallLauncher();
  const fs::path child = box.AddVersion("updater", "child.exe");
  SuccessEvent event;
  ASSERT_TRUE(event.valid());

  const RunResult run =
      box.Run(launcher, BrokerSwitches(child) + " --run-params=" + kParams + " --wait-time-ms=20000");
  ASSERT_TRUE(EndedWith(run, 1)) << run.stderrText;
  const std::vector<ProbeRecord> records = box.WaitForRecords(1);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].argv, (std::vector<std::string>{"--mode=silent", "--dir=C:\\A B"}));
#ifdef _WIN32
  EXPECT_EQ(records[0].cmdline, Quoted(child) + " --mode=silent --dir=\"C:\\A B\"");
#endif
  // The process's current directory, inherited from this test, not the
  // launcher's directory.
  EXPECT_EQ(records[0].cwd, WinForm(fs::current_path()));
  EXPECT_TRUE(event.Signalled());

  const LogView log(box.LogPath());
  EXPECT_TRUE(HasLinesInOrder(log,
                              {{"INFO", "AdminEnv:1"},
                               {"INFO", "run exe cmdline=" + Quoted(child) + " --mode=silent --dir=\"C:\\A B\""},
                               {"INFO", "run exe wait=20000"},
                               {"INFO", "ExitCode:0"}},
                              kDefaultSpanMode))
      << log.Dump();
  const std::string report = ReportLines(box);
  EXPECT_NE(report.find("\"event_name\":\"update_launcher_run_task\""), std::string::npos) << report;
  EXPECT_NE(report.find("\"extra1_key\":\"version\",\"extra1_val\":\"1.78.4\",\"extra2_key\":\"ret\",\"extra2_val\":\"1\""),
            std::string::npos)
      << report;
}

TEST(Broker, NoParametersLeaveATrailingBlankAndATimedOutWaitReturnsStillActive) {
  auto& env = platform::Service<platform::Environment>();
  Sandbox box("BrokerTimeout");
  const fs::path launcher = box.InstallLauncher();
  const fs::path child = box.AddVersion("updater", "child.exe");
  // Long enough to outlast the wait on any machine, short enough not to
  // keep the test run's output open for long after the test.
  const std::u16string stay = u"3000";
  env.SetEnv(u"ORVANE_PROBE_STAY_MS", &stay);
  SuccessEvent event;

  const RunResult run =
      box.Run(launcher, "--command=run_update --run-type=run_unzip --run-exe=" + Quoted(child) + " --wait-time-ms=300");
  env.SetEnv(u"ORVANE_PROBE_STAY_MS", nullptr);
  EXPECT_TRUE(EndedWith(run, 259)) << run.stderrText;
  const std::vector<ProbeRecord> records = box.WaitForRecords(1);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_TRUE(records[0].argv.empty());
#ifdef _WIN32
  EXPECT_EQ(records[0].cmdline, Quoted(child) + " ");
#endif
  EXPECT_FALSE(event.Signalled());
  EXPECT_NE(ReportLines(box).find("\"extra2_val\":\"259\""), std::string::npos) << ReportLines(box);
}

// A path asked for through a directory link and in another letter case is
// held, checked and started by its final path on the real backends (no link
// or path check refuses it), while the command line and its log line keep
// the path as asked. Wine cannot make a link (CreateSymbolicLinkW answers yes
// and makes nothing), so there only the letter case differs; which file is
// started when the two paths part is proven with the fake namespace.
TEST(Broker, StartsTheHeldFileByItsFinalPathWithTheCommandLineAsAsked) {
  Sandbox box("BrokerFinalPath");
  const fs::path launcher = box.InstallLauncher();
  const fs::path child = box.AddVersion("updater", "child.exe");
#ifdef _WIN32
  const fs::path asked = box.root() / "UPDATER" / "Child.EXE";
#else
  fs::create_directory_symlink(box.root() / "updater", box.root() / "link");
  const fs::path asked = box.root() / "link" / "Child.EXE";
#endif
  const RunResult run = box.Run(launcher, BrokerSwitches(asked) + " --wait-time-ms=20000");
  ASSERT_TRUE(EndedWith(run, 1)) << run.stderrText;
  const std::vector<ProbeRecord> records = box.WaitForRecords(1);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].exe, WinForm(child));
#ifdef _WIN32
  EXPECT_EQ(records[0].cmdline, Quoted(asked) + " ");
#endif
  const LogView log(box.LogPath());
  EXPECT_TRUE(HasLinesInOrder(log, {{"INFO", "run exe cmdline=" + Quoted(asked) + " "}}, kDefaultSpanMode))
      << log.Dump();
}

TEST(Broker, FailuresAReachableProcessMeets) {
  const struct {
    const char* what;
    std::string switches;  // after --command=run_update
    int32_t result;
    ExpectedLine line;
  } rows[] = {
      // An unsigned launcher accepts an unsigned (here: missing) file; the
      // start then fails as CreateProcessW fails for a missing file.
      // (A relative path: RunUpdateTest.ResultTable, HeldFileTest and PosixServicesTest.)
      {"missing child", "--run-type=run_update --run-exe=@missing.exe", -15, {"ERRO", "CreateProcess failed, error=2"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Sandbox box("BrokerFailure");
    const fs::path launcher = box.InstallLauncher();
    SuccessEvent event;
    std::string switches = row.switches;
    if (const size_t at = switches.find('@'); at != std::string::npos) {
      switches.replace(at, 1, "\"" + WinForm(box.root()) + "\\");
      switches += "\"";
    }
    const RunResult run = box.Run(launcher, "--command=run_update " + switches);
    EXPECT_TRUE(EndedWith(run, row.result)) << run.stderrText;
    const LogView log(box.LogPath());
    EXPECT_TRUE(HasLinesInOrder(log, {row.line}, kDefaultSpanMode)) << log.Dump();
    EXPECT_NE(ReportLines(box).find("\"extra2_val\":\"" + std::to_string(row.result) + "\""), std::string::npos);
    EXPECT_FALSE(event.Signalled());
  }
}

TEST(Broker, AWaitTimeThatIsNoNumberEndsTheProcessAfterTheStart) {
  for (const char* wait : {"soon", "99999999999"}) {
    SCOPED_TRACE(wait);
    Sandbox box("BrokerBadWait");
    const fs::path launcher = box.InstallLauncher();
    const fs::path child = box.AddVersion("updater", "child.exe");
    SuccessEvent event;
    const RunResult run = box.Run(launcher, BrokerSwitches(child) + " --wait-time-ms=" + wait);
    EXPECT_TRUE(EndedWith(run, 3));
    EXPECT_EQ(box.WaitForRecords(1).size(), 1u) << "the child was started first";
    EXPECT_FALSE(event.Signalled());
    EXPECT_EQ(ReportLines(box).find("update_launcher_run_task"), std::string::npos) << "no report";
  }
}

#ifdef _WIN32
// One run of `launcher` as the broker of `child`, each in a directory of its
// own: nothing of an earlier row's processes can still hold its files.
void ExpectBrokerRun(const std::string& name, const fs::path& launcher, const fs::path& child, int32_t result,
                     const char* logged) {
  Sandbox box(name);
  const fs::path placed = box.InstallBrokerPair(launcher, child);
  SuccessEvent event;
  const RunResult run = box.Run(box.root() / "Orvane.exe", BrokerSwitches(placed) + " --wait-time-ms=20000");
  const LogView log(box.LogPath());
  EXPECT_TRUE(EndedWith(run, result)) << log.Dump();
  EXPECT_TRUE(LogHolds(log, logged)) << log.Dump();
  EXPECT_EQ(event.Signalled(), result == 1);
  if (result == 1) {
    EXPECT_EQ(box.WaitForRecords(1).size(), 1u);
    return;
  }
  // The launcher has ended; a child it started would have written first thing.
  EXPECT_TRUE(box.Records().empty()) << "a rejected child was started";
  for (const LogLine& line : log.lines) EXPECT_NE(line.message.rfind("run exe ", 0), 0u) << line.message;
}

// The signer matrix with real signatures (Wine's trust provider checks the
// digest and reads the subject; it does not check the root).
TEST(BrokerSigners, Matrix) {
  const fs::path signedDir = SignedDir();
  ASSERT_FALSE(signedDir.empty()) << "ORVANE_SIGNED_DIR is not set: the signed set was not made";
  ASSERT_TRUE(fs::exists(signedDir / "probe-corvel.exe")) << "the signed set is missing in " << signedDir;
  const struct {
    const char* launcher;  // launcher-<x>.exe
    const char* child;     // probe-<x>.exe
    int32_t result;
    const char* logged;
  } rows[] = {
      {"unsigned", "unsigned", 1, "run exe "},
      {"unsigned", "corvel", 1, "run exe "},
      {"unsigned", "vorn", 1, "run exe "},
      {"unsigned", "foreign", -14, "signatures is not match. cur is:, exe is:Kestrel Foreign Software Ltd."},
      {"unsigned", "tampered", -13, "signatures error"},
      {"corvel", "corvel", 1, "run exe "},
      {"corvel", "vorn", 1, "run exe "},
      {"corvel", "unsigned", -14, "signatures is not match. cur is:Corvel Data Co., Ltd., exe is:"},
      {"corvel", "foreign", -14,
       "signatures is not match. cur is:Corvel Data Co., Ltd., exe is:Kestrel Foreign Software Ltd."},
      {"corvel", "tampered", -13, "signatures error"},
      {"tampered", "corvel", -13, "signatures error"},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(std::string("launcher ") + rows[i].launcher + ", child " + rows[i].child);
    ExpectBrokerRun("BrokerSigners" + std::to_string(i),
                    signedDir / (std::string("launcher-") + rows[i].launcher + ".exe"),
                    signedDir / (std::string("probe-") + rows[i].child + ".exe"), rows[i].result, rows[i].logged);
  }
}

// The release signed with the product's own certificate starts children of
// that signer and no stranger's; the unsigned release keeps to what its
// one-line warning says.
TEST(Release, TheBrokerAcceptsTheReleaseSignerAndRefusesOthers) {
  const fs::path set = ReleaseSetDir();
  ASSERT_FALSE(set.empty()) << "ORVANE_RELEASE_SET_DIR is not set: the release set was not made";
  ASSERT_TRUE(fs::exists(set / "pem" / "Orvane.exe")) << "the release set is missing in " << set;
  const struct {
    const char* release;  // <release>/Orvane.exe
    const char* child;    // probe-<child>.exe
    int32_t result;
    const char* logged;
  } rows[] = {
      // The launcher's own signer, in none of the fixed names: accepted as its own.
      {"pem", "own", 1, "run exe "},
      {"pem", "foreign", -14,
       "signatures is not match. cur is:Arvenna Systems Co., Ltd., exe is:Kestrel Foreign Software Ltd."},
      // What the unsigned release's warning says: the product's own signed programs are refused.
      // (Unsigned children and the fixed names are BrokerSigners.Matrix's rows.)
      {"unsigned", "own", -14, "signatures is not match. cur is:, exe is:Arvenna Systems Co., Ltd."},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(std::string("release ") + rows[i].release + ", child " + rows[i].child);
    ExpectBrokerRun("Release" + std::to_string(i), set / rows[i].release / "Orvane.exe",
                    set / (std::string("probe-") + rows[i].child + ".exe"), rows[i].result, rows[i].logged);
  }
}

// The installer toolkit takes the release for the update task and refuses a
// launcher built below 6.1.0.
TEST(Release, InstallersTakeTheReleaseAndRefuseAnOlderLauncher) {
  const fs::path set = ReleaseSetDir();
  ASSERT_FALSE(set.empty()) << "ORVANE_RELEASE_SET_DIR is not set: the release set was not made";
  for (const auto& [file, supported] : {std::pair{"pem/Orvane.exe", true},
                                        {"unsigned/Orvane.exe", true},
                                        {"old-version.exe", false}}) {  // built with version 6.0.9
    ASSERT_TRUE(fs::exists(set / file)) << file;
    EXPECT_EQ(IsLauncherVersionSupported(Native16(set / file)), supported) << file;
  }
}
#endif

}  // namespace
}  // namespace e2e
