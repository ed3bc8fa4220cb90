// Reading an encrypted launcher log back: every path span of a log line is
// Base64 of raw RSA blocks made with the public half of the log key. With the
// private half, each block is turned back into its clear bytes and the span
// into its UTF-8 text. A span that does not give a path's text back with the
// key at hand (another key, or a run whose encryption broke down) is marked
// in the output and the rest of the log still comes out. Linux only (mbedTLS).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace logdecrypt {

// A private RSA key in PEM form (PKCS#1 "RSA PRIVATE KEY" or PKCS#8).
class LogKey {
 public:
  LogKey();
  ~LogKey();
  LogKey(const LogKey&) = delete;
  LogKey& operator=(const LogKey&) = delete;

  // False, with a reason in *error, when the text is not a usable RSA key.
  bool LoadPem(const std::string& pem, std::string* error);
  bool LoadFile(const std::string& path, std::string* error);

  // The modulus size in bytes (64 for the development key); 0 before a load.
  size_t BlockSize() const;

  // The raw private operation (c^d mod n) on each block of `cipher`, output
  // big-endian, one block per block. False when no key is loaded, the size is
  // not a whole number of blocks, or a block is not below the modulus.
  bool DecryptBlocks(const std::vector<uint8_t>& cipher, std::vector<uint8_t>* plain) const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// Standard Base64 with '=' padding and no line breaks. False on any other
// character, a misplaced '=' or a length that is not a multiple of four.
bool DecodeBase64(const std::string& text, std::vector<uint8_t>* out);

// The smallest block a log key has: a 512-bit modulus. Larger keys have
// blocks of a multiple of it.
inline constexpr size_t kMinLogBlock = 64;

// True when `token` has the form a span takes in the log whatever key wrote
// it: padded Base64 of a whole, non-zero number of 64-byte blocks, exactly as
// long as such a run is (88, 172, 256 ... characters). The bytes go to
// *cipher when it is given.
bool LooksLikeSpan(const std::string& token, std::vector<uint8_t>* cipher);

// The clear text of one span: the decrypted blocks without the zero bytes
// that fill the end of the last block. False when `token` is not a span, is
// not a whole number of the key's blocks, or does not decrypt to a path's
// text: valid UTF-8 with a backslash, no zero byte before the fill.
bool DecryptSpan(const LogKey& key, const std::string& token, std::string* clear);

// How a span that does not decrypt with the key given is shown: the token
// stays, so that nothing of the log is lost.
std::string MarkUndecryptable(const std::string& token);

// The line with every blank-delimited span replaced by its clear text, or
// marked when it does not decrypt; the rest of the line, blanks and size
// notes included, stays as it is.
std::string DecryptLine(const LogKey& key, const std::string& line, size_t* marked = nullptr);

// Every line of a log file's text decrypted; line ends ("\r\n" or "\n") are
// kept as they are. Each marked span adds one to *marked when it is given.
std::string DecryptLogText(const LogKey& key, const std::string& text, size_t* marked = nullptr);

}  // namespace logdecrypt
