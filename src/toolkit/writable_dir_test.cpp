#include "toolkit/writable_dir.h"

#include <filesystem>
#include <string>
#include <vector>

#include "base/log_test_support.h"
#include "gtest/gtest.h"
#include "platform/files/fake_file_handles.h"
#include "toolkit/toolkit_test_support.h"

namespace {

namespace fs = std::filesystem;

std::vector<std::string> Entries(const fs::path& dir) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(dir)) names.push_back(entry.path().filename().string());
  return names;
}

class WritableDirTest : public orvane_test::OpenLogTest {
 protected:
  void SetUp() override {
    OpenLogTest::SetUp();
    fs::create_directories(temp.path() / "dir");
    orvane_test::WriteBytes(temp.path() / "file", "x");
  }
  std::u16string Core(const char16_t* name) const { return temp.core() + u"\\" + name; }
  platform::FakeFileHandles handles;
};

TEST_F(WritableDirTest, AnswersByWriting) {
  struct Row {
    const char* what; const char16_t* dir; uint32_t createError; bool expected; const char* logged;
  } rows[] = {
      {"a directory", u"dir", 0, true, nullptr},
      {"missing", u"gone", 0, false, "not found, error=2"},
      {"below a missing one", u"gone\\deeper", 0, false, "not found, error=3"},
      {"a file in its place", u"file", 0, false, "is a file, not a directory"},
      {"no right to write", u"dir", 5, false, "is not writable, error=5"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    if (row.createError != 0) handles.FailOp("CreateFileHandle", row.createError);
    const size_t before = LogText().size();
    EXPECT_EQ(Utils::IsDirectoryWritable(Core(row.dir)), row.expected);
    handles.FailOp("", 0);
    EXPECT_TRUE(Entries(temp.path() / "dir").empty()) << "a test file was left";
    const std::string log = LogText().substr(before);
    if (row.logged != nullptr) {
      EXPECT_NE(log.find(row.logged), std::string::npos) << log;
    }
  }
  EXPECT_FALSE(Utils::IsDirectoryWritable(u""));
}

// A test file that can't be removed stays and is named in the log; a name
// already taken is never opened, let alone truncated: the next one is used.
TEST_F(WritableDirTest, TakenNamesAndLeftFiles) {
  fake.FailCall("DeleteOneFile", 5);
  EXPECT_TRUE(Utils::IsDirectoryWritable(Core(u"dir"))) << LogText();
  std::vector<std::string> left = Entries(temp.path() / "dir");
  ASSERT_EQ(left.size(), 1u);
  EXPECT_NE(LogText().find("Utils::IsDirectoryWritable, test file"), std::string::npos);
  EXPECT_NE(LogText().find("left, error=5"), std::string::npos);

  // The name is "~orvane-write-test-<pid>-<ms>-<serial>.tmp", and the fake's
  // process id and clock stand still: the next serial's name is known.
  const std::string& name = left[0];
  const size_t serialAt = name.rfind('-') + 1;
  const unsigned serial = std::stoul(name.substr(serialAt));
  const std::string taken = name.substr(0, serialAt) + std::to_string(serial + 1) + ".tmp";
  orvane_test::WriteBytes(temp.path() / "dir" / taken, "someone else's");
  fs::remove(temp.path() / "dir" / name);

  EXPECT_TRUE(Utils::IsDirectoryWritable(Core(u"dir")));
  EXPECT_EQ(Entries(temp.path() / "dir"), std::vector<std::string>{taken});
  EXPECT_EQ(orvane_test::ReadFileBytes(temp.path() / "dir" / taken), "someone else's");
}

}  // namespace
