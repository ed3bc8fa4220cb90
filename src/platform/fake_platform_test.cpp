// The fakes' own contracts that the unit tests of the core rely on: they
// stand in only for their scope, the whole fake world logs the calls of every
// concern in one order, and an injected failure hits the nth call alone.
#include "platform/fake_platform.h"

#include "gtest/gtest.h"

namespace platform {
namespace {

TEST(FakePlatformTest, StandsInForItsScopeAndFailsOnlyTheNthCall) {
  {
    FakePlatform fake;
    EXPECT_EQ(&Service<Processes>(), static_cast<Processes*>(&fake));
    EXPECT_EQ(&Service<Files>(), static_cast<Files*>(&fake));
    EXPECT_EQ(&Service<ErrorCodes>(), static_cast<ErrorCodes*>(&fake));
    fake.FailCall("StartProcess", kErrorAccessDenied, 2);
    ProcessInfo info;
    auto& processes = Service<Processes>();
    EXPECT_TRUE(processes.StartProcess(u"\"C:\\a.exe\"", u"C:\\", &info));
    EXPECT_FALSE(processes.StartProcess(u"\"C:\\b.exe\"", u"C:\\", &info));
    EXPECT_EQ(LastError(), kErrorAccessDenied);
    EXPECT_TRUE(processes.StartProcess(u"\"C:\\c.exe\"", u"C:\\", &info));
    EXPECT_EQ(fake.CallCount("StartProcess"), 3u);
    // A status method returns the chosen error itself.
    fake.FailCall("MakeDirectoryTree", kErrorPathNotFound);
    EXPECT_EQ(Service<Files>().MakeDirectoryTree(u"\\tmp"), static_cast<int32_t>(kErrorPathNotFound));
    // One log across concerns, in the order of the calls.
    fake.ClearCalls();
    Service<Clock>().SleepMs(5);
    Service<Environment>().ProcessId();
    Service<Clock>().NowMs();
    ASSERT_EQ(fake.calls().size(), 3u);
    EXPECT_EQ(fake.calls()[0].op, "SleepMs");
    EXPECT_EQ(fake.calls()[1].op, "ProcessId");
    EXPECT_EQ(fake.calls()[2].op, "NowMs");
  }
  EXPECT_EQ(&Service<Processes>(), &NativeService<Processes>());
  EXPECT_EQ(&Service<ErrorCodes>(), &NativeService<ErrorCodes>());
}

TEST(FakePlatformTest, OneConcernFakedAloneKeepsItsOwnLogAndLastError) {
  FakeClock clock;
  EXPECT_EQ(&Service<Clock>(), static_cast<Clock*>(&clock));
  EXPECT_EQ(&Service<Files>(), &NativeService<Files>());
  clock.recorder().FailCall("ToLocalTime", kErrorInvalidParameter);
  LocalTimeParts parts;
  EXPECT_FALSE(Service<Clock>().ToLocalTime(0, &parts));
  EXPECT_EQ(LastError(), kErrorInvalidParameter);
  EXPECT_TRUE(Service<Clock>().ToLocalTime(86400 + 3661, &parts));
  EXPECT_EQ(parts.day, 2);
  EXPECT_EQ(parts.hour, 1);
  EXPECT_EQ(clock.recorder().CallCount("ToLocalTime"), 2u);
}

}  // namespace
}  // namespace platform
