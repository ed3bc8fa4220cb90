#include "layout/file_io.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "base/log_test_support.h"
#include "platform/fake_platform.h"

namespace {

using orvane_test::ReadFileBytes;

TEST(FileIoTest, ReadReturnsTheFileSizeAndCutsAtTheFirstNul) {
  platform::FakePlatform fake;
  orvane_test::TempDir dir;
  const std::u16string path = dir.core() + u"\\Orvane.ini";
  const std::tuple<std::string, int64_t, std::string> rows[] = {
      {"app\n", 4, "app\n"}, {std::string("ab\0cd", 5), 5, "ab"}, {"", 0, "untouched"}};
  for (const auto& [bytes, result, want] : rows) {
    std::ofstream(dir.path() / "Orvane.ini", std::ios::binary) << bytes;
    std::string text = "untouched";
    EXPECT_EQ(ReadFileToString(path, &text), result) << bytes.size() << " bytes";
    EXPECT_EQ(text, want);
  }
  std::string text = "untouched";
  EXPECT_EQ(ReadFileToString(dir.core() + u"\\missing.ini", &text), -1);
  fake.FailCall("OpenStream", platform::kErrorAccessDenied);
  EXPECT_EQ(ReadFileToString(path, &text), -1);
  EXPECT_EQ(text, "untouched");
}

TEST(FileIoTest, WriteReplacesOrAppendsAndGivesItsStatus) {
  platform::FakePlatform fake;
  orvane_test::TempDir dir;
  const std::u16string out = dir.core() + u"\\out.txt";
  EXPECT_EQ(WriteStringToFile(out, "first", false), 5);
  EXPECT_EQ(WriteStringToFile(out, "app", false), 3);
  EXPECT_EQ(WriteStringToFile(out, std::string("\0x\n", 3), true), 3);
  EXPECT_EQ(WriteStringToFile(out, "", true), 0);
  EXPECT_EQ(ReadFileBytes(dir.path() / "out.txt"), std::string("app\0x\n", 6));
  // An empty text still opens: replaced, the file is empty; a new one exists.
  EXPECT_EQ(WriteStringToFile(out, "", false), 0);
  EXPECT_EQ(std::filesystem::file_size(dir.path() / "out.txt"), 0u);
  EXPECT_EQ(WriteStringToFile(dir.core() + u"\\new.txt", "", false), 0);
  EXPECT_TRUE(std::filesystem::exists(dir.path() / "new.txt"));

  EXPECT_EQ(WriteStringToFile(dir.core() + u"\\no\\such\\out.txt", "x", false), -1);
  fake.FailCall("OpenStream", platform::kErrorSharingViolation);
  EXPECT_EQ(WriteStringToFile(dir.core() + u"\\locked.txt", "x", false), -1);
  EXPECT_EQ(fake.LastError(), platform::kErrorSharingViolation);
  EXPECT_FALSE(std::filesystem::exists(dir.path() / "locked.txt"));
#if !defined(_WIN32)
  // A device that takes no bytes: the write is short.
  if (std::filesystem::exists("/dev/full")) {
    EXPECT_EQ(WriteStringToFile(u"\\dev\\full", "app", false), -2);
  }
#endif
}

}  // namespace
