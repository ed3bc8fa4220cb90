#include "toolkit/zip_reader.h"

#include <random>

#include "gtest/gtest.h"
#include "platform/fake_file_handles.h"
#include "toolkit/toolkit_test_support.h"
#include "toolkit/zip_builder_for_tests.h"

namespace {

using orvane_test::ReadFileBytes;
using orvane_test::Wide;
using zip_test::Archive;
using zip_test::Item;

std::string Noise(size_t n, uint32_t seed) {
  std::mt19937 random(seed);
  std::string out(n, '\0');
  for (char& c : out) c = static_cast<char>(random());
  return out;
}

std::string Text(size_t n) {
  std::string out;
  while (out.size() < n) out += "the quick brown fox jumps over the lazy dog " + std::to_string(out.size());
  out.resize(n);
  return out;
}

// The text of the last result, whose length FormatZipResult answers.
std::u16string RecentText() {
  char16_t text[80];
  const uint32_t length = FormatZipResult(ZR_RECENT, text, 80);
  EXPECT_EQ(length, std::char_traits<char16_t>::length(text));
  return text;
}

Item MakeItem(const std::string& name, const std::string& data, uint16_t method = 8, const char* password = "") {
  Item item;
  item.name = name;
  item.data = data;
  item.method = method;
  item.password = password;
  return item;
}

class ZipReaderTest : public ::testing::Test {
 protected:
  ~ZipReaderTest() override {
    if (zip != nullptr) ReleaseZip(zip);
  }
  // Writes and opens the archive, in place of the one open before, with its base directory at out\.
  ZipHandle Open(const Archive& archive, const char* password = nullptr) {
    if (zip != nullptr) ReleaseZip(zip);
    orvane_test::WriteBytes(temp.path() / "a.zip", archive.Build());
    zip = OpenZip(temp.core() + u"\\a.zip", password);
    if (zip != nullptr) {
      EXPECT_EQ(SetUnzipBaseDir(zip, temp.core() + u"\\out"), ZR_OK);
    }
    return zip;
  }
  std::string Out(const std::string& name) { return ReadFileBytes(temp.path() / "out" / name); }
  bool OutExists(const std::string& name) { return std::filesystem::exists(temp.path() / "out" / name); }

  orvane_test::TempDir temp;
  ZipHandle zip = nullptr;
};

TEST_F(ZipReaderTest, NamesAreCleaned) {
  struct Row { const char* stored; const char16_t* reported; } rows[] = {
      {"C:\\a\\b.txt", u"a\\b.txt"}, {"x\\..\\y.txt", u"y.txt"}, {"\\\\server\\a.txt", u"server\\a.txt"},
      {"../y.txt", u"../y.txt"}, {"a/../b/../c.txt", u"c.txt"}, {"/x/../../y.txt", u"../y.txt"},
      {"d:/C:/e.txt", u"e.txt"}, {"ok/name.txt", u"ok/name.txt"},
  };
  Archive archive;
  for (const Row& row : rows) archive.items.push_back(MakeItem(row.stored, "x"));
  ASSERT_NE(Open(archive), nullptr);
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    ZipEntry entry;
    ASSERT_EQ(GetZipItem(zip, static_cast<int32_t>(i), &entry), ZR_OK) << i;
    EXPECT_EQ(std::u16string(entry.name), rows[i].reported) << i << " " << rows[i].stored;
  }
}

