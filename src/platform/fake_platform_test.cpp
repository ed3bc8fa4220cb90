// The fake backend's contracts that the unit tests of the core rely on:
// installation, call recording and failure injection.
#include "platform/fake_platform.h"

#include <string>

#include "gtest/gtest.h"

namespace platform {
namespace {

TEST(FakePlatformTest, InstallsItselfAndRecordsCallsInOrder) {
  {
    FakePlatform fake;
    EXPECT_EQ(&Get(), &fake);
    Get().PathExists(u"\\nowhere\\a");
    Get().NewMutex(u"m", true);
    Get().PathExists(u"\\b");
    ASSERT_EQ(fake.calls().size(), 3u);
    EXPECT_EQ(fake.calls()[0].op, "PathExists");
    EXPECT_EQ(fake.calls()[0].detail, u"\\nowhere\\a");
    EXPECT_EQ(fake.calls()[1].op, "NewMutex");
    EXPECT_EQ(fake.calls()[2].detail, u"\\b");
    EXPECT_EQ(fake.CallCount("PathExists"), 2u);
  }
  EXPECT_EQ(&Get(), &Native());
}

TEST(FakePlatformTest, FailCallHitsOnlyTheNthCallWithTheFailureValueOfEachKind) {
  FakePlatform fake;
  fake.FailCall("StartProcess", kErrorAccessDenied, 2);
  ProcessInfo info;
  EXPECT_TRUE(fake.StartProcess(u"\"C:\\a.exe\"", u"C:\\", &info));
  EXPECT_FALSE(fake.StartProcess(u"\"C:\\b.exe\"", u"C:\\", &info));
  EXPECT_EQ(fake.LastError(), kErrorAccessDenied);
  EXPECT_TRUE(fake.StartProcess(u"\"C:\\c.exe\"", u"C:\\", &info));
  EXPECT_EQ(fake.startedProcesses.size(), 2u);  // the failed start is recorded as a call only
  EXPECT_EQ(fake.CallCount("StartProcess"), 3u);

  // Status methods return the chosen error itself; others their failure value.
  fake.FailCall("MakeDirectoryTree", kErrorPathNotFound);
  fake.FailCall("RsaEncrypt", kStatusNotImplemented);
  fake.FailCall("GetAttributes", kErrorFileNotFound);
  fake.FailCall("OpenStream", kErrorSharingViolation);
  fake.FailCall("WaitOne", kErrorInvalidHandle);
  EXPECT_EQ(fake.MakeDirectoryTree(u"\\tmp"), static_cast<int32_t>(kErrorPathNotFound));
  uint32_t result = 0;
  EXPECT_EQ(static_cast<uint32_t>(fake.RsaEncrypt(nullptr, nullptr, 0, nullptr, 0, &result, kBcryptPadPkcs1)),
            kStatusNotImplemented);
  EXPECT_EQ(fake.GetAttributes(u"\\tmp"), 0xFFFFFFFFu);
  EXPECT_EQ(fake.OpenStream(u"\\tmp\\x", "rb"), nullptr);
  EXPECT_EQ(fake.LastError(), kErrorSharingViolation);
  EXPECT_EQ(fake.WaitOne(info.process, 0), kWaitFailed);
  // Each injection fires once.
  EXPECT_EQ(fake.GetAttributes(u"\\tmp"), kFileAttributeDirectory);
}

}  // namespace
}  // namespace platform
