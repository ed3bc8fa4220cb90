// Reading the launcher's log in the end-to-end tests: its lines split and
// parsed, path spans decrypted with the development key where the build has
// the decryption library, and expected messages looked up in order.
#pragma once

#include <string>
#include <vector>

#include "e2e_support.h"
#include "gtest/gtest.h"

namespace e2e {

// How the log is expected to show a path span.
enum class SpanMode {
  kEncrypted,   // RSA ciphertext in Base64 (natively); compared after decryption
  kSizeNotes,   // "str size:N" (--disallow_encode_log)
  kWineFailed,  // the encoder's failure road: one span of zero blocks, then size notes
};
// The mode of a run without --disallow_encode_log on this platform.
#ifdef _WIN32
constexpr SpanMode kDefaultSpanMode = SpanMode::kWineFailed;
#else
constexpr SpanMode kDefaultSpanMode = SpanMode::kEncrypted;
#endif

struct ExpectedLine {
  std::string level;    // "INFO", "ERRO" ...
  std::string message;  // in clear, paths included
};

struct LogView {
  explicit LogView(const fs::path& file);
  std::string Dump() const;

  bool endsInCrLf = false;       // every line ends in CR LF, and no line holds another CR or LF
  std::vector<std::string> raw;  // the lines as bytes
  std::vector<LogLine> lines;    // parsed; empty unless every line parses
};

// Base64 of `bytes` zero bytes, as the failure road writes a span.
std::string Base64OfZeros(size_t bytes);

// Each expected line appears, in this order, at or after line `from`.
::testing::AssertionResult HasLinesInOrder(const LogView& log, const std::vector<ExpectedLine>& expected, SpanMode mode,
                                           size_t from = 0);
// Indices of the lines whose message equals `message` exactly as written.
std::vector<size_t> FindMessage(const LogView& log, const std::string& message);

}  // namespace e2e
