// Log line encryption. The stretch of a line that holds paths is replaced by
// raw RSA ciphertext of its UTF-8 bytes in Base64, readable only with the
// private half of the program's key, or by a size note when encryption is
// disallowed or has failed once in this process.
#include "base/log_encoder.h"

#include <cmath>
#include <vector>

#include "base/log.h"
#include "base/text.h"
#include "log_public_key.h"
#include "platform/crypto/crypto.h"
#include "platform/error_codes.h"

namespace {

// Set at the first failure of any encryption step and never cleared: from
// then on every span becomes a size note without another attempt.
bool g_encoderFailed = false;

constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr uint32_t kBase64NoPadding = 0x1;
constexpr uint32_t kBase64NoLineBreaks = 0x2;
constexpr size_t kBase64LineLength = 76;

// Latches the failure before logging it, so the error line (which holds no
// backslash) cannot start another attempt.
template <typename... Args>
void FailEncoding(const char16_t* format, const Args&... args) {
  g_encoderFailed = true;
  LogError(format, args...);
}

// Length of the Base64 text of `length` bytes, line breaks not counted.
size_t Base64TextLength(size_t length, bool padding) {
  const size_t full = length / 3;
  const size_t rest = length % 3;
  if (rest == 0) return full * 4;
  return full * 4 + (padding ? 4 : rest + 1);
}

// Raw RSA over zero-filled blocks of the key's size. Returns the ciphertext
// buffer: empty when a step before the block loop failed, and T bytes long
// once the loop has started, even when a block fails (the blocks not done stay
// zero).
std::vector<uint8_t> EncryptBlocks(const std::string& text) {
  auto& crypto = platform::Service<platform::Crypto>();
  platform::CryptoHandle provider = nullptr;
  platform::CryptoHandle key = nullptr;
  uint8_t* der = nullptr;
  uint8_t* blob = nullptr;
  std::vector<uint8_t> cipher;

  // Nothing of this is cached between spans: provider, key and decodes are
  // made afresh each time.
  do {
    int32_t status = crypto.OpenRsaProvider(&provider);
    if (status < 0) {
      FailEncoding(u"Failed to get algorithm provider..status:%08x", static_cast<uint32_t>(status));
      break;
    }

    uint32_t derSize = 0;
    if (!crypto.PemToDer(kLogPublicKeyPem, nullptr, &derSize)) {
      FailEncoding(u"CryptStringToBinary failed. %d", platform::LastError());
      break;
    }
    der = static_cast<uint8_t*>(crypto.HeapAllocate(derSize));
    if (der == nullptr) {
      FailEncoding(u"The derPointer memory allocation failed!");
      break;
    }
    if (!crypto.PemToDer(kLogPublicKeyPem, der, &derSize)) {
      FailEncoding(u"CryptStringToBinary failed. %d", platform::LastError());
      break;
    }

    uint32_t blobSize = 0;
    if (!crypto.DecodeRsaPublicKey(der, derSize, nullptr, &blobSize)) {
      FailEncoding(u"CryptDecodeObjectEx failed. %d", platform::LastError());
      break;
    }
    blob = static_cast<uint8_t*>(crypto.HeapAllocate(blobSize));
    if (blob == nullptr) {
      FailEncoding(u"The blobPointer memory allocation failed!");
      break;
    }
    if (!crypto.DecodeRsaPublicKey(der, derSize, blob, &blobSize)) {
      FailEncoding(u"CryptDecodeObjectEx failed. %d", platform::LastError());
      break;
    }

    status = crypto.ImportRsaPublicKey(provider, blob, blobSize, &key);
    if (status < 0) {
      FailEncoding(u"Error code returned by BCryptImportKeyPair:%08x", static_cast<uint32_t>(status));
      break;
    }

    // The size query asks for the PKCS#1 form; the data itself goes through
    // as raw RSA on zero-filled blocks below. The two flags differ on purpose.
    uint32_t blockSize = 0;
    status = crypto.RsaEncrypt(key, reinterpret_cast<const uint8_t*>(text.data()), static_cast<uint32_t>(text.size()),
                               nullptr, 0, &blockSize, platform::kBcryptPadPkcs1);
    if (status < 0) {
      FailEncoding(u"Failed to get required size of buffer..status:%08x", static_cast<uint32_t>(status));
      break;
    }
    // A provider that answers success with no block size (one that cannot
    // encrypt this text with padding does so) has failed this step: without a
    // block size there is nothing to divide the text by.
    if (blockSize == 0) {
      FailEncoding(u"Failed to get required size of buffer..status:%08x", static_cast<uint32_t>(status));
      break;
    }

    const size_t total = static_cast<size_t>(std::ceil(static_cast<double>(text.size()) / blockSize)) * blockSize;
    std::vector<uint8_t> plain(text.begin(), text.end());
    plain.resize(total, 0);
    cipher.assign(total, 0);

    size_t in = 0;
    size_t out = 0;
    while (in < total) {
      // Never let a provider that reports more than it was given push the
      // output past the buffer.
      if (out >= total) break;
      uint32_t written = 0;
      status = crypto.RsaEncrypt(key, plain.data() + in, blockSize, cipher.data() + out, static_cast<uint32_t>(total),
                                 &written, platform::kBcryptPadNone);
      if (status < 0) {
        // The buffer is already sized: the blocks done so far and zeros up to
        // the end still go out as Base64.
        FailEncoding(u"Failed encrypt data..status:%08x", static_cast<uint32_t>(status));
        break;
      }
      out += written;
      in += blockSize;
    }
  } while (false);

  if (key != nullptr) crypto.DestroyKey(key);
  if (provider != nullptr) crypto.CloseProvider(provider);
  // The two decode buffers are released here rather than left to the end of
  // the process: nothing reads them after the import, and a long run would
  // otherwise hold two small blocks per encoded span.
  if (blob != nullptr) crypto.HeapRelease(blob);
  if (der != nullptr) crypto.HeapRelease(der);
  return cipher;
}

}  // namespace

