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
SpanMode DefaultSpanMode();

struct ExpectedLine {
  std::string level;    // "INFO", "ERRO" ...
  std::string message;  // in clear, paths included
};

class LogView {
 public:
  explicit LogView(const fs::path& file);

  bool exists = false;
  bool endsInCrLf = false;          // every line ends in CR LF, nothing else
  std::vector<std::string> raw;     // the lines as bytes
  std::vector<LogLine> lines;       // parsed; only filled when every line parses
  std::vector<size_t> unparsed;     // indices of lines that do not fit the format

  // The message of line i with its spans decrypted (natively), or as written.
  std::string ClearMessage(size_t i) const;
  std::string Dump() const;
};

// Base64 of `bytes` zero bytes, as the failure road writes a span.
std::string Base64OfZeros(size_t bytes);

// Whether the written message shows `clear` in the given mode. In
// kWineFailed either form of the failure road is accepted.
bool ShowsMessage(const LogView& log, size_t index, const std::string& clear, SpanMode mode);

// Each expected line appears, in this order, at or after line `from`.
::testing::AssertionResult HasLinesInOrder(const LogView& log, const std::vector<ExpectedLine>& expected,
                                           SpanMode mode, size_t from = 0);

// Indices of the lines whose message equals `message` exactly as written.
std::vector<size_t> FindMessage(const LogView& log, const std::string& message);

}  // namespace e2e
