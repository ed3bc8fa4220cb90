// The archive stream: reads land where they are asked for, on a file opened
// by path and on a handle attached in the middle of a file, and the handle is
// moved only when a read starts somewhere else than where the last one ended.
#include "toolkit/zip_stream.h"

#include <string>

#include "gtest/gtest.h"
#include "platform/files/fake_file_handles.h"
#include "toolkit/toolkit_test_support.h"

namespace {

constexpr uint32_t kPrefix = 100;  // bytes in front of an attached stream

std::string FileBytes() {
  std::string out(1000, '\0');
  for (size_t i = 0; i < out.size(); ++i) out[i] = static_cast<char>(i % 251);
  return out;
}

TEST(ZipStreamTest, SeeksOnlyWhenTheNextReadIsElsewhere) {
  orvane_test::TempDir temp;
  const std::string file = FileBytes();
  orvane_test::WriteBytes(temp.path() / "a.bin", file);
  platform::FileHandles& io = platform::Service<platform::FileHandles>();
  for (const bool attached : {false, true}) {
    SCOPED_TRACE(attached ? "attached" : "by path");
    const uint32_t start = attached ? kPrefix : 0;
    const uint32_t size = static_cast<uint32_t>(file.size()) - start;
    platform::Handle handle = platform::InvalidFileHandle();
    zip::ArchiveStream stream;
    if (attached) {
      handle = io.CreateFileHandle(temp.core() + u"\\a.bin", platform::kGenericRead, platform::kFileShareRead,
                                   platform::kOpenExisting, 0);
      ASSERT_NE(io.SetFilePointer(handle, kPrefix, platform::kFileBegin), platform::kInvalidSetFilePointer);
      ASSERT_TRUE(stream.Attach(handle));
    } else {
      ASSERT_TRUE(stream.OpenPath(temp.core() + u"\\a.bin"));
    }
    struct Row { const char* what; uint64_t pos; uint32_t bytes; int64_t got; int seeks; } rows[] = {
        {"the first read", 0, 10, 10, attached ? 0 : 1},  // an attached handle's position is known
        {"reading on", 10, 20, 20, 0},
        {"elsewhere", 500, 10, 10, 1},
        {"back", 5, 5, 5, 1},
        {"up to the end, short", size - 4, 10, 4, 1},
        {"on from the end", size, 10, 0, 0},
        {"beyond what a seek can reach", 0x80000000u, 10, -1, 0},
    };
    platform::FakeFileHandles fake;
    for (const Row& row : rows) {
      SCOPED_TRACE(row.what);
      const int seeksBefore = fake.CallCount("SetFilePointer");
      char buffer[32] = {};
      const int64_t got = stream.ReadSome(row.pos, buffer, row.bytes);
      EXPECT_EQ(got, row.got);
      EXPECT_EQ(fake.CallCount("SetFilePointer") - seeksBefore, row.seeks);
      if (got > 0) {
        EXPECT_EQ(std::string(buffer, static_cast<size_t>(got)), file.substr(start + row.pos, static_cast<size_t>(got)));
      }
    }
    // Learning the size moves the handle: the next read seeks again.
    uint32_t learnt = 0;
    EXPECT_TRUE(stream.Size(&learnt));
    EXPECT_EQ(learnt, size);
    const int seeksBefore = fake.CallCount("SetFilePointer");
    char buffer[8] = {};
    EXPECT_TRUE(stream.ReadAt(0, buffer, 8));
    EXPECT_EQ(std::string(buffer, 8), file.substr(start, 8));
    EXPECT_EQ(fake.CallCount("SetFilePointer") - seeksBefore, 1);
    stream.Close();
    if (attached) io.CloseHandle(handle);  // the handle stays the caller's
  }
}

// A read that fails leaves the handle's position unknown: the next read does
// not trust it and seeks.
TEST(ZipStreamTest, AFailedReadForgetsThePosition) {
  orvane_test::TempDir temp;
  const std::string file = FileBytes();
  orvane_test::WriteBytes(temp.path() / "a.bin", file);
  zip::ArchiveStream stream;
  ASSERT_TRUE(stream.OpenPath(temp.core() + u"\\a.bin"));
  char buffer[10] = {};
  {
    platform::FakeFileHandles fake;
    ASSERT_EQ(stream.ReadSome(0, buffer, 10), 10);
    fake.FailOp("ReadFile", 23);
    EXPECT_EQ(stream.ReadSome(10, buffer, 10), 0);
  }
  platform::FakeFileHandles fake;
  EXPECT_EQ(stream.ReadSome(10, buffer, 10), 10);
  EXPECT_EQ(std::string(buffer, 10), file.substr(10, 10));
  EXPECT_EQ(fake.CallCount("SetFilePointer"), 1);
}

}  // namespace