TEST_F(ZipReaderTest, OpeningFindsTheEndRecordOnlyInTheLastBlock) {
  struct Row { const char* what; std::string prefix; size_t comment; int64_t entriesTotal; bool opens; } rows[] = {
      {"plain", "", 0, -1, true},
      {"bytes in front", Noise(5000, 1), 0, -1, true},
      {"comment that leaves the record in the block", "", 1000, -1, true},
      {"comment that pushes the record out", "", 1100, -1, false},
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

TEST_F(ZipReaderTest, LocalHeaderChecks) {
  Archive archive;
  for (const char* name : {"matching", "method differs", "size differs", "size differs with bit 3", "method 12"}) {
    archive.items.push_back(MakeItem(name, Text(100)));
  }
  archive.items[1].localMethod = 0;
  archive.items[2].localUncSize = archive.items[3].localUncSize = 7;
  archive.items[3].dataDescriptorFlag = true;
  archive.items[4].method = 12;
  ASSERT_NE(Open(archive), nullptr);
  ZipEntry entry;
  const uint32_t results[] = {ZR_OK, ZR_CORRUPT, ZR_CORRUPT, ZR_OK, ZR_CORRUPT};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(GetZipItem(zip, i, &entry), results[i]) << archive.items[i].name;
  EXPECT_EQ(UnzipItem(zip, 4, u"m12"), ZR_CORRUPT);
  EXPECT_FALSE(OutExists("m12"));

  EXPECT_EQ(GetZipItem(zip, -1, &entry), ZR_OK);
  EXPECT_EQ(entry.index, 5);
  EXPECT_EQ(entry.name[0], 0);
  EXPECT_EQ(GetZipItem(zip, 5, &entry), ZR_ARGS);
  EXPECT_EQ(GetZipItem(zip, -2, &entry), ZR_ARGS);
  EXPECT_EQ(UnzipItem(zip, 5, u"x"), ZR_ARGS);
}

TEST_F(ZipReaderTest, AttributesFromTheHostSystem) {
  struct Row { uint16_t madeBy; uint32_t external; uint32_t attr; } rows[] = {
      {0x0014, 0x23, 0x23},                 // DOS: read-only, hidden, archive
      {0x0014, 0x14, 0x14},                 // DOS: system directory, no archive bit
      {0x0B14, 0x01, 0x01},                 // NTFS host
      {0x031E, 0100644u << 16, 0x20},       // Unix file
      {0x031E, 0100444u << 16, 0x21},       // Unix read-only file
      {0x031E, 0040755u << 16, 0x30},       // Unix directory
      {0x031E, 0, 0x21},                    // no mode: no write bit
  };
  Archive archive;
  for (const Row& row : rows) {
    archive.items.push_back(MakeItem("f", "x"));
    archive.items.back().versionMadeBy = row.madeBy;
    archive.items.back().externalAttr = row.external;
  }
  ASSERT_NE(Open(archive), nullptr);
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    ZipEntry entry;
    ASSERT_EQ(GetZipItem(zip, static_cast<int32_t>(i), &entry), ZR_OK);
    EXPECT_EQ(entry.attr, rows[i].attr) << i;
  }
}

uint64_t Ticks(const platform::FileTime& t) { return platform::FileTimeValue(t); }
constexpr uint64_t kSecond = 10000000ull;

TEST_F(ZipReaderTest, TimesFromTheDosFieldsAndTheUtRecord) {
  Archive archive;
  Item base = MakeItem("base", "x");  // 2025-01-15 12:00:00
  Item later = base;
  later.dosTime = 0x6001;  // two seconds later
  Item nextMonth = base;
  nextMonth.dosDate = 0x5A4F;  // 2025-02-15
  Item mtimeOnly = base;
  mtimeOnly.localExtra = zip_test::UtExtra(1, {1700000000u});
  Item all = base;
  // Another record first, then "UT" with all three times.
  all.localExtra = std::string("\x01\x02\x03\x00xyz", 7) + zip_test::UtExtra(7, {1700000000u, 1600000000u, 1500000000u});
  Item shortRecord = base;
  shortRecord.localExtra = zip_test::UtExtra(7, {1700000000u});  // says three, holds one
  archive.items = {base, later, nextMonth, mtimeOnly, all, shortRecord};
  ASSERT_NE(Open(archive), nullptr);
  ZipEntry e[6];
  for (int i = 0; i < 6; ++i) ASSERT_EQ(GetZipItem(zip, i, &e[i]), ZR_OK) << i;
  const uint64_t dos = Ticks(e[0].mtime), t1 = dos + 2 * kSecond, t2 = dos + 31 * 86400 * kSecond;
  EXPECT_NE(dos, 0u);
  auto ut = [](uint64_t seconds) { return (11644473600ull + seconds) * kSecond; };
  const std::vector<std::vector<uint64_t>> want = {  // mtime, atime, ctime
      {dos, dos, dos}, {t1, t1, t1}, {t2, t2, t2}, {ut(1700000000), dos, dos},
      {ut(1700000000), ut(1600000000), ut(1500000000)}, {ut(1700000000), dos, dos}};
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ((std::vector<uint64_t>{Ticks(e[i].mtime), Ticks(e[i].atime), Ticks(e[i].ctime)}), want[i]) << i;
  }
}

// Plain items of every size and kind are ZipExtractTest.RoundTripOfARealTree's.
TEST_F(ZipReaderTest, ItemsComeOutByteForByte) {
  Archive archive;
  archive.items = {MakeItem("stored.bin", Noise(70000, 2), 0), MakeItem("secret.txt", Text(40000), 8, "pass word"),
                   MakeItem("secret-stored.bin", Noise(20000, 4), 0, "pass word"),
                   MakeItem("secret-flag3.txt", Text(1000), 8, "pass word")};
  archive.items[3].dataDescriptorFlag = true;
  ASSERT_NE(Open(archive, "pass word"), nullptr);
  // Backwards, so that the walk also goes back to the start.
  for (int i = 3; i >= 0; --i) {
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
  ASSERT_NE(Open(archive), nullptr);
  const uint32_t results[] = {ZR_FLATE, ZR_FLATE, ZR_FLATE, ZR_NOFILE, ZR_NOFILE, ZR_NOFILE};
  ZipEntry entry;
  for (int i = 0; i < 6; ++i) {
    ASSERT_EQ(GetZipItem(zip, i, &entry), ZR_OK);
    EXPECT_EQ(UnzipItem(zip, i, entry.name), results[i]) << i;
  }
  EXPECT_TRUE(OutExists("empty.txt"));
  EXPECT_EQ(std::filesystem::file_size(temp.path() / "out" / "empty.txt"), 0u);
  EXPECT_FALSE(std::filesystem::exists(temp.path() / "escape.txt"));
  ASSERT_EQ(GetZipItem(zip, 3, &entry), ZR_OK);
  EXPECT_EQ(std::u16string(entry.name), u"../escape.txt");
}

TEST_F(ZipReaderTest, ABrokenCentralHeaderStopsTheWalk) {
  Archive archive;
  for (int i = 0; i < 4; ++i) archive.items.push_back(MakeItem("f" + std::to_string(i), "x"));
  archive.items[1].breakCentralSignature = true;
  ASSERT_NE(Open(archive), nullptr);
  ZipEntry entry;
  EXPECT_EQ(GetZipItem(zip, 0, &entry), ZR_OK);
  EXPECT_EQ(GetZipItem(zip, 3, &entry), ZR_CORRUPT);
  EXPECT_EQ(UnzipItem(zip, 2, u"f2"), ZR_CORRUPT);
  EXPECT_EQ(GetZipItem(zip, 0, &entry), ZR_OK);
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
  // A base directory that cannot fit 260 characters is refused, not cut.
  EXPECT_EQ(SetUnzipBaseDir(zip, temp.core() + u"\\" + std::u16string(300, u'b')), ZR_ARGS);
  EXPECT_EQ(UnzipItem(zip, 1, u"f.txt"), ZR_OK);
  EXPECT_EQ(Out("f.txt"), "hello");
}

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
