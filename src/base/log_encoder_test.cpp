#include "base/log_encoder.h"

#include <cstring>
#include <string>

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
  struct Row {
    const char16_t* line;
    const char16_t* before;  // text kept in front of the span
    const char16_t* span;    // nullptr: the line stays as it is
    const char16_t* after;
  };
  const Row rows[] = {
      {u"no backslash here", nullptr, nullptr, nullptr},
      {u"forward/slash/path stays C:/a/b", nullptr, nullptr, nullptr},
      {u"Delete file 'C:\\a b\\c.txt' failed, error=5", u"Delete file ", u"'C:\\a b\\c.txt'", u" failed, error=5"},
      {u"copy C:\\a to D:\\b now", u"copy ", u"C:\\a to D:\\b", u" now"},
      {u"open C:\\x\\y", u"open ", u"C:\\x\\y", u""},
      {u"\\\\server\\share x", u"", u"\\\\server\\share", u" x"},
      {u"a\tC:\\x b", u"", u"a\tC:\\x", u" b"},  // a tab does not delimit
      {u"open C:\\\u65e5\u672c\\x.txt done", u"open ", u"C:\\\u65e5\u672c\\x.txt", u" done"},
      {u"trailing blank C:\\x ", u"trailing blank ", u"C:\\x", u" "},
  };
  SetDisallowEncodeLog(true);
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    const Row& row = rows[i];
    std::u16string expected = row.line;
    if (row.span != nullptr) {
      // The note counts UTF-8 bytes, not characters.
      const size_t bytes = WideToUtf8(row.span).size();
      expected = std::u16string(row.before) + u"str size:" + AsciiToWide(std::to_string(bytes)) + row.after;
    }
    EXPECT_EQ(EncodeLogLine(row.line), expected) << "row " << i;
  }
  EXPECT_EQ(fake.CallCount("OpenRsaProvider"), 0u);
}

TEST_F(EncodeLogLineTest, DisallowedLineInFileHasNoteAndNoErrorLine) {
  OpenLog();
  SetDisallowEncodeLog(true);
  LogError(u"Delete file %s failed, error=%d", u"C:\\temp\\a.txt", 5);
  const auto lines = LogLines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[1], LinePrefix("ERRO") + "Delete file str size:13 failed, error=5");
  EXPECT_FALSE(HasLogEncoderFailed());
}

