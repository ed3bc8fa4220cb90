// The encryption road proper, on the native backend's raw RSA: what the log
// holds must decrypt with the private half of the development key back to the
// span's UTF-8 bytes followed by the zero fill of the last block.
#include <iterator>
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

class LogEncryptionTest : public orvane_test::LogFileTest {
 protected:
  void SetUp() override {
    LogFileTest::SetUp();
    std::string error;
    ASSERT_TRUE(key.LoadFile(ORVANE_TEST_KEYS_DIR "/dev_log_private.pem", &error)) << error;
    ASSERT_EQ(key.BlockSize(), 64u);
  }
  // The plaintext blocks behind Base64 ciphertext.
  std::string Decrypt(const std::string& base64, size_t blocks) {
    std::vector<uint8_t> cipher, plain;
    EXPECT_TRUE(logdecrypt::DecodeBase64(base64, &cipher)) << base64;
    cipher.resize(blocks * 64);
    EXPECT_TRUE(key.DecryptBlocks(cipher, &plain)) << base64;
    return std::string(plain.begin(), plain.end());
  }
  logdecrypt::LogKey key;
};

TEST_F(LogEncryptionTest, SpansDecryptToTheirBytesAndZeroFill) {
  const std::u16string spans[] = {
      u"\\" + std::u16string(63, u'x'),  // 64 bytes: one block, no fill
      u"\\" + std::u16string(64, u'x'),  // 65 bytes: two blocks, 63 zeros
      u"D:\\\u65e5\u672c\u8a9e\\x",      // UTF-8 bytes, not characters
  };
  for (const std::u16string& span : spans) {
    const std::string bytes = WideToUtf8(span);
    const size_t total = (bytes.size() + 63) / 64 * 64;
    const std::string out = WideToUtf8(EncryptLogText(span));
    ASSERT_FALSE(HasLogEncoderFailed()) << bytes;
    ASSERT_EQ(out.size(), (total + 2) / 3 * 4) << bytes;
    EXPECT_EQ(Decrypt(out, total / 64), bytes + std::string(total - bytes.size(), '\0')) << bytes;
  }
  EXPECT_EQ(fake.CallCount("OpenRsaProvider"), std::size(spans));  // nothing is cached
}

TEST_F(LogEncryptionTest, LogFileDecryptsBackToTheMaskedLine) {
  OpenLog();
  const char16_t* path = u"C:\\Users\\ann\\AppData\\Local\\Orvane\\app\\Orvane.exe";
  LogInfo(u"Launch app cmdline=\"%s\" --a=1, dir=%s", path, path);
  const std::string text = LogText();
  EXPECT_EQ(text.find('\\'), std::string::npos) << "no path in clear";
  const std::string masked = "C:\\Users\\*\\AppData\\Local\\Orvane\\app\\Orvane.exe";
  EXPECT_EQ(logdecrypt::DecryptLogText(key, text), LinePrefix("INFO") + orvane_test::kBanner + "\r\n" +
                                                       LinePrefix("INFO") + "Launch app cmdline=\"" + masked +
                                                       "\" --a=1, dir=" + masked + "\r\n");
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
  EXPECT_EQ(lines[2].substr(prefix.size() + 256), " y");
  std::vector<uint8_t> cipher;
  ASSERT_TRUE(logdecrypt::DecodeBase64(lines[2].substr(prefix.size(), 256), &cipher));
  EXPECT_EQ(std::vector<uint8_t>(cipher.begin() + 64, cipher.end()), std::vector<uint8_t>(128, 0));
  EXPECT_EQ(Decrypt(lines[2].substr(prefix.size(), 256), 1), WideToUtf8(span).substr(0, 64));
  EXPECT_TRUE(HasLogEncoderFailed());
}

TEST_F(LogEncryptionTest, BlockNotBelowTheModulusIsRefusedAndLatches) {
  OpenLog();
  LogInfo(u"\u00ff\u00ff\\x then C:\\y");  // the first block starts with high bytes: above the modulus
  LogInfo(u"later C:\\z");
  const auto lines = LogLines();
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[1].rfind(LinePrefix("ERRO") + "Failed encrypt data..status:", 0), 0u) << lines[1];
  EXPECT_EQ(lines[2], LinePrefix("INFO") + std::string(86, 'A') + "==");
  EXPECT_EQ(lines[3], LinePrefix("INFO") + "later str size:4");
}

// What the support tool makes of each kind of word in a line: spans of this
// key back in clear, spans it cannot read marked with the token kept, all
// else as it stands.
TEST_F(LogEncryptionTest, DecryptLineRestoresSpansAndMarksWhatTheKeyCannotRead) {
  logdecrypt::LogKey other, wide;
  std::string error;
  ASSERT_TRUE(other.LoadFile(ORVANE_TEST_KEYS_DIR "/other_log_private.pem", &error)) << error;
  ASSERT_TRUE(wide.LoadFile(ORVANE_TEST_KEYS_DIR "/other_log_private_1024.pem", &error)) << error;
  const std::string longPath = "\\" + std::string(100, 'q');
  const std::string span = WideToUtf8(EncryptLogText(u"'C:\\a b\\c.txt'"));
  const std::string longSpan = WideToUtf8(EncryptLogText(Utf8ToWide(longPath)));
  const std::string unicode = WideToUtf8(EncryptLogText(u"D:\\\u65e5\u672c"));
  ASSERT_FALSE(HasLogEncoderFailed());
  ASSERT_EQ(longSpan.size(), 172u);
  const std::string zeros = std::string(86, 'A') + "==";  // a block the encoder could not fill
  using logdecrypt::MarkUndecryptable;
  struct Row {
    const logdecrypt::LogKey* key;
    std::string line, expected;
    size_t marks;
  } rows[] = {
      {&key, "Delete file " + span + " failed", "Delete file 'C:\\a b\\c.txt' failed", 0},
      {&key, longSpan, longPath, 0},
      {&key, "at " + unicode, "at D:\\\xe6\x97\xa5\xe6\x9c\xac", 0},
      {&key, "Delete file str size:12 failed", "Delete file str size:12 failed", 0},
      {&key, zeros + " y", MarkUndecryptable(zeros) + " y", 1},
      {&key, std::string(88, 'A'), std::string(88, 'A'), 0},  // 66 bytes: no whole block
      {&key, span + "=", span + "=", 0},                        // not one Base64 run
      {&key, "a  " + span + "\t", "a  " + span + "\t", 0},     // a tab is no delimiter
      {&other, "x " + span + " y", "x " + MarkUndecryptable(span) + " y", 1},
      {&other, longSpan + " " + span, MarkUndecryptable(longSpan) + " " + MarkUndecryptable(span), 2},
      {&wide, "x " + span, "x " + MarkUndecryptable(span), 1},  // 64 bytes: not a 128-byte block
      {&wide, longSpan, MarkUndecryptable(longSpan), 1},        // decrypts, to noise
  };
  for (const Row& row : rows) {
    size_t marks = 0;
    EXPECT_EQ(logdecrypt::DecryptLine(*row.key, row.line, &marks), row.expected) << row.line;
    EXPECT_EQ(marks, row.marks) << row.line;
  }
}

}  // namespace
