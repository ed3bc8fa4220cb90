// The decoding of one item: its name, its local header against the central one,
// its attributes and times.
#include <cstdlib>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "toolkit/zip_reader.h"
#include "toolkit/zip_reader_test_fixture.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace {

using zip_test::Archive;
using zip_test::Filler;
using zip_test::MakeItem;
using zip_test::Text;
using zip_test::ZipReaderTest;

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
      {"UT after 16 KiB of other records", 0x5A2F, 0x6000, Filler(64) + zip_test::UtExtra(1, {1700000000u}), 1736931600,
       1700000000, kDos, kDos},
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

}  // namespace
