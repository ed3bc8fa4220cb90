#include "e2e_log.h"

#include <algorithm>
#include <regex>
#include <sstream>

#ifdef ORVANE_HAVE_LOG_DECRYPT
#include "log_decrypt_lib.h"
#endif

namespace e2e {

namespace {

bool ParseLogLine(const std::string& line, LogLine* out) {
  // "%5d" fills at least five columns, with blanks on the left only when
  // shorter. The pattern sees a bounded head: the message may be long.
  static const std::string kPid5 = R"(( {4}\d| {3}\d{2}| {2}\d{3}| \d{4}|\d{5,}))";
  static const std::regex kHead(R"(\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\.\d{3} \[(DEBG|INFO|WARN|ERRO)\]\[)" + kPid5 +
                                R"(\]\[)" + kPid5 + R"(\] \[([^\]]*)\] )");
  const std::string head = line.substr(0, 128);
  std::smatch m;
  if (!std::regex_search(head, m, kHead, std::regex_constants::match_continuous)) return false;
  *out = LogLine{m[1], m[2], m[4], line.substr(m.length(0))};
  return true;
}

// The message of a line with its spans decrypted (natively), or as written.
std::string ClearMessage(const std::string& written) {
#ifdef ORVANE_HAVE_LOG_DECRYPT
  static logdecrypt::LogKey key;
  static std::string error;
  static const bool loaded = key.LoadFile(ORVANE_TEST_KEYS_DIR "/dev_log_private.pem", &error);
  if (!loaded) ADD_FAILURE() << "development key: " << error;
  return logdecrypt::DecryptLine(key, written);
#else
  return written;
#endif
}

bool ShowsMessage(const std::string& written, const std::string& clear, SpanMode mode) {
  if (mode == SpanMode::kEncrypted) {
    // A path must not stand in clear, and must decrypt back to itself.
    return (written != clear || clear.find('\\') == std::string::npos) && ClearMessage(written) == clear;
  }
  if (written == WithSizeNote(clear)) return true;
  size_t start = 0, end = 0;
  return mode == SpanMode::kWineFailed && FindPathSpan(clear, &start, &end) &&
         written == clear.substr(0, start) + Base64OfZeros((end - start + 63) / 64 * 64) + clear.substr(end);
}

}  // namespace

LogView::LogView(const fs::path& file) {
  const std::string bytes = ReadFile(file);
  endsInCrLf = bytes.size() >= 2 && bytes.compare(bytes.size() - 2, 2, "\r\n") == 0;
  for (size_t pos = 0, end; pos < bytes.size(); pos = end + 2) {
    end = std::min(bytes.find("\r\n", pos), bytes.size());
    raw.push_back(bytes.substr(pos, end - pos));
    endsInCrLf = endsInCrLf && raw.back().find_first_of("\r\n") == std::string::npos;
    LogLine line;
    if (ParseLogLine(raw.back(), &line)) lines.push_back(std::move(line));
  }
  if (lines.size() != raw.size()) lines.clear();
}

std::string LogView::Dump() const {
  std::ostringstream out;
  out << "--- log (" << raw.size() << " lines) ---\n";
  for (size_t i = 0; i < raw.size(); ++i) {
    out << i << ": " << raw[i] << "\n";
    if (i < lines.size() && ClearMessage(lines[i].message) != lines[i].message) {
      out << "   clear: " << ClearMessage(lines[i].message) << "\n";
    }
  }
  return out.str();
}

std::string Base64OfZeros(size_t bytes) {
  return std::string(bytes / 3 * 4, 'A') + (bytes % 3 == 1 ? "AA==" : bytes % 3 == 2 ? "AAA=" : "");
}

::testing::AssertionResult HasLinesInOrder(const LogView& log, const std::vector<ExpectedLine>& expected, SpanMode mode,
                                           size_t from) {
  if (log.lines.empty()) return ::testing::AssertionFailure() << "no log, or one that does not parse\n" << log.Dump();
  size_t at = from;
  for (size_t e = 0; e < expected.size(); ++e, ++at) {
    while (at < log.lines.size() && !(log.lines[at].level == expected[e].level &&
                                      ShowsMessage(log.lines[at].message, expected[e].message, mode))) {
      ++at;
    }
    if (at == log.lines.size()) {
      return ::testing::AssertionFailure() << "expected line " << e << " not found in order: [" << expected[e].level
                                           << "] " << expected[e].message << "\n"
                                           << log.Dump();
    }
  }
  return ::testing::AssertionSuccess();
}

std::vector<size_t> FindMessage(const LogView& log, const std::string& message) {
  std::vector<size_t> hits;
  for (size_t i = 0; i < log.lines.size(); ++i) {
    if (log.lines[i].message == message) hits.push_back(i);
  }
  return hits;
}

}  // namespace e2e
