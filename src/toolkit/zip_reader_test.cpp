#include "toolkit/zip_reader.h"

#include <cstdlib>
#include <random>

#include "gtest/gtest.h"
#include "platform/fake_file_handles.h"
#include "toolkit/toolkit_test_support.h"
#include "toolkit/zip_builder_for_tests.h"

#ifdef _WIN32
#include <windows.h>
#endif

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

TEST(ZipNames, DevicesStreamsAndParentsAreRefused) {
  struct Row { const char16_t* name; bool refused; } rows[] = {
      {u"NUL", true}, {u"nul.txt", true}, {u"a/CON.tar.gz", true}, {u"Aux\\x", true}, {u"prn", true},
      {u"COM0", true}, {u"com9.log", true}, {u"LPT1", true}, {u"lpt0.x", true}, {u"COM\u00b9", true},
      {u"lpt\u00b3.txt", true}, {u"COM\u2077", true}, {u"CONIN$", true}, {u"conout$.log", true},
      {u"NUL ", true}, {u"nul.", true}, {u"nul . .", true}, {u"nul .txt", true}, {u"d/e/Con", true},
      {u"ok.txt:stream", true}, {u"a:b/c", true}, {u"x/../y", true}, {u"..", true}, {u"a\\..", true},
      {u"CONSOLE", false}, {u"NULL.txt", false}, {u"COM10", false}, {u"COM", false}, {u"LPT", false},
      {u"COMx", false}, {u"xnul", false}, {u"con-x.txt", false}, {u"a/b/c.txt", false}, {u"...", false},
      {u".nul", false}, {u"CONIN", false}, {u"nul_/x", false}, {u"..x", false}, {u"COM\u00b4", false},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) EXPECT_EQ(IsRefusedZipName(rows[i].name), rows[i].refused) << i;
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
uint64_t UnixTicks(int64_t seconds) { return static_cast<uint64_t>(seconds + 11644473600ll) * 10000000ull; }

// Local time three hours east of UTC, without daylight saving, for the
// test's lifetime. A Windows process takes its zone from the system, so there
// the zone in force is read instead (the windows preset runs the tests with
// TZ=XYZ-3, which Wine takes as the system's zone).
class ZoneThreeHoursEast {
 public:
  ZoneThreeHoursEast() {
#ifdef _WIN32
    TIME_ZONE_INFORMATION zone;
    const DWORD which = GetTimeZoneInformation(&zone);
    const long bias = zone.Bias + (which == TIME_ZONE_ID_DAYLIGHT ? zone.DaylightBias : 0);
    correction_ = -(bias * 60) - 3 * 3600;
#else
    const char* old = std::getenv("TZ");
    hadOld_ = old != nullptr;
    if (hadOld_) old_ = old;
    setenv("TZ", "XYZ-3", 1);
    tzset();
#endif
  }
  ~ZoneThreeHoursEast() {
#ifndef _WIN32
    if (hadOld_) {
      setenv("TZ", old_.c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
#endif
  }
  // Seconds to take from a UTC time that assumed three hours east; 0 except
  // on a Windows system in another zone.
  int64_t correction() const { return correction_; }

 private:
  int64_t correction_ = 0;
  bool hadOld_ = false;
  std::string old_;
};

// The DOS fields are local time; a "UT" record gives UTC. Expected times are
// absolute, for a zone three hours east of UTC: 12:00 local is 09:00 UTC.
TEST_F(ZipReaderTest, TimesFromTheDosFieldsAndTheUtRecord) {
  constexpr int64_t kDos = -1;  // the time from the DOS fields
  struct Row { const char* what; uint16_t date, time; std::string extra; int64_t dos, m, a, c; } rows[] = {
      {"2025-01-15 12:00:00", 0x5A2F, 0x6000, "", 1736931600, kDos, kDos, kDos},
      {"two seconds later", 0x5A2F, 0x6001, "", 1736931602, kDos, kDos, kDos},
      {"2025-02-15", 0x5A4F, 0x6000, "", 1739610000, kDos, kDos, kDos},
      {"1999-12-31 23:59:58", 0x279F, 0xBF7D, "", 946673998, kDos, kDos, kDos},
      {"1980-01-01 00:00:00", 0x0021, 0x0000, "", 315522000, kDos, kDos, kDos},
      {"2107-12-31 23:59:58", 0xFF9F, 0xBF7D, "", 4354808398, kDos, kDos, kDos},
      {"month 0 is no date: no time", 0x0000, 0x0000, "", 0, kDos, kDos, kDos},
      {"UT with mtime only", 0x5A2F, 0x6000, zip_test::UtExtra(1, {1700000000u}), 1736931600, 1700000000, kDos, kDos},
      {"another record, then UT with all three", 0x5A2F, 0x6000,
       std::string("\x01\x02\x03\x00xyz", 7) + zip_test::UtExtra(7, {1700000000u, 1600000000u, 1500000000u}),
       1736931600, 1700000000, 1600000000, 1500000000},
      {"UT says three, holds one", 0x5A2F, 0x6000, zip_test::UtExtra(7, {1700000000u}), 1736931600, 1700000000, kDos,
       kDos},
  };
  ZoneThreeHoursEast zone;
  Archive archive;
  for (const Row& row : rows) {
    archive.items.push_back(MakeItem(row.what, "x"));
    archive.items.back().dosDate = row.date;
    archive.items.back().dosTime = row.time;
    archive.items.back().localExtra = row.extra;
  }
  ASSERT_NE(Open(archive), nullptr);
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    const Row& row = rows[i];
    ZipEntry e;
    ASSERT_EQ(GetZipItem(zip, static_cast<int32_t>(i), &e), ZR_OK) << row.what;
    const uint64_t dos = row.dos == 0 ? 0 : UnixTicks(row.dos - zone.correction());
    auto want = [&](int64_t seconds) { return seconds == kDos ? dos : UnixTicks(seconds); };
    EXPECT_EQ((std::vector<uint64_t>{Ticks(e.mtime), Ticks(e.atime), Ticks(e.ctime)}),
              (std::vector<uint64_t>{want(row.m), want(row.a), want(row.c)}))
        << row.what;
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
