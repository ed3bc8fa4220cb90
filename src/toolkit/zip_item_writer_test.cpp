// Items written to disk: their data, passwords, damaged and refused items,
// directories and targets.
#include <filesystem>
#include <string>

#include "gtest/gtest.h"
#include "platform/files/fake_file_handles.h"
#include "toolkit/zip_reader.h"
#include "toolkit/zip_reader_test_fixture.h"

namespace {

using orvane_test::ReadFileBytes;
using orvane_test::Wide;
using zip_test::Archive;
using zip_test::Filler;
using zip_test::Item;
using zip_test::MakeItem;
using zip_test::Noise;
using zip_test::RecentText;
using zip_test::Text;
using zip_test::ZipReaderTest;

// Plain items of every size and kind are ZipExtractTest.RoundTripOfARealTree's.
TEST_F(ZipReaderTest, ItemsComeOutByteForByte) {
  Archive archive;
  archive.items = {MakeItem("stored.bin", Noise(70000, 2), 0), MakeItem("secret.txt", Text(40000), 8, "pass word"),
                   MakeItem("secret-stored.bin", Noise(20000, 4), 0, "pass word"),
                   MakeItem("secret-flag3.txt", Text(1000), 8, "pass word"), MakeItem("big-extra.txt", Text(30000))};
  archive.items[3].dataDescriptorFlag = true;
  archive.items[4].localExtra = Filler(70);  // name and extra field do not fit the input buffer
  ASSERT_NE(Open(archive, "pass word"), nullptr);
  // Backwards, so that the walk also goes back to the start.
  for (int i = 4; i >= 0; --i) {
    const Item& item = archive.items[i];
    EXPECT_EQ(UnzipItem(zip, i, Wide(item.name)), ZR_OK) << item.name;
    EXPECT_TRUE(Out(item.name) == item.data) << item.name;
  }
}

TEST_F(ZipReaderTest, WrongOrMissingPasswordIsRefused) {
  Archive archive;
  archive.items.push_back(MakeItem("secret.txt", Text(5000), 8, "right"));
  for (const char* password : {"wrong", static_cast<const char*>(nullptr)}) {
    ASSERT_NE(Open(archive, password), nullptr);
    EXPECT_EQ(UnzipItem(zip, 0, u"secret.txt"), ZR_PASSWORD);
    EXPECT_EQ(RecentText(), u"Correct password required");
  }
}

// Archives that would make a careless reader loop or write where it must not:
// each ends with a result, and nothing lands outside the base directory.
TEST_F(ZipReaderTest, MalformedItemsEndWithAResult) {
  Archive archive;
  archive.items.push_back(MakeItem("empty.txt", "", 0));
  Item shortStored = MakeItem("short-stored.bin", Noise(40000, 5), 0);
  shortStored.centralUncSize = 80000;  // more than the data holds
  shortStored.localUncSize = 80000;
  archive.items.push_back(shortStored);
  Item cut = MakeItem("cut.txt", Text(100000));
  cut.truncateData = true;
  archive.items.push_back(cut);
  archive.items.push_back(MakeItem("../escape.txt", "out"));
  archive.items.push_back(MakeItem("deep/" + std::string(300, 'n') + ".txt", "long"));
  archive.items.push_back(MakeItem("..", "dots"));
  archive.items.push_back(MakeItem("NUL", "", 0));  // empty, yet no empty file but the device
  archive.items.push_back(MakeItem("ok.txt:stream", "hidden"));
  ASSERT_NE(Open(archive), nullptr);
  const uint32_t results[] = {ZR_FLATE, ZR_FLATE, ZR_FLATE, ZR_NOFILE, ZR_NOFILE, ZR_NOFILE, ZR_NOFILE, ZR_NOFILE};
  ZipEntry entry;
  platform::FakeFileHandles fake;
  for (int i = 0; i < 8; ++i) {
    ASSERT_EQ(GetZipItem(zip, i, &entry), ZR_OK);
    EXPECT_EQ(UnzipItem(zip, i, entry.name), results[i]) << i;
  }
  // Only the first three items got as far as opening a file.
  EXPECT_EQ(fake.CallCount("CreateFileHandle"), 3);
  EXPECT_TRUE(OutExists("empty.txt"));
  EXPECT_EQ(std::filesystem::file_size(temp.path() / "out" / "empty.txt"), 0u);
  EXPECT_FALSE(std::filesystem::exists(temp.path() / "escape.txt"));
  ASSERT_EQ(GetZipItem(zip, 3, &entry), ZR_OK);
  EXPECT_EQ(std::u16string(entry.name), u"../escape.txt");
}

TEST_F(ZipReaderTest, DirectoriesAndAbsoluteTargets) {
  Archive archive;
  archive.items.push_back(MakeItem("sub/dir/", "", 0));
  archive.items.back().externalAttr = 0040755u << 16;
  archive.items.push_back(MakeItem("f.txt", "hello"));
  ASSERT_NE(Open(archive), nullptr);
  EXPECT_EQ(UnzipItem(zip, 0, u"sub\\dir\\"), ZR_OK);
  EXPECT_TRUE(std::filesystem::is_directory(temp.path() / "out" / "sub" / "dir"));
  EXPECT_EQ(UnzipItem(zip, 1, temp.core() + u"\\elsewhere\\g.txt"), ZR_OK);
  EXPECT_EQ(ReadFileBytes(temp.path() / "elsewhere" / "g.txt"), "hello");
  // The tree is made for every item, even when the last one used it: one
  // that vanished in between is made again.
  EXPECT_EQ(UnzipItem(zip, 1, u"sub\\dir\\f.txt"), ZR_OK);
  std::filesystem::remove_all(temp.path() / "out" / "sub");
  EXPECT_EQ(UnzipItem(zip, 1, u"sub\\dir\\f.txt"), ZR_OK);
  EXPECT_EQ(ReadFileBytes(temp.path() / "out" / "sub" / "dir" / "f.txt"), "hello");
  // A base directory that cannot fit 260 characters is refused, not cut.
  EXPECT_EQ(SetUnzipBaseDir(zip, temp.core() + u"\\" + std::u16string(300, u'b')), ZR_ARGS);
  EXPECT_EQ(UnzipItem(zip, 1, u"f.txt"), ZR_OK);
  EXPECT_EQ(Out("f.txt"), "hello");
}

}  // namespace
