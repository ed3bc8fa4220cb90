// The fake backend: call recording, failure injection and the in-memory
// state that unit tests of the core rely on.
#include "platform/fake_platform.h"

#include <string>
#include <vector>

#include "gtest/gtest.h"

namespace platform {
namespace {

TEST(FakePlatformTest, InstallsItselfAndRecordsCallsInOrder) {
  {
    FakePlatform fake;
    EXPECT_EQ(&Get(), &fake);
    Get().PathExists(u"\\nowhere\\a");
    Get().NewMutex(u"m", true);
    Get().ShowMessageBox(u"text", std::nullopt, kMbIconExclamation);
    ASSERT_EQ(fake.calls().size(), 3u);
    EXPECT_EQ(fake.calls()[0].op, "PathExists");
    EXPECT_EQ(fake.calls()[0].detail, u"\\nowhere\\a");
    EXPECT_EQ(fake.calls()[1].op, "NewMutex");
    EXPECT_EQ(fake.calls()[2].op, "ShowMessageBox");
    EXPECT_EQ(fake.CallCount("NewMutex"), 1u);
    ASSERT_EQ(fake.messageBoxes.size(), 1u);
    EXPECT_FALSE(fake.messageBoxes[0].caption.has_value());
    EXPECT_EQ(fake.messageBoxes[0].style, kMbIconExclamation);
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
  fake.FailCall("OpenKey", kErrorAccessDenied);
  fake.FailCall("RsaEncrypt", kStatusNotImplemented);
  fake.FailCall("GetAttributes", kErrorFileNotFound);
  fake.FailCall("OpenStream", kErrorSharingViolation);
  fake.FailCall("WaitOne", kErrorInvalidHandle);
  fake.FailCall("NewSemaphore", kErrorAccessDenied);
  EXPECT_EQ(fake.MakeDirectoryTree(u"\\tmp"), static_cast<int32_t>(kErrorPathNotFound));
  RegKey key = nullptr;
  EXPECT_EQ(fake.OpenKey(Hive::kCurrentUser, u"Software", kKeyReadWrite, &key), 5);
  uint32_t result = 0;
  EXPECT_EQ(static_cast<uint32_t>(fake.RsaEncrypt(nullptr, nullptr, 0, nullptr, 0, &result, kBcryptPadPkcs1)),
            kStatusNotImplemented);
  EXPECT_EQ(fake.GetAttributes(u"\\tmp"), 0xFFFFFFFFu);
  EXPECT_EQ(fake.OpenStream(u"\\tmp\\x", "rb"), nullptr);
  EXPECT_EQ(fake.LastError(), kErrorSharingViolation);
  EXPECT_EQ(fake.WaitOne(info.process, 0), kWaitFailed);
  EXPECT_EQ(fake.NewSemaphore(u"s", 0, 1), nullptr);
  EXPECT_EQ(fake.LastError(), kErrorAccessDenied);
  // Each injection fires once.
  EXPECT_EQ(fake.GetAttributes(u"\\tmp"), kFileAttributeDirectory);
}

TEST(FakePlatformTest, NamedObjectsFollowTheWindowsContracts) {
  FakePlatform fake;
  fake.heldMutexes.push_back(u"held");
  EXPECT_NE(fake.NewMutex(u"held", true), nullptr);
  EXPECT_EQ(fake.LastError(), kErrorAlreadyExists);
  Handle mine = fake.NewMutex(u"free", true);
  EXPECT_EQ(fake.LastError(), kErrorSuccess);
  fake.NewMutex(u"free", true);
  EXPECT_EQ(fake.LastError(), kErrorAlreadyExists);
  EXPECT_TRUE(fake.CloseObject(mine));
  EXPECT_FALSE(fake.CloseObject(mine));
  EXPECT_EQ(fake.LastError(), kErrorInvalidHandle);

  // A semaphore the code creates exists while a handle is open.
  EXPECT_EQ(fake.OpenSemaphoreByName(2, u"wake"), nullptr);
  EXPECT_EQ(fake.LastError(), kErrorFileNotFound);
  Handle sem = fake.NewSemaphore(u"wake", 0, 1);
  ASSERT_NE(sem, nullptr);
  Handle other = fake.OpenSemaphoreByName(2, u"wake");
  ASSERT_NE(other, nullptr);
  int32_t previous = -1;
  EXPECT_TRUE(fake.ReleaseSem(other, 1, &previous));
  EXPECT_EQ(previous, 0);
  EXPECT_FALSE(fake.ReleaseSem(other, 1, &previous));
  EXPECT_EQ(fake.LastError(), kErrorTooManyPosts);
  EXPECT_EQ(fake.WaitOne(sem, 30000), kWaitObject0);
  EXPECT_EQ(fake.WaitOne(sem, 30000), kWaitTimeout);
  fake.waitResults.push_back(kWaitFailed);
  EXPECT_EQ(fake.WaitOne(sem, 5), kWaitFailed);
  EXPECT_EQ(fake.waitTimeouts, (std::vector<uint32_t>{30000, 30000, 5}));
  EXPECT_EQ(fake.releasedSemaphores, (std::vector<std::u16string>{u"wake", u"wake"}));
  EXPECT_TRUE(fake.CloseObject(sem));
  Handle third = fake.OpenSemaphoreByName(2, u"wake");  // `other` keeps it alive
  ASSERT_NE(third, nullptr);
  EXPECT_TRUE(fake.CloseObject(other));
  EXPECT_TRUE(fake.CloseObject(third));
  EXPECT_EQ(fake.OpenSemaphoreByName(2, u"wake"), nullptr);
}

TEST(FakePlatformTest, SemaphoreGoneWhenTheLastHandleCloses) {
  FakePlatform fake;
  Handle sem = fake.NewSemaphore(u"line", 0, 1);
  EXPECT_EQ(fake.existingSemaphores, std::vector<std::u16string>{u"line"});
  EXPECT_TRUE(fake.CloseObject(sem));
  EXPECT_TRUE(fake.existingSemaphores.empty());
  EXPECT_EQ(fake.OpenSemaphoreByName(2, u"line"), nullptr);

  // One made by "another process" stays.
  fake.existingSemaphores.push_back(u"theirs");
  Handle theirs = fake.NewSemaphore(u"theirs", 0, 1);
  EXPECT_EQ(fake.LastError(), kErrorAlreadyExists);
  EXPECT_TRUE(fake.CloseObject(theirs));
  EXPECT_NE(fake.OpenSemaphoreByName(2, u"theirs"), nullptr);
}

TEST(FakePlatformTest, RegistryEnvironmentClockAndResourcesAnswerFromState) {
  FakePlatform fake;
  const std::vector<uint8_t> bytes = {1, 0, 0, 0};
  EXPECT_EQ(fake.ShSetValue(Hive::kCurrentUser, u"Software\\Orvane", u"v", kRegDword, bytes), 0);
  EXPECT_EQ(fake.registry.count(u"HKCU\\Software\\Orvane"), 1u);
  uint32_t type = 0;
  std::vector<uint8_t> read;
  EXPECT_EQ(fake.ShGetValue(Hive::kCurrentUser, u"software\\orvane", u"V", &type, &read, 4), 0);
  EXPECT_EQ(read, bytes);
  EXPECT_EQ(fake.ShGetValue(Hive::kCurrentUser, u"Software\\Orvane", u"v", &type, &read, 3),
            static_cast<int32_t>(kErrorMoreData));
  EXPECT_EQ(fake.ShDeleteValue(Hive::kCurrentUser, u"Software\\Orvane", u"v"), 0);
  EXPECT_EQ(fake.ShDeleteValue(Hive::kCurrentUser, u"Software\\Orvane", u"v"), 2);
  EXPECT_EQ(fake.ShGetValue(Hive::kLocalMachine, u"Software\\Orvane", u"v", &type, &read, 4), 2);

  std::u16string value;
  fake.SetEnvValue(u"LOCALAPPDATA", u"C:\\Users\\u\\AppData\\Local");
  ASSERT_TRUE(fake.GetEnv(u"localappdata", &value));
  EXPECT_EQ(value, u"C:\\Users\\u\\AppData\\Local");
  fake.UnsetEnvValue(u"PATH");
  EXPECT_FALSE(fake.GetEnv(u"PATH", &value));

  fake.nowMs = 1763126526123ull;
  fake.localOffsetSeconds = 8 * 3600;
  LocalTimeParts parts;
  ASSERT_TRUE(fake.ToLocalTime(static_cast<int64_t>(fake.nowMs / 1000), &parts));
  EXPECT_EQ(parts.year, 2025);
  EXPECT_EQ(parts.month, 11);
  EXPECT_EQ(parts.day, 14);
  EXPECT_EQ(parts.hour, 21);
  EXPECT_EQ(parts.minute, 22);
  EXPECT_EQ(parts.second, 6);
  fake.SleepMs(1500);
  EXPECT_EQ(fake.NowMs(), 1763126527623ull);

  const uint8_t* data = nullptr;
  fake.SetResource(104, u"BIN", "{}");
  EXPECT_EQ(fake.ReadResource(104, u"BIN", &data), 2);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(data), 2), "{}");
  fake.RemoveResource(104, u"BIN");
  EXPECT_EQ(fake.ReadResource(104, u"BIN", &data), 0);
  EXPECT_EQ(fake.LastError(), kErrorResourceNameNotFound);
}

}  // namespace
}  // namespace platform