bool HasLogEncoderFailed() { return g_encoderFailed; }

void ResetLogEncoderForTesting() { g_encoderFailed = false; }

bool Base64Encode(const uint8_t* data, size_t length, char* buffer, size_t bufferSize, uint32_t flags,
                  size_t* written) {
  if (data == nullptr || buffer == nullptr || written == nullptr) return false;
  const bool padding = (flags & kBase64NoPadding) == 0;
  const bool lineBreaks = (flags & kBase64NoLineBreaks) == 0;

  const size_t textLength = Base64TextLength(length, padding);
  // Line breaks go between lines of 76 characters, not after the last one.
  const size_t breaks = (lineBreaks && textLength > 0) ? (textLength - 1) / kBase64LineLength : 0;
  const size_t required = textLength + breaks * 2;
  if (bufferSize < required) return false;

  size_t pos = 0;
  size_t lineChars = 0;
  auto put = [&](char c) {
    if (lineBreaks && lineChars == kBase64LineLength) {
      buffer[pos++] = '\r';
      buffer[pos++] = '\n';
      lineChars = 0;
    }
    buffer[pos++] = c;
    ++lineChars;
  };

  size_t i = 0;
  for (; i + 3 <= length; i += 3) {
    const uint32_t v = (uint32_t{data[i]} << 16) | (uint32_t{data[i + 1]} << 8) | data[i + 2];
    put(kBase64Alphabet[(v >> 18) & 0x3F]);
    put(kBase64Alphabet[(v >> 12) & 0x3F]);
    put(kBase64Alphabet[(v >> 6) & 0x3F]);
    put(kBase64Alphabet[v & 0x3F]);
  }
  const size_t rest = length - i;
  if (rest > 0) {
    uint32_t v = uint32_t{data[i]} << 16;
    if (rest == 2) v |= uint32_t{data[i + 1]} << 8;
    put(kBase64Alphabet[(v >> 18) & 0x3F]);
    put(kBase64Alphabet[(v >> 12) & 0x3F]);
    if (rest == 2) put(kBase64Alphabet[(v >> 6) & 0x3F]);
    if (padding) {
      if (rest == 1) put('=');
      put('=');
    }
  }
  if (pos < bufferSize) buffer[pos] = '\0';
  *written = pos;
  return true;
}

std::u16string EncryptLogText(const std::u16string& span) {
  const std::string text = WideToUtf8(span);

  std::vector<uint8_t> cipher;
  if (!IsDisallowEncodeLog() && !g_encoderFailed) cipher = EncryptBlocks(text);

  if (!cipher.empty()) {
    std::string encoded(2 * cipher.size() + 1, '\0');
    size_t written = 0;
    if (Base64Encode(cipher.data(), cipher.size(), &encoded[0], encoded.size(), kBase64NoLineBreaks, &written)) {
      encoded.resize(written);
      return Utf8ToWide(encoded);
    }
  }
  return Utf8ToWide("str size:" + std::to_string(text.size()));
}

std::u16string EncodeLogLine(const std::u16string& line) {
  const size_t first = line.find(u'\\');
  if (first == std::u16string::npos) return line;
  const size_t last = line.rfind(u'\\');

  // The span runs from the blank-delimited word that holds the first
  // backslash to the word that holds the last one. Only U+0020 delimits.
  const size_t blankBefore = line.rfind(u' ', first);
  const size_t start = blankBefore == std::u16string::npos ? 0 : blankBefore + 1;
  const size_t blankAfter = line.find(u' ', last);
  const size_t end = blankAfter == std::u16string::npos ? line.size() : blankAfter;

  std::u16string result = line.substr(0, start);
  result += EncryptLogText(line.substr(start, end - start));
  result.append(line, end, std::u16string::npos);
  return result;
}
