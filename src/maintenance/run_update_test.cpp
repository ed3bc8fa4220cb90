#include "maintenance/run_update.h"

#include <functional>
#include <string>
#include <vector>

#include "app/launcher_test_fixture.h"
#include "gtest/gtest.h"
#include "platform/code_trust/fake_code_trust.h"
#include "platform/file_identity/fake_windows_files.h"
#include "platform/processes/fake_named_events.h"
#include "platform/system/fake_admin_check.h"

namespace {

using launcher_test::Narrow;
using launcher_test::ReadAll;
using launcher_test::WinPath;
using platform::FakeCodeTrust;

constexpr char16_t kCorvel[] = u"Corvel Data Co., Ltd.";
constexpr char16_t kVorn[] = u"Vorn Technologies Pte. Ltd.";
constexpr int32_t kBadDigest = static_cast<int32_t>(0x80096010u);
constexpr int32_t kExpired = static_cast<int32_t>(0x800B0101u);
constexpr char16_t kChild[] = u"C:\\Program Files\\Orvane\\updater\\child.exe";

FakeCodeTrust::Signature Signed(const std::u16string& signer, int32_t status = 0) {
  return FakeCodeTrust::Signed(signer, status);
}

class RunUpdateTest : public launcher_test::LauncherTest {
 protected:
  RunUpdateTest() { files.AddFile(kChild, u"signed"); }
  // Runs the launcher with --command=run_update and `switches`.
  int32_t RunCommand(const std::u16string& switches) {
    ResetApp();
    trust.calls.clear();
    events.events.clear();
    files.calls.clear();
    fake.ClearCalls();
    return app.Run((u"--command=run_update " + switches).c_str());
  }
  std::string Report() const { return ReadAll(UserData() / "update" / "update_report.json"); }

