#include "base/log.h"

#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "base/log_test_support.h"
#include "gtest/gtest.h"

namespace {

using orvane_test::kBanner;
using orvane_test::LinePrefix;
using orvane_test::LogFileTest;

using LogTest = LogFileTest;

TEST_F(LogTest, LinesAreByteExactAndEachOpenAddsOneBanner) {
  SetLogFileTag(u"launcher");
  LogInfo(u"before the log exists");  // leaves no trace
  OpenLog();
  LogDebug(u"d%d", 1);
  LogInfo(u"CmdLine size is %d", 2);
  LogWarn(u"w %s", u"x");
  LogError(u"e error=%d", 5);
  OpenLog();  // a second run appends to the same file
  EXPECT_EQ(LogText(), LinePrefix("INFO") + kBanner + "\r\n" + LinePrefix("DEBG") + "d1\r\n" + LinePrefix("INFO") +
                           "CmdLine size is 2\r\n" + LinePrefix("WARN") + "w x\r\n" + LinePrefix("ERRO") +
                           "e error=5\r\n" + LinePrefix("INFO") + kBanner + "\r\n");
}

TEST_F(LogTest, LongMessageIsCutSoTheLineHas2048Characters) {
  OpenLog();
  LogInfo(u"%s", std::u16string(3000, u'a'));
  LogInfo(u"%s", std::u16string(2048, u'b'));
  const std::string prefix = LinePrefix("INFO");
  EXPECT_EQ(LogLines(), (std::vector<std::string>{prefix + kBanner, prefix + std::string(2048 - prefix.size(), 'a'),
                                                  prefix + std::string(2048 - prefix.size(), 'b')}));
}

TEST_F(LogTest, EmptyTagWideProcessIdAndUtf8Message) {
  fake.processId = 123456;
  fake.threadId = 7;
  OpenLog(u"");
  LogInfo(u"caf\u00e9 \u65e5\u672c");
  const auto lines = LogLines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[1], "2025-11-14 13:22:06.123 [INFO][123456][    7] [] caf\xc3\xa9 \xe6\x97\xa5\xe6\x9c\xac");
}

TEST_F(LogTest, StreamThatCannotBeOpenedDropsEverything) {
  fake.FailCall("OpenStream", platform::kErrorAccessDenied);
  OpenLog();
  LogInfo(u"dropped");
  EXPECT_FALSE(std::filesystem::exists(LogPath()));
}

TEST_F(LogTest, TimestampUsesLocalTimeAndCuts) {
  fake.localOffsetSeconds = 9 * 3600;
  const uint64_t ms = fake.nowMs;
  EXPECT_EQ(FormatTimestamp(ms, true, true), u"2025-11-14 22:22:06.123");
  EXPECT_EQ(FormatTimestamp(ms, true, false), u"2025-11-14 22:22:06");
  EXPECT_EQ(FormatTimestamp(ms, false, true), u"2025-11-14");
  EXPECT_EQ(FormatTimestamp(1000 * 86400 + 7, true, true).substr(0, 10), u"1970-01-02");
  EXPECT_EQ(FormatTimestamp(1000 * 86400 + 7, true, true).substr(19), u".007");
}

TEST(MaskUserNameTest, Rows) {
  const std::pair<const char16_t*, const char16_t*> rows[] = {
      {u"C:\\Users\\ann\\AppData\\Local", u"C:\\Users\\*\\AppData\\Local"},
      {u"C:\\Users\\ann", u"C:\\Users\\ann"},        // ends in the name: kept
      {u"C:\\users\\ann\\x", u"C:\\users\\ann\\x"},  // exact case only
      {u"\\Users\\\\ann\\x", u"\\Users\\\\*\\x"},    // doubled separator survives
      {u"\\Users\\Ann Lee\\x", u"\\Users\\*\\x"},    // the drop goes across blanks
      {u"\\Users\\Ann and D:\\x", u"\\Users\\*\\x"},
      {u"a \\Users\\b\\c and \\Users\\d\\e", u"a \\Users\\*\\c and \\Users\\*\\e"},
      {u"\\Users\\", u"\\Users\\"},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_EQ(MaskUserName(rows[i].first), rows[i].second) << "row " << i;
  }
}

}  // namespace
