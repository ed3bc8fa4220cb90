#include "log_decrypt_lib.h"

#include <fstream>
#include <sstream>

#include "mbedtls/base64.h"
#include "mbedtls/bignum.h"
#include "mbedtls/pk.h"
#include "mbedtls/rsa.h"
#include "mbedtls/version.h"

namespace logdecrypt {

struct LogKey::Impl {
  Impl() {
    mbedtls_mpi_init(&n);
    mbedtls_mpi_init(&d);
  }
  ~Impl() {
    mbedtls_mpi_free(&n);
    mbedtls_mpi_free(&d);
  }
  mbedtls_mpi n;
  mbedtls_mpi d;
  size_t blockSize = 0;
};

LogKey::LogKey() = default;
LogKey::~LogKey() = default;

bool LogKey::LoadPem(const std::string& pem, std::string* error) {
  impl_.reset();
  mbedtls_pk_context pk;
  mbedtls_pk_init(&pk);
  // PEM input is parsed with its terminating NUL counted.
  const auto* bytes = reinterpret_cast<const unsigned char*>(pem.c_str());
#if MBEDTLS_VERSION_MAJOR >= 3
  int rc = mbedtls_pk_parse_key(&pk, bytes, pem.size() + 1, nullptr, 0, nullptr, nullptr);
#else
  int rc = mbedtls_pk_parse_key(&pk, bytes, pem.size() + 1, nullptr, 0);
#endif
  if (rc != 0) {
    if (error != nullptr) *error = "cannot parse the private key (mbedTLS error " + std::to_string(rc) + ")";
    mbedtls_pk_free(&pk);
    return false;
  }
  if (mbedtls_pk_get_type(&pk) != MBEDTLS_PK_RSA) {
    if (error != nullptr) *error = "the key is not an RSA key";
    mbedtls_pk_free(&pk);
    return false;
  }
  auto impl = std::make_unique<Impl>();
  const mbedtls_rsa_context* rsa = mbedtls_pk_rsa(pk);
  rc = mbedtls_rsa_export(rsa, &impl->n, nullptr, nullptr, &impl->d, nullptr);
  impl->blockSize = mbedtls_mpi_size(&impl->n);
  mbedtls_pk_free(&pk);
  if (rc != 0 || impl->blockSize == 0) {
    if (error != nullptr) *error = "the key has no private exponent";
    return false;
  }
  impl_ = std::move(impl);
  return true;
}

bool LogKey::LoadFile(const std::string& path, std::string* error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    if (error != nullptr) *error = "cannot open " + path;
    return false;
  }
  std::ostringstream text;
  text << in.rdbuf();
  return LoadPem(text.str(), error);
}

size_t LogKey::BlockSize() const { return impl_ != nullptr ? impl_->blockSize : 0; }

bool LogKey::DecryptBlocks(const std::vector<uint8_t>& cipher, std::vector<uint8_t>* plain) const {
  const size_t b = BlockSize();
  if (b == 0 || cipher.empty() || cipher.size() % b != 0) return false;
  std::vector<uint8_t> out(cipher.size());
  mbedtls_mpi c;
  mbedtls_mpi m;
  mbedtls_mpi_init(&c);
  mbedtls_mpi_init(&m);
  bool ok = true;
  for (size_t pos = 0; ok && pos < cipher.size(); pos += b) {
    ok = mbedtls_mpi_read_binary(&c, cipher.data() + pos, b) == 0 && mbedtls_mpi_cmp_mpi(&c, &impl_->n) < 0 &&
         mbedtls_mpi_exp_mod(&m, &c, &impl_->d, &impl_->n, nullptr) == 0 &&
         mbedtls_mpi_write_binary(&m, out.data() + pos, b) == 0;
  }
  mbedtls_mpi_free(&c);
  mbedtls_mpi_free(&m);
  if (ok) *plain = std::move(out);
  return ok;
}