  FakeCodeTrust trust;
  platform::FakeAdminCheck admin;
  platform::FakeNamedEvents events;
  platform::FakeWindowsFiles files;
};

TEST_F(RunUpdateTest, ResultTable) {
  enum Setup { kPlain, kNotMember, kNoSid, kCheckFails, kHoldBusy, kChildExit7, kStillActive, kNoExitCode };
  const std::u16string good = u"--run-type=run_update --run-exe=\"" + std::u16string(kChild) + u"\"";
  const struct Row {  // logged: a line the log holds ("" for none in particular)
    const char* what; std::u16string switches; FakeCodeTrust::Signature launcher, child; Setup setup; int32_t result;
    const char* logged; bool started, signalled;
  } rows[] = {
      {"not admin", good, Signed(kCorvel), Signed(kCorvel), kNotMember, -6, "RunUpdate cur is not admin.", false,
       false},
      {"no SID", good, {}, {}, kNoSid, -6, "RunUpdate cur is not admin.", false, false},
      {"membership unknown", good, {}, {}, kCheckFails, -6, "AdminEnv:0", false, false},
      {"no run type", u"", {}, {}, kPlain, -12, "unknown run type:\r\n", false, false},
      {"tampered launcher", good, Signed(kCorvel, kBadDigest), Signed(kCorvel), kPlain, -13, "signatures error", false,
       false},
      {"unsigned child, signed launcher", good, Signed(kCorvel), {}, kPlain, -14,
       "signatures is not match. cur is:Corvel Data Co., Ltd., exe is:\r\n", false, false},
      {"accepted name in other case", good, Signed(kCorvel), Signed(u"corvel data co., ltd."), kPlain, -14,
       "signatures is not match", false, false},
      {"both unsigned", good, {}, {}, kPlain, 1, "AdminEnv:1", true, true},
      {"same foreign signer on both", good, Signed(u"Foreign Ltd"), Signed(u"Foreign Ltd"), kPlain, 1, "", true, true},
      {"expired certificate of an accepted signer", good, Signed(kVorn), Signed(kCorvel, kExpired), kPlain, 1,
       "WinVerifyTrust invalid name:Corvel Data Co., Ltd.", true, true},
      {"run_install takes the same road", u"--run-type=run_install --run-exe=\"" + std::u16string(kChild) + u"\"",
       Signed(kCorvel), Signed(kCorvel), kPlain, 1, "", true, true},
      // A file that cannot be held is never started, signed or not.
      {"signed file being written", good, Signed(kCorvel), Signed(kCorvel), kHoldBusy, -15,
       "CreateProcess failed, error=32", false, false},
      {"unsigned file being written", good, {}, {}, kHoldBusy, -15, "CreateProcess failed, error=32", false, false},
      {"relative path", u"--run-type=run_update --run-exe=updater\\child.exe", {}, {}, kPlain, -15,
       "CreateProcess failed, error=161", false, false},
      {"missing file, signed launcher", u"--run-type=run_update --run-exe=C:\\none.exe", Signed(kCorvel), {}, kPlain,
       -14, "signatures is not match. cur is:Corvel Data Co., Ltd., exe is:\r\n", false, false},
      {"missing file, unsigned launcher", u"--run-type=run_update --run-exe=C:\\none.exe", {}, {}, kPlain, -15,
       "CreateProcess failed, error=2", false, false},
      {"waited, exit code 7", good + u" --wait-time-ms=5000", {}, {}, kChildExit7, 7, "ExitCode:0", true, false},
      {"waited, exit code 1", good + u" --wait-time-ms=5000", {}, {}, kPlain, 1, "run exe wait=5000", true, true},
      {"timed out", good + u" --wait-time-ms=0", {}, {}, kStillActive, 259, "run exe wait=0", true, false},
      {"exit code unreadable", good + u" --wait-time-ms=10", {}, {}, kNoExitCode, 1, "run exe wait=10", true, true},
  };
  const std::u16string launcherPath = fake.modulePath;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    trust.files.clear();
    trust.files[launcherPath] = row.launcher;
    trust.files[kChild] = row.child;
    admin.member = row.setup != kNotMember;
    admin.sidFails = row.setup == kNoSid;
    admin.checkFails = row.setup == kCheckFails;
    const platform::Handle writer = row.setup == kHoldBusy ? files.OpenWriter(kChild) : nullptr;
    fake.fakeExitCode = row.setup == kChildExit7 ? 7 : row.setup == kStillActive ? 259 : 0;
    if (row.setup == kNoExitCode) fake.FailCall("ExitCodeOf", platform::kErrorInvalidHandle);

    EXPECT_EQ(RunCommand(row.switches), row.result);
    const std::string log = Log();
    EXPECT_NE(log.find(row.logged), std::string::npos) << log;
    // Every result is reported, failures included.
    EXPECT_NE(Report().find("\"event_name\":\"update_launcher_run_task\""), std::string::npos) << Report();
    EXPECT_NE(Report().find("\"extra2_key\":\"ret\",\"extra2_val\":\"" + std::to_string(row.result) + "\""),
              std::string::npos)
        << Report();
    EXPECT_EQ(fake.startedProcesses.size(), row.started ? 1u : 0u);
    EXPECT_EQ(fake.CallCount("StartProcess") > 0, row.started);
    ASSERT_EQ(events.events.size(), row.signalled ? 1u : 0u);
    if (row.signalled) {
      const auto& e = events.events[0];
      EXPECT_EQ(std::tie(e.name, e.manualReset, e.initialState, e.sets),
                std::make_tuple(u"OrvaneRunTaskScheduleSuccessEvent", false, false, 1));
    }
    // No signature is examined without rights; with them both always are.
    EXPECT_EQ(trust.CallCount("VerifyFileKeepState"), row.result == -6 || row.result == -12 ? 0u : 2u);
    EXPECT_EQ(admin.liveSids, 0);
    if (writer != nullptr) files.CloseEntry(writer);
    EXPECT_EQ(files.OpenHandles(), 0u);
  }
}

// The child's command line and directory are proven end to end (Broker.*);
// here the cut at 10240 characters.
TEST_F(RunUpdateTest, ChildCommandLineIsCutAt10240) {
  std::u16string longParams;
  for (int i = 0; i < 5000; ++i) longParams += u"QUFB";  // "AAA" each
  ASSERT_EQ(RunCommand(u"--run-type=run_unzip --run-exe=\"" + std::u16string(kChild) + u"\" --run-params=" + longParams),
            1);
  ASSERT_EQ(fake.startedProcesses.size(), 1u);
  EXPECT_EQ(fake.startedProcesses[0].commandLine.size(), 10240u);
}

