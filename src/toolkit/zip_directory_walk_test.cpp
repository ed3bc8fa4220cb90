// The end record and the walk over the central directory.
#include <string>

#include "gtest/gtest.h"
#include "platform/files/fake_file_handles.h"
#include "toolkit/zip_reader.h"
#include "toolkit/zip_reader_test_fixture.h"

namespace {

using zip_test::Archive;
using zip_test::MakeItem;
using zip_test::Noise;
using zip_test::RecentText;
using zip_test::Text;
using zip_test::ZipReaderTest;

TEST_F(ZipReaderTest, OpeningFindsTheEndRecordOnlyInTheLastBlock) {
  struct Row { const char* what; std::string prefix; size_t comment; int64_t entriesTotal; bool opens; } rows[] = {
      {"plain", "", 0, -1, true},
      {"bytes in front", Noise(5000, 1), 0, -1, true},
      {"record begins exactly 1028 bytes from the end", "", 1028 - 22, -1, true},
      {"record begins 1029 bytes from the end", "", 1029 - 22, -1, false},
      {"entries in total differ", "", 0, 3, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    Archive archive;
    archive.prefix = row.prefix;
    archive.comment = std::string(row.comment, 'c');
    archive.entriesTotal = row.entriesTotal;
    archive.items.push_back(MakeItem("f.txt", Text(40000)));
    EXPECT_EQ(Open(archive) != nullptr, row.opens);
    if (zip == nullptr) {
      EXPECT_EQ(RecentText(), u"Couldn't create/open file");
      continue;
    }
    EXPECT_EQ(UnzipItem(zip, 0, u"f.txt"), ZR_OK);
    EXPECT_EQ(Out("f.txt"), Text(40000));
  }
  EXPECT_EQ(OpenZip(temp.core() + u"\\missing.zip", nullptr), nullptr);
  orvane_test::WriteBytes(temp.path() / "tiny.zip", "PK\x05\x06");
  EXPECT_EQ(OpenZip(temp.core() + u"\\tiny.zip", nullptr), nullptr);
  EXPECT_EQ(RecentText(), u"Couldn't create/open file");
}

// 150 good headers, a broken one, and an end record that declares 65,535
// entries: no item past the break is reached, and asking for every item once,
// as a caller listing the archive does, reads each reachable header once. A
// walk that went back to the first header for every later index would make
// about ten million reads here.
TEST_F(ZipReaderTest, ABrokenCentralHeaderStopsTheWalk) {
  Archive archive;
  for (int i = 0; i < 151; ++i) archive.items.push_back(MakeItem("f" + std::to_string(i), "", 0));
  archive.items[150].breakCentralSignature = true;
  archive.entriesDeclared = 65535;
  ASSERT_NE(Open(archive), nullptr);
  platform::FakeFileHandles fake;
  int good = 0, corrupt = 0;
  ZipEntry entry;
  for (int32_t i = 0; i < 65535; ++i) {
    const uint32_t result = GetZipItem(zip, i, &entry);
    good += result == ZR_OK;
    corrupt += result == ZR_CORRUPT;
    if (i >= 149 && i <= 151) {
      EXPECT_EQ(UnzipItem(zip, i, entry.name), i == 149 ? ZR_FLATE : ZR_CORRUPT) << i;
    }
  }
  EXPECT_EQ(good, 150);
  EXPECT_EQ(corrupt, 65535 - 150);
  EXPECT_EQ(entry.index, 65534);  // no name: its header was never read
  EXPECT_EQ(entry.name[0], 0);
  // A central and a local header for each good item, and the broken header
  // (a read near the end of the file may take a second call to see the end).
  EXPECT_LE(fake.CallCount("ReadFile"), 3 * 151);
  ASSERT_EQ(GetZipItem(zip, 0, &entry), ZR_OK);  // the walk starts again from the first
  EXPECT_EQ(std::u16string(entry.name), u"f0");
}

// The walk needs a new block of the central directory where the archive
// cannot be sought: that header is unreadable, not the bytes of the block
// held before. The walk stops there, no item past it is reported under
// another item's name, and nothing past it is read again.
TEST_F(ZipReaderTest, ACentralBlockThatCannotBeReachedStopsTheWalk) {
  Archive archive;
  for (int i = 0; i < 400; ++i) archive.items.push_back(MakeItem(std::string(60, 'n') + std::to_string(i), "", 0));
  ASSERT_NE(Open(archive), nullptr);
  ZipEntry entry;
  ASSERT_EQ(GetZipItem(zip, 0, &entry), ZR_OK);
  platform::FakeFileHandles fake;
  // Seeks fail from here on. The local headers follow one another and need
  // none; the second block of the directory does.
  fake.FailOp("SetFilePointer", 131);
  int32_t firstUnnamed = -1;
  int readsThen = 0;
  for (int32_t i = 1; i < 400; ++i) {
    const uint32_t result = GetZipItem(zip, i, &entry);
    const std::u16string name = entry.name;
    if (!name.empty()) {
      EXPECT_EQ(result, ZR_OK) << i;
      EXPECT_EQ(name, orvane_test::Wide(archive.items[i].name)) << i;
      EXPECT_EQ(firstUnnamed, -1) << i;
    } else if (firstUnnamed < 0) {
      firstUnnamed = i;
      readsThen = fake.CallCount("ReadFile");
    }
    if (name.empty()) {
      EXPECT_EQ(result, ZR_CORRUPT) << i;
    }
  }
  // The first block holds about 150 of the 106-byte headers.
  EXPECT_GT(firstUnnamed, 100);
  EXPECT_LT(firstUnnamed, 200);
  EXPECT_EQ(fake.CallCount("ReadFile"), readsThen);
}

}  // namespace
