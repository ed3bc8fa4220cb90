#include "maintenance/run_update.h"

#include <string>
#include <vector>

#include "app/launcher_test_fixture.h"
#include "gtest/gtest.h"
#include "platform/fake_code_trust.h"
#include "platform/fake_services.h"

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
  RunUpdateTest() { hold.setLastError = [this](uint32_t error) { fake.SetLastErrorCode(error); }; }
  // Runs the launcher with --command=run_update and `switches`.
  int32_t RunCommand(const std::u16string& switches) {
    ResetApp();
    trust.calls.clear();
    events.events.clear();
    hold.holds.clear();
    fake.ClearCalls();
    return app.Run((u"--command=run_update " + switches).c_str());
  }
  std::string Report() const { return ReadAll(UserData() / "update" / "update_report.json"); }

  FakeCodeTrust trust;
  platform::FakeAdminCheck admin;
  platform::FakeNamedEvents events;
  platform::FakeFileHold hold;
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
      {"signed file cannot be held", good, Signed(kCorvel), Signed(kCorvel), kHoldBusy, -15,
       "CreateProcess failed, error=32", false, false},
      {"unheld file that nothing vouched for", good, {}, {}, kHoldBusy, 1, "AdminEnv:1", true, true},
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
    hold.failWith = row.setup == kHoldBusy ? uint32_t{platform::kErrorSharingViolation} : 0u;
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
    EXPECT_EQ(hold.live, 0);
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
  ASSERT_EQ(RunCommand(u"--run-type=run_update --run-exe=C:\\c.exe --wait-time-ms=-1"), 1);
  ASSERT_FALSE(fake.waitTimeouts.empty());
  EXPECT_EQ(fake.waitTimeouts.back(), 0xFFFFFFFFu);
}

// The file the signer check reads is held, with its directories, from
// before the first check until the start has returned.
TEST_F(RunUpdateTest, TheCheckedFileIsHeldUntilTheStartHasReturned) {
  std::vector<int> liveAtVerify;
  trust.onVerify = [&](const std::u16string&) { liveAtVerify.push_back(hold.live); };
  size_t startsAtRelease = 0;
  hold.onRelease = [&] { startsAtRelease = fake.CallCount("StartProcess"); };
  ASSERT_EQ(RunCommand(u"--run-type=run_update --run-exe=\"" + std::u16string(kChild) + u"\""), 1);
  EXPECT_EQ(hold.holds, std::vector<std::u16string>{kChild});
  EXPECT_EQ(liveAtVerify, (std::vector<int>{1, 1}));
  EXPECT_EQ(startsAtRelease, 1u);
  EXPECT_EQ(hold.live, 0);
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