TEST_F(RunUpdateTest, AnEndlessWaitIsHandedOnAsUnsigned) {
  ASSERT_EQ(RunCommand(u"--run-type=run_update --run-exe=\"" + std::u16string(kChild) + u"\" --wait-time-ms=-1"), 1);
  ASSERT_FALSE(fake.waitTimeouts.empty());
  EXPECT_EQ(fake.waitTimeouts.back(), 0xFFFFFFFFu);
}

// The file is held from before the first check until the start has
// returned, and the check and the start name its final path while the
// command line keeps the path as it was asked for (its log line is proven
// end to end, where the log's paths can be read).
TEST_F(RunUpdateTest, TheCheckedFileIsHeldUntilTheStartHasReturned) {
  std::vector<size_t> openAtVerify;
  trust.onVerify = [&](const std::u16string&) { openAtVerify.push_back(files.OpenHandles()); };
  std::vector<size_t> startsAtClose;
  files.afterCall = [&](const std::string& call) {
    if (call == "CloseHandle") startsAtClose.push_back(fake.CallCount("StartProcess"));
  };
  ASSERT_EQ(RunCommand(u"--run-type=run_update --run-exe=\"" + std::u16string(kChild) + u"\""), 1);
  EXPECT_EQ(openAtVerify, (std::vector<size_t>{4, 4}));  // the file and three directories
  // The second open of the final path is closed during the hold; the four
  // held handles only after the start.
  EXPECT_EQ(startsAtClose, (std::vector<size_t>{0, 1, 1, 1, 1}));
  ASSERT_EQ(fake.startedProcesses.size(), 1u);
  EXPECT_EQ(Narrow(fake.startedProcesses[0].applicationName), Narrow(kChild));
  EXPECT_EQ(Narrow(fake.startedProcesses[0].commandLine), "\"" + Narrow(kChild) + "\" ");
}

