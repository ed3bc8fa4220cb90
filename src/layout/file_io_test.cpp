#include "layout/file_io.h"

#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "base/log_test_support.h"
#include "platform/fake_platform.h"

namespace {

// Plain reads, rewrites and appends are proven by the ini file (end to end)
// and the report records; here the NUL cut and the failures.
TEST(FileIoTest, ReadCutsAtTheFirstNulAndFailsWithoutTouchingTheText) {
  platform::FakePlatform fake;
  orvane_test::TempDir dir;
  const std::u16string path = dir.core() + u"\\Orvane.ini";
  std::string text = "untouched";
  EXPECT_EQ(ReadFileToString(path, &text), -1);
  EXPECT_EQ(text, "untouched");
  std::ofstream(dir.path() / "Orvane.ini", std::ios::binary) << std::string("ab\0cd", 5);
  fake.FailCall("OpenStream", platform::kErrorAccessDenied);
  EXPECT_EQ(ReadFileToString(path, &text), -1);
  EXPECT_EQ(text, "untouched");
  EXPECT_EQ(ReadFileToString(path, &text), 5);
  EXPECT_EQ(text, "ab");
}

TEST(FileIoTest, WriteFailuresGiveTheirStatus) {
  platform::FakePlatform fake;
  orvane_test::TempDir dir;
  EXPECT_EQ(WriteStringToFile(dir.core() + u"\\no\\such\\out.txt", "x", false), -1);
  fake.FailCall("OpenStream", platform::kErrorSharingViolation);
  EXPECT_EQ(WriteStringToFile(dir.core() + u"\\locked.txt", "x", false), -1);
  EXPECT_EQ(fake.LastError(), platform::kErrorSharingViolation);
  EXPECT_FALSE(std::filesystem::exists(dir.path() / "locked.txt"));
#if !defined(_WIN32)
  // A device is no file: refused as _wfopen refuses it, before any byte.
  EXPECT_EQ(WriteStringToFile(u"\\dev\\null", "app", false), -1);
  EXPECT_EQ(fake.LastError(), platform::kErrorAccessDenied);
#endif
}

}  // namespace
