// The fake backend's own contracts that the unit tests of the core rely on:
// it stands in only for its scope, and an injected failure hits the nth call
// alone.
#include "platform/fake_platform.h"

#include "gtest/gtest.h"

namespace platform {
namespace {

TEST(FakePlatformTest, StandsInForItsScopeAndFailsOnlyTheNthCall) {
  {
    FakePlatform fake;
    EXPECT_EQ(&Get(), &fake);
    fake.FailCall("StartProcess", kErrorAccessDenied, 2);
    ProcessInfo info;
    EXPECT_TRUE(fake.StartProcess(u"\"C:\\a.exe\"", u"C:\\", &info));
    EXPECT_FALSE(fake.StartProcess(u"\"C:\\b.exe\"", u"C:\\", &info));
    EXPECT_EQ(fake.LastError(), kErrorAccessDenied);
    EXPECT_TRUE(fake.StartProcess(u"\"C:\\c.exe\"", u"C:\\", &info));
    EXPECT_EQ(fake.CallCount("StartProcess"), 3u);
    // A status method returns the chosen error itself.
    fake.FailCall("MakeDirectoryTree", kErrorPathNotFound);
    EXPECT_EQ(fake.MakeDirectoryTree(u"\\tmp"), static_cast<int32_t>(kErrorPathNotFound));
  }
  EXPECT_EQ(&Get(), &Native());
}

}  // namespace
}  // namespace platform