// A failure at any step latches: its message goes to the file once, before
// the line that caused it, and no later span calls the crypto again.
TEST_F(EncodeLogLineTest, FailureAtEachStepLogsOnceAndLatches) {
  struct Row {
    const char* op;
    int nth;
    uint32_t error;
    const char* message;
    bool zeroBase64;  // the block loop failed: Base64 of the zeroed buffer
  };
  const Row rows[] = {
      {"OpenRsaProvider", 1, 0xC0000001u, "Failed to get algorithm provider..status:c0000001", false},
      {"PemToDer", 1, 13, "CryptStringToBinary failed. 13", false},
      {"PemToDer", 2, 13, "CryptStringToBinary failed. 13", false},
      {"HeapAllocate", 1, 8, "The derPointer memory allocation failed!", false},
      {"DecodeRsaPublicKey", 1, 87, "CryptDecodeObjectEx failed. 87", false},
      {"DecodeRsaPublicKey", 2, 87, "CryptDecodeObjectEx failed. 87", false},
      {"HeapAllocate", 2, 8, "The blobPointer memory allocation failed!", false},
      {"ImportRsaPublicKey", 1, 0xC000000Du, "Error code returned by BCryptImportKeyPair:c000000d", false},
      {"RsaEncrypt", 1, 0xC000000Du, "Failed to get required size of buffer..status:c000000d", false},
      {"RsaEncrypt", 2, 0xC000000Du, "Failed encrypt data..status:c000000d", true},
  };
  const std::string zeroBlock(86, 'A');
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    const Row& row = rows[i];
    ResetLogStateForTesting();
    std::filesystem::remove(LogPath());
    OpenLog();
    fake.ClearCalls();
    fake.FailCall(row.op, row.error, row.nth);

    LogInfo(u"Delete file C:\\a\\b.txt failed");  // span of 10 bytes
    const size_t providerCalls = fake.CallCount("OpenRsaProvider");
    LogInfo(u"Move D:\\x done");

    const auto lines = LogLines();
    ASSERT_EQ(lines.size(), 4u) << "row " << i;
    EXPECT_EQ(lines[1], LinePrefix("ERRO") + row.message) << "row " << i;
    const std::string replacement = row.zeroBase64 ? zeroBlock + "==" : "str size:10";
    EXPECT_EQ(lines[2], LinePrefix("INFO") + "Delete file " + replacement + " failed") << "row " << i;
    EXPECT_EQ(lines[3], LinePrefix("INFO") + "Move str size:4 done") << "row " << i;
    EXPECT_TRUE(HasLogEncoderFailed()) << "row " << i;
    EXPECT_EQ(fake.CallCount("OpenRsaProvider"), providerCalls) << "row " << i;
    EXPECT_EQ(providerCalls, 1u) << "row " << i;
    // Whatever was opened is closed and whatever was allocated is released.
    EXPECT_EQ(fake.CallCount("CloseProvider"), row.nth == 1 && std::strcmp(row.op, "OpenRsaProvider") == 0 ? 0u : 1u)
        << "row " << i;
    EXPECT_EQ(fake.CallCount("DestroyKey"), std::strcmp(row.op, "RsaEncrypt") == 0 ? 1u : 0u) << "row " << i;
    const size_t allocations = fake.CallCount("HeapAllocate") - (std::strcmp(row.op, "HeapAllocate") == 0 ? 1 : 0);
    EXPECT_EQ(fake.CallCount("HeapRelease"), allocations) << "row " << i;
  }
}

TEST(Base64EncodeTest, Rows) {
  struct Row {
    const char* data;
    uint32_t flags;
    const char* expected;
  };
  const Row rows[] = {
      {"", 2, ""},           {"f", 2, "Zg=="},       {"fo", 2, "Zm8="},         {"foo", 2, "Zm9v"},
      {"foob", 2, "Zm9vYg=="}, {"fooba", 2, "Zm9vYmE="}, {"foobar", 2, "Zm9vYmFy"}, {"f", 3, "Zg"},
      {"fo", 3, "Zm8"},      {"\xff\xfe\xfd", 2, "//79"},
  };
  for (const Row& row : rows) {
    char buffer[64];
    std::memset(buffer, 'X', sizeof(buffer));
    size_t written = 99;
    ASSERT_TRUE(Base64Encode(reinterpret_cast<const uint8_t*>(row.data), std::strlen(row.data), buffer,
                             sizeof(buffer), row.flags, &written))
        << row.data;
    EXPECT_EQ(std::string(buffer, written), row.expected) << row.data;
    EXPECT_EQ(buffer[written], '\0') << row.data;
  }
}

TEST(Base64EncodeTest, LineBreaksSizesAndNullArguments) {
  const std::string data(60, '\0');  // 80 characters
  const auto* bytes = reinterpret_cast<const uint8_t*>(data.data());
  char buffer[128];
  size_t written = 0;
  ASSERT_TRUE(Base64Encode(bytes, data.size(), buffer, sizeof(buffer), 0, &written));
  EXPECT_EQ(std::string(buffer, written), std::string(76, 'A') + "\r\n" + std::string(4, 'A'));

  // Exactly the text's length fits (no room for a terminator); one less not.
  EXPECT_TRUE(Base64Encode(bytes, 3, buffer, 4, 2, &written));
  EXPECT_EQ(written, 4u);
  EXPECT_FALSE(Base64Encode(bytes, 3, buffer, 3, 2, &written));
  EXPECT_FALSE(Base64Encode(nullptr, 3, buffer, sizeof(buffer), 2, &written));
  EXPECT_FALSE(Base64Encode(bytes, 3, nullptr, sizeof(buffer), 2, &written));
}

}  // namespace