// A caller who owns part of the path races the broker. The file started is
// always the file whose signer was checked: a swap either changes nothing
// that is started or is refused.
TEST_F(RunUpdateTest, TheFileStartedIsTheFileChecked) {
  enum When { kBeforeTheCheck, kAfterTheCheck };
  using Act = std::function<void(platform::FakeWindowsFiles&)>;
  const std::u16string link = u"C:\\Users\\eve\\link";
  const std::u16string updater = u"C:\\Program Files\\Orvane\\updater";
  const std::u16string evil = u"C:\\Users\\eve\\evil";
  auto repoint = [&](const std::u16string& target) {
    return [=](platform::FakeWindowsFiles& f) {
      EXPECT_EQ(f.Remove(link), 0u);
      f.AddJunction(link, target);
    };
  };
  const struct Row {
    const char* what; std::u16string runExe; std::u16string linkTarget; When when; Act act; int32_t result;
    const char* checked;  // the tag of the file the child's check saw
  } rows[] = {
      {"junction to a foreign copy, re-pointed to the signed copy before the check", link + u"\\child.exe", evil,
       kBeforeTheCheck, repoint(updater), -14, "foreign"},
      {"junction to the signed copy, re-pointed to a foreign copy before the check", link + u"\\child.exe",
       updater, kBeforeTheCheck, repoint(evil), 1, "signed"},
      {"junction re-pointed to a foreign copy after the check", link + u"\\child.exe", updater, kAfterTheCheck,
       repoint(evil), 1, "signed"},
      {"directory renamed and rebuilt after the check", link + u"\\child.exe", updater, kAfterTheCheck,
       [&](platform::FakeWindowsFiles& f) {
         EXPECT_EQ(f.Rename(updater, updater + u".old"), 32u);
         EXPECT_EQ(f.Rename(evil, updater), 183u);
       },
       1, "signed"},
      // Without an application name Windows would start "x\child.exe".
      {"x\\child checked, x\\child.exe beside it", u"C:\\apps\\x\\child", updater, kAfterTheCheck,
       [](platform::FakeWindowsFiles& f) { f.AddFile(u"C:\\apps\\x\\child.exe", u"foreign"); }, 1, "signed"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    platform::FakeWindowsFiles tree;
    tree.AddFile(updater + u"\\child.exe", u"signed");
    tree.AddFile(evil + u"\\child.exe", u"foreign");
    tree.AddFile(u"C:\\apps\\x\\child", u"signed");
    tree.AddJunction(link, row.linkTarget);
    std::u16string checked;
    trust.files.clear();
    trust.files[fake.modulePath] = Signed(kCorvel);
    trust.onVerify = [&](const std::u16string& path) {
      if (path == fake.modulePath) {
        if (row.when == kBeforeTheCheck) row.act(tree);
        return;
      }
      // The signer is the file's: what the path leads to right now.
      checked = tree.TagAt(path);
      trust.files[path] = checked == u"signed" ? Signed(kCorvel) : Signed(u"Foreign Ltd");
      if (row.when == kAfterTheCheck) row.act(tree);
    };
    EXPECT_EQ(RunCommand(u"--run-type=run_update --run-exe=\"" + row.runExe + u"\""), row.result);
    EXPECT_EQ(Narrow(checked), row.checked);
    EXPECT_EQ(fake.startedProcesses.size(), row.result == 1 ? 1u : 0u);
    if (fake.startedProcesses.size() == 1) {
      const auto& start = fake.startedProcesses[0];
      EXPECT_EQ(Narrow(tree.TagStartedBy(start.applicationName, start.commandLine)), row.checked);
      EXPECT_EQ(Narrow(start.commandLine), "\"" + Narrow(row.runExe) + "\" ");
    }
    EXPECT_EQ(tree.OpenHandles(), 0u);
  }
  // What the application name prevents: the same command line alone starts
  // the file beside it.
  ASSERT_EQ(fake.startedProcesses.size(), 1u);
  platform::FakeWindowsFiles tree;
  tree.AddFile(u"C:\\apps\\x\\child", u"signed");
  tree.AddFile(u"C:\\apps\\x\\child.exe", u"foreign");
  EXPECT_EQ(Narrow(tree.TagStartedBy(u"", fake.startedProcesses[0].commandLine)), "foreign");
}

TEST(RunParamsTest, DecodingRules) {
  const struct { std::u16string encoded; std::u16string decoded; } rows[] = {
      {u"aGVsbG8gd29ybGQ=", u"hello world"},
      {u"aGVsbG8gd29ybGQ", u"hello world"},                // padding optional
      {u"aGVs\r\nbG8g d29y\nbGQ=", u"hello world"},        // line ends and blanks skipped
      {u"aA", u"h"},                                       // two symbols: one byte
      {u"aGk", u"hi"},                                     // three symbols: two bytes
      {u"a", u""},                                         // one symbol: no whole byte
      {u"w6l0w6k=", u"\u00e9t\u00e9"},                     // UTF-8 text
      {u"YQBi", u"a"},                                     // a zero byte ends the text
      {u"!!!", u""},                                       // nothing decodable
      {u"LS1h\u00e9PTE=", u"--a=1"},                       // a non-ASCII character is skipped
  };
  for (const auto& row : rows) {
    EXPECT_EQ(DecodeRunParams(row.encoded), row.decoded) << Narrow(row.encoded);
  }
}

TEST(WaitTimeTest, ReadLikeStoi) {
  const struct { std::u16string text; bool ok; int32_t value; const char* failure; } rows[] = {
      {u"1500", true, 1500, nullptr}, {u"  +42ms", true, 42, nullptr}, {u"-1", true, -1, nullptr},
      {u"0x10", true, 0, nullptr}, {u"2147483647", true, 2147483647, nullptr}, {u"-2147483648", true, INT32_MIN, nullptr},
      {u"2147483648", false, 0, "stoi argument out of range"},
      {u"99999999999999999999", false, 0, "stoi argument out of range"},
      {u"abc", false, 0, "invalid stoi argument"}, {u"-", false, 0, "invalid stoi argument"},
      {u" ", false, 0, "invalid stoi argument"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(Narrow(row.text));
    int32_t value = 0;
    const char* failure = nullptr;
    EXPECT_EQ(ParseWaitTime(row.text, &value, &failure), row.ok);
    if (row.ok) {
      EXPECT_EQ(value, row.value);
    } else {
      EXPECT_STREQ(failure, row.failure);
    }
  }
}

}  // namespace