bool DecodeBase64(const std::string& text, std::vector<uint8_t>* out) {
  const auto* in = reinterpret_cast<const unsigned char*>(text.data());
  size_t size = 0;
  if (mbedtls_base64_decode(nullptr, 0, &size, in, text.size()) == MBEDTLS_ERR_BASE64_INVALID_CHARACTER) return false;
  std::vector<uint8_t> bytes(size);
  if (mbedtls_base64_decode(bytes.data(), bytes.size(), &size, in, text.size()) != 0) return false;
  bytes.resize(size);
  *out = std::move(bytes);
  return true;
}

bool LooksLikeSpan(const std::string& token, std::vector<uint8_t>* cipher) {
  if (token.size() < (kMinLogBlock + 2) / 3 * 4) return false;
  std::vector<uint8_t> bytes;
  if (!DecodeBase64(token, &bytes)) return false;
  if (bytes.empty() || bytes.size() % kMinLogBlock != 0) return false;
  // The decoder skips some white space; a span is one unbroken run.
  if (token.size() != (bytes.size() + 2) / 3 * 4) return false;
  if (cipher != nullptr) *cipher = std::move(bytes);
  return true;
}

namespace {

bool IsValidUtf8(const std::string& text) {
  size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<unsigned char>(text[i]);
    size_t extra = 0;
    uint32_t min = 0;
    uint32_t cp = 0;
    if (lead < 0x80) {
      ++i;
      continue;
    } else if ((lead & 0xE0) == 0xC0) {
      extra = 1, min = 0x80, cp = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
      extra = 2, min = 0x800, cp = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
      extra = 3, min = 0x10000, cp = lead & 0x07;
    } else {
      return false;
    }
    if (text.size() - i <= extra) return false;
    for (size_t k = 1; k <= extra; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (next & 0x3F);
    }
    if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
    i += extra + 1;
  }
  return true;
}

}  // namespace

bool DecryptSpan(const LogKey& key, const std::string& token, std::string* clear) {
  std::vector<uint8_t> cipher;
  const size_t block = key.BlockSize();
  if (block == 0 || !LooksLikeSpan(token, &cipher) || cipher.size() % block != 0) return false;
  std::vector<uint8_t> plain;
  if (!key.DecryptBlocks(cipher, &plain)) return false;
  // Only the last block carries fill: its trailing zero bytes go.
  const size_t lastBlock = plain.size() - block;
  size_t end = plain.size();
  while (end > lastBlock && plain[end - 1] == 0) --end;
  std::string text(reinterpret_cast<const char*>(plain.data()), end);
  // Another key gives noise; a block cut short by a failed encryption gives
  // zeros. Neither is the text of a span, which always holds a backslash.
  if (text.find('\\') == std::string::npos || text.find('\0') != std::string::npos || !IsValidUtf8(text)) {
    return false;
  }
  *clear = std::move(text);
  return true;
}

std::string MarkUndecryptable(const std::string& token) { return "[cannot decrypt: " + token + "]"; }

std::string DecryptLine(const LogKey& key, const std::string& line, size_t* marked) {
  std::string out;
  out.reserve(line.size());
  size_t pos = 0;
  while (pos <= line.size()) {
    size_t blank = line.find(' ', pos);
    if (blank == std::string::npos) blank = line.size();
    const std::string token = line.substr(pos, blank - pos);
    std::string clear;
    if (!LooksLikeSpan(token, nullptr)) {
      out += token;
    } else if (DecryptSpan(key, token, &clear)) {
      out += clear;
    } else {
      out += MarkUndecryptable(token);
      if (marked != nullptr) ++*marked;
    }
    if (blank == line.size()) break;
    out.push_back(' ');
    pos = blank + 1;
  }
  return out;
}

std::string DecryptLogText(const LogKey& key, const std::string& text, size_t* marked) {
  std::string out;
  out.reserve(text.size());
  size_t pos = 0;
  while (pos < text.size()) {
    size_t nl = text.find('\n', pos);
    const size_t next = nl == std::string::npos ? text.size() : nl + 1;
    size_t end = nl == std::string::npos ? text.size() : nl;
    if (end > pos && text[end - 1] == '\r') --end;
    out += DecryptLine(key, text.substr(pos, end - pos), marked);
    out.append(text, end, next - end);
    pos = next;
  }
  return out;
}

}  // namespace logdecrypt
