#include "layout/file_io.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "platform/fake_platform.h"

namespace {

class FileIoTest : public testing::Test {
 protected:
  FileIoTest() {
    std::random_device random;
    dir_ = std::filesystem::temp_directory_path() / ("orvane_file_io_" + std::to_string(random()));
    std::filesystem::create_directories(dir_);
  }
  ~FileIoTest() override {
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }

  // The core's Windows form of a file in the scratch directory.
  std::u16string Core(const std::string& name) const {
    std::u16string path = (dir_ / name).u16string();
    for (char16_t& c : path) {
      if (c == u'/') c = u'\\';
    }
    return path;
  }
  std::string Bytes(const std::string& name) const {
    std::ifstream in(dir_ / name, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
  }
  void Put(const std::string& name, const std::string& bytes) const {
    std::ofstream(dir_ / name, std::ios::binary) << bytes;
  }

  platform::FakePlatform fake;
  std::filesystem::path dir_;
};

TEST_F(FileIoTest, ReadReturnsTheFileSizeAndCutsAtTheFirstNul) {
  struct Row {
    std::string bytes;
    int64_t result;
    std::string text;
  };
  const Row rows[] = {
      {"app", 3, "app"},
      {"app\n", 4, "app\n"},
      {"\xEF\xBB\xBF" "app", 6, "\xEF\xBB\xBF" "app"},
      {std::string("ab\0cd", 5), 5, "ab"},
      {std::string("\0app", 4), 4, ""},
      {"", 0, "untouched"},  // an empty file leaves the text as it was
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    Put("Orvane.ini", rows[i].bytes);
    std::string text = "untouched";
    EXPECT_EQ(ReadFileToString(Core("Orvane.ini"), &text), rows[i].result) << "row " << i;
    EXPECT_EQ(text, rows[i].text) << "row " << i;
  }

  std::string text = "untouched";
  EXPECT_EQ(ReadFileToString(Core("missing.ini"), &text), -1);
  EXPECT_EQ(text, "untouched");
}

TEST_F(FileIoTest, WriteReplacesOrAppends) {
  EXPECT_EQ(WriteStringToFile(Core("out.txt"), "first", false), 5);
  EXPECT_EQ(Bytes("out.txt"), "first");
  EXPECT_EQ(WriteStringToFile(Core("out.txt"), "app", false), 3);
  EXPECT_EQ(Bytes("out.txt"), "app");
  EXPECT_EQ(WriteStringToFile(Core("out.txt"), std::string("\0x\n", 3), true), 3);
  EXPECT_EQ(Bytes("out.txt"), std::string("app\0x\n", 6));

  // An empty text still opens, so the file exists and, replaced, is empty.
  EXPECT_EQ(WriteStringToFile(Core("out.txt"), "", true), 0);
  EXPECT_EQ(Bytes("out.txt"), std::string("app\0x\n", 6));
  EXPECT_EQ(WriteStringToFile(Core("out.txt"), "", false), 0);
  EXPECT_TRUE(std::filesystem::exists(dir_ / "out.txt"));
  EXPECT_EQ(std::filesystem::file_size(dir_ / "out.txt"), 0u);
  EXPECT_EQ(WriteStringToFile(Core("new.txt"), "", false), 0);
  EXPECT_TRUE(std::filesystem::exists(dir_ / "new.txt"));

}

TEST_F(FileIoTest, FailuresGiveTheirStatus) {
  EXPECT_EQ(WriteStringToFile(Core("no\\such\\dir\\out.txt"), "x", false), -1);

  fake.FailCall("OpenStream", platform::kErrorSharingViolation);
  EXPECT_EQ(WriteStringToFile(Core("locked.txt"), "x", false), -1);
  EXPECT_EQ(fake.LastError(), platform::kErrorSharingViolation);
  EXPECT_FALSE(std::filesystem::exists(dir_ / "locked.txt"));

  Put("in.txt", "abc");
  fake.FailCall("OpenStream", platform::kErrorAccessDenied);
  std::string text = "untouched";
  EXPECT_EQ(ReadFileToString(Core("in.txt"), &text), -1);
  EXPECT_EQ(text, "untouched");
}

#if !defined(_WIN32)
// A device that takes no bytes: the write is short.
TEST_F(FileIoTest, ShortWriteGivesMinusTwo) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  EXPECT_EQ(WriteStringToFile(u"\\dev\\full", "app", false), -2);
}
#endif

}  // namespace
