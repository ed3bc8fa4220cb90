// The handles, the result texts, and the file service failing where a real
// file cannot.
#include <string>

#include "gtest/gtest.h"
#include "platform/files/fake_file_handles.h"
#include "toolkit/zip_reader.h"
#include "toolkit/zip_reader_test_fixture.h"

namespace {

using zip_test::Archive;
using zip_test::MakeItem;
using zip_test::RecentText;
using zip_test::Text;
using zip_test::ZipReaderTest;

TEST_F(ZipReaderTest, HandlesAndResultTexts) {
  ZipEntry entry;
  EXPECT_EQ(GetZipItem(nullptr, 0, &entry), ZR_ARGS);
  ZipHandleData other{2, nullptr};
  EXPECT_EQ(GetZipItem(&other, 0, &entry), ZR_ZMODE);
  EXPECT_EQ(ReleaseZip(&other), ZR_ZMODE);
  struct Row { uint32_t code; const char16_t* text; } rows[] = {
      {ZR_OK, u"Success"},
      {256, u"Culdn't duplicate handle"},
      {1792, u"Zipfile is corrupt or not a zipfile"},
      {0x80000, u"Caller: mixing creation and opening of zip"},
      {0x5000000, u"Zip-bug: an internal error during flation"},
      {3, u"unknown zip result code"},
  };
  for (const Row& row : rows) {
    char16_t text[80];
    const std::u16string expected = row.text;
    EXPECT_EQ(FormatZipResult(row.code, text, 80), expected.size());
    EXPECT_EQ(std::u16string(text), expected);
    EXPECT_EQ(FormatZipResult(row.code, nullptr, 0), expected.size());
    char16_t small[5] = {u'#', u'#', u'#', u'#', u'#'};
    FormatZipResult(row.code, small, 4);
    EXPECT_EQ(std::u16string(small), expected.substr(0, 3));
    EXPECT_EQ(small[4], u'#');
  }
  EXPECT_EQ(RecentText(), u"Caller: mixing creation and opening of zip");  // ReleaseZip's
}

// Branches a real file cannot show.
TEST_F(ZipReaderTest, FailingCallsOfTheFileService) {
  Archive archive;
  archive.items.push_back(MakeItem("f.txt", Text(50000)));
  ASSERT_NE(Open(archive), nullptr);
  {
    platform::FakeFileHandles fake;
    fake.FailOp("WriteFile", 112, 1);  // the disk fills after the first block
    EXPECT_EQ(UnzipItem(zip, 0, u"f.txt"), ZR_WRITE);
    EXPECT_EQ(fake.CallCount("WriteFile"), 2);
  }
  {
    platform::FakeFileHandles fake;
    fake.FailOp("CreateFileHandle", 5);
    EXPECT_EQ(UnzipItem(zip, 0, u"f.txt"), ZR_NOFILE);
  }
  EXPECT_EQ(UnzipItem(zip, 0, u"f.txt"), ZR_OK);

  platform::FileHandles& io = platform::Service<platform::FileHandles>();
  const platform::Handle file = io.CreateFileHandle(temp.core() + u"\\a.zip", platform::kGenericRead,
                                                    platform::kFileShareRead, platform::kOpenExisting, 0);
  ASSERT_NE(file, platform::InvalidFileHandle());
  {
    platform::FakeFileHandles fake;
    fake.SetUnseekable(true);
    EXPECT_EQ(OpenZipHandle(file, nullptr), nullptr);
    EXPECT_EQ(RecentText(), u"Zip-bug: trying to seek the unseekable");
  }
  io.CloseHandle(file);
}

}  // namespace
