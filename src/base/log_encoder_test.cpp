#include "base/log_encoder.h"

#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "base/log.h"
#include "base/log_test_support.h"
#include "base/text.h"
#include "gtest/gtest.h"

namespace {

using orvane_test::LinePrefix;
using orvane_test::LogFileTest;

using EncodeLogLineTest = LogFileTest;

// With encryption disallowed every span becomes a size note, which shows
// exactly where the span was cut.
TEST_F(EncodeLogLineTest, SpanRowsWithSizeNotes) {
  const std::pair<const char16_t*, const char16_t*> rows[] = {
      {u"forward/slash/path stays C:/a/b", u"forward/slash/path stays C:/a/b"},
      {u"Delete file 'C:\\a b\\c.txt' failed, error=5", u"Delete file str size:14 failed, error=5"},
      {u"copy C:\\a to D:\\b now", u"copy str size:12 now"},
      {u"open C:\\x\\y", u"open str size:6"},
      {u"\\\\server\\share x", u"str size:14 x"},
      {u"a\tC:\\x b", u"str size:6 b"},                      // a tab does not delimit
      {u"open C:\\\u65e5\u672c\\x.txt ", u"open str size:15 "},  // UTF-8 bytes counted
  };
  SetDisallowEncodeLog(true);
  for (size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_EQ(EncodeLogLine(rows[i].first), rows[i].second) << "row " << i << ": " << WideToUtf8(rows[i].first);
  }
  EXPECT_EQ(fake.CallCount("OpenRsaProvider"), 0u);
  EXPECT_FALSE(HasLogEncoderFailed());
}

// A failure at any step latches: its message goes to the file once, before
// the line that caused it, and no later span calls the crypto again.
TEST_F(EncodeLogLineTest, FailureAtEachStepLogsOnceAndLatches) {
  struct Row {
    std::string op;
    int nth;
    uint32_t error;
    const char* message;
  };
  const Row rows[] = {
      {"OpenRsaProvider", 1, 0xC0000001u, "Failed to get algorithm provider..status:c0000001"},
      {"PemToDer", 2, 13, "CryptStringToBinary failed. 13"},
      {"HeapAllocate", 1, 8, "The derPointer memory allocation failed!"},
      {"DecodeRsaPublicKey", 1, 87, "CryptDecodeObjectEx failed. 87"},
      {"HeapAllocate", 2, 8, "The blobPointer memory allocation failed!"},
      {"ImportRsaPublicKey", 1, 0xC000000Du, "Error code returned by BCryptImportKeyPair:c000000d"},
      {"RsaEncrypt", 1, 0xC000000Du, "Failed to get required size of buffer..status:c000000d"},
      {"RsaEncrypt", 2, 0xC000000Du, "Failed encrypt data..status:c000000d"},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE("row " + std::to_string(i));
    const Row& row = rows[i];
    ReopenLog();
    fake.ClearCalls();
    fake.FailCall(row.op, row.error, row.nth);
    LogInfo(u"Delete file C:\\a\\b.txt failed");
    LogInfo(u"Move D:\\x done");

    // The block loop failed: Base64 of the zeroed buffer; else the size note.
    const bool inBlockLoop = row.nth == 2 && row.op == "RsaEncrypt";
    const std::string replacement = inBlockLoop ? std::string(86, 'A') + "==" : "str size:10";
    EXPECT_EQ(LogLines(), (std::vector<std::string>{LinePrefix("INFO") + orvane_test::kBanner,
                                                    LinePrefix("ERRO") + row.message,
                                                    LinePrefix("INFO") + "Delete file " + replacement + " failed",
                                                    LinePrefix("INFO") + "Move str size:4 done"}));
    EXPECT_TRUE(HasLogEncoderFailed());
    EXPECT_EQ(fake.CallCount("OpenRsaProvider"), 1u);
    // Whatever was opened is closed and whatever was allocated is released.
    EXPECT_EQ(fake.CallCount("CloseProvider"), row.op == "OpenRsaProvider" ? 0u : 1u);
    EXPECT_EQ(fake.CallCount("DestroyKey"), row.op == "RsaEncrypt" ? 1u : 0u);
    EXPECT_EQ(fake.CallCount("HeapRelease"), fake.CallCount("HeapAllocate") - (row.op == "HeapAllocate" ? 1 : 0));
  }
}

}  // namespace
