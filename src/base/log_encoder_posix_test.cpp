// The encryption road proper, on the native backend's raw RSA: what the log
// holds must decrypt with the private half of the development key back to the
// span's UTF-8 bytes followed by the zero fill of the last block.
#include <string>
#include <vector>

#include "base/log.h"
#include "base/log_encoder.h"
#include "base/log_test_support.h"
#include "base/text.h"
#include "gtest/gtest.h"
#include "log_decrypt_lib.h"

namespace {

using orvane_test::LinePrefix;
using orvane_test::LogFileTest;

class LogEncryptionTest : public LogFileTest {
 protected:
  void SetUp() override {
    LogFileTest::SetUp();
    std::string error;
    ASSERT_TRUE(key.LoadFile(ORVANE_TEST_KEYS_DIR "/dev_log_private.pem", &error)) << error;
    ASSERT_EQ(key.BlockSize(), 64u);
  }

  // The raw plaintext blocks behind a Base64 replacement.
  std::vector<uint8_t> DecryptRaw(const std::u16string& base64) {
    std::vector<uint8_t> cipher;
    std::vector<uint8_t> plain;
    EXPECT_TRUE(logdecrypt::IsEncryptedSpan(WideToUtf8(base64), 64, &cipher)) << WideToUtf8(base64);
    EXPECT_TRUE(key.DecryptBlocks(cipher, &plain));
    return plain;
  }

  logdecrypt::LogKey key;
};

TEST_F(LogEncryptionTest, SpansDecryptToTheirBytesAndZeroFill) {
  const std::u16string spans[] = {
      u"\\",
      u"C:\\a\\b.txt",
      u"\\" + std::u16string(63, u'x'),   // 64 bytes: one block, no fill
      u"\\" + std::u16string(64, u'x'),   // 65 bytes: two blocks, 63 zeros
      u"'C:\\Program Files\\Orvane\\app\\Orvane.exe' --start_time=1 \\" + std::u16string(100, u'y'),
      u"D:\\\u65e5\u672c\u8a9e\\x",        // UTF-8 bytes, not characters
  };
  for (const std::u16string& span : spans) {
    const std::string bytes = WideToUtf8(span);
    const size_t total = (bytes.size() + 63) / 64 * 64;
    const std::u16string out = EncryptLogText(span);
    ASSERT_FALSE(HasLogEncoderFailed()) << bytes;
    ASSERT_EQ(out.size(), (total + 2) / 3 * 4) << bytes;

    const std::vector<uint8_t> plain = DecryptRaw(out);
    std::string expected = bytes;
    expected.resize(total, '\0');
    EXPECT_EQ(std::string(plain.begin(), plain.end()), expected) << bytes;
  }
  // One provider per span: nothing is cached.
  EXPECT_EQ(fake.CallCount("OpenRsaProvider"), sizeof(spans) / sizeof(spans[0]));
}

TEST_F(LogEncryptionTest, LogFileDecryptsBackToTheMaskedLine) {
  OpenLog();
  LogInfo(u"Launch app cmdline=\"%s\" --a=1, dir=%s", u"C:\\Users\\ann\\AppData\\Local\\Orvane\\app\\Orvane.exe",
          u"C:\\Users\\ann\\AppData\\Local\\Orvane\\app\\");
  const std::string text = LogText();
  const auto encrypted = orvane_test::SplitLogLines(text);
  ASSERT_EQ(encrypted.size(), 2u);
  EXPECT_EQ(encrypted[1].find("ann"), std::string::npos);
  EXPECT_EQ(encrypted[1].find('\\'), std::string::npos);

  const auto clear = orvane_test::SplitLogLines(logdecrypt::DecryptLogText(key, text));
  ASSERT_EQ(clear.size(), 2u);
  EXPECT_EQ(clear[0], LinePrefix("INFO") + orvane_test::kBanner);
  EXPECT_EQ(clear[1], LinePrefix("INFO") +
                          "Launch app cmdline=\"C:\\Users\\*\\AppData\\Local\\Orvane\\app\\Orvane.exe\" --a=1, "
                          "dir=C:\\Users\\*\\AppData\\Local\\Orvane\\app\\");
}

TEST_F(LogEncryptionTest, BlockFailureAtSecondOfThreeKeepsFirstBlockAndZeros) {
  OpenLog();
  // The size query is the first RsaEncrypt call, the blocks the next three.
  fake.FailCall("RsaEncrypt", 0xC000000Du, 3);
  const std::u16string span = u"\\" + std::u16string(149, u'z');  // 150 bytes, three blocks
  LogInfo(u"x %s y", span);

  const auto lines = LogLines();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[1], LinePrefix("ERRO") + "Failed encrypt data..status:c000000d");
  const std::string prefix = LinePrefix("INFO") + "x ";
  ASSERT_EQ(lines[2].size(), prefix.size() + 256 + 2);
  const std::string base64 = lines[2].substr(prefix.size(), 256);
  EXPECT_EQ(lines[2].substr(prefix.size() + 256), " y");

  std::vector<uint8_t> cipher;
  ASSERT_TRUE(logdecrypt::DecodeBase64(base64, &cipher));
  ASSERT_EQ(cipher.size(), 192u);
  EXPECT_EQ(std::vector<uint8_t>(cipher.begin() + 64, cipher.end()), std::vector<uint8_t>(128, 0));
  std::vector<uint8_t> first;
  ASSERT_TRUE(key.DecryptBlocks(std::vector<uint8_t>(cipher.begin(), cipher.begin() + 64), &first));
  EXPECT_EQ(std::string(first.begin(), first.end()), WideToUtf8(span).substr(0, 64));
  EXPECT_TRUE(HasLogEncoderFailed());
}

TEST_F(LogEncryptionTest, BlockNotBelowTheModulusIsRefusedAndLatches) {
  OpenLog();
  // A span that starts with a high byte: its first block exceeds the modulus.
  LogInfo(u"\u00ff\u00ff\\x then C:\\y");
  const auto lines = LogLines();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[1].rfind(LinePrefix("ERRO") + "Failed encrypt data..status:", 0), 0u) << lines[1];
  EXPECT_EQ(lines[2], LinePrefix("INFO") + std::string(86, 'A') + "==");
  LogInfo(u"later C:\\z");
  EXPECT_EQ(LogLines().back(), LinePrefix("INFO") + "later str size:4");
}

}  // namespace
