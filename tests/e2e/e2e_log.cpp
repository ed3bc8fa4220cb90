#include "e2e_log.h"

#include <memory>
#include <sstream>

#ifdef ORVANE_HAVE_LOG_DECRYPT
#include "log_decrypt_lib.h"
#endif

namespace e2e {

namespace {

#ifdef ORVANE_HAVE_LOG_DECRYPT
const logdecrypt::LogKey* DevelopmentKey() {
  static const std::unique_ptr<logdecrypt::LogKey> key = [] {
    auto k = std::make_unique<logdecrypt::LogKey>();
    std::string error;
    if (!k->LoadFile(ORVANE_TEST_KEYS_DIR "/dev_log_private.pem", &error)) {
      ADD_FAILURE() << "development key: " << error;
    }
    return k;
  }();
  return key.get();
}
#endif

}  // namespace

SpanMode DefaultSpanMode() {
#ifdef _WIN32
  return SpanMode::kWineFailed;
#else
  return SpanMode::kEncrypted;
#endif
}

LogView::LogView(const fs::path& file) {
  std::error_code ec;
  exists = fs::exists(file, ec);
  if (!exists) return;
  raw = SplitLogLines(ReadFile(file), &endsInCrLf);
  for (size_t i = 0; i < raw.size(); ++i) {
    LogLine line;
    if (ParseLogLine(raw[i], &line)) {
      lines.push_back(std::move(line));
    } else {
      unparsed.push_back(i);
    }
  }
  if (!unparsed.empty()) lines.clear();
}

std::string LogView::ClearMessage(size_t i) const {
#ifdef ORVANE_HAVE_LOG_DECRYPT
  return logdecrypt::DecryptLine(*DevelopmentKey(), lines[i].message);
#else
  return lines[i].message;
#endif
}

std::string LogView::Dump() const {
  std::ostringstream out;
  out << "--- log (" << raw.size() << " lines) ---\n";
  for (size_t i = 0; i < raw.size(); ++i) {
    out << i << ": " << raw[i] << "\n";
#ifdef ORVANE_HAVE_LOG_DECRYPT
    if (i < lines.size() && ClearMessage(i) != lines[i].message) out << "   clear: " << ClearMessage(i) << "\n";
#endif
  }
  return out.str();
}

std::string Base64OfZeros(size_t bytes) {
  std::string out(bytes / 3 * 4, 'A');
  if (bytes % 3 == 1) out += "AA==";
  if (bytes % 3 == 2) out += "AAA=";
  return out;
}

bool ShowsMessage(const LogView& log, size_t index, const std::string& clear, SpanMode mode) {
  const std::string& written = log.lines[index].message;
  switch (mode) {
    case SpanMode::kEncrypted:
      // A line without a path is written as it is; one with a path must not
      // show it in clear, and must decrypt back to it.
      if (clear.find('\\') != std::string::npos && written == clear) return false;
      return log.ClearMessage(index) == clear;
    case SpanMode::kSizeNotes:
      return written == WithSizeNote(clear);
    case SpanMode::kWineFailed: {
      if (written == WithSizeNote(clear)) return true;
      size_t start = 0, end = 0;
      if (!FindPathSpan(clear, &start, &end)) return false;
      const size_t blocks = (end - start + 63) / 64;
      return written == clear.substr(0, start) + Base64OfZeros(blocks * 64) + clear.substr(end);
    }
  }
  return false;
}

::testing::AssertionResult HasLinesInOrder(const LogView& log, const std::vector<ExpectedLine>& expected,
                                           SpanMode mode, size_t from) {
  if (!log.exists) return ::testing::AssertionFailure() << "no log file";
  if (log.lines.empty()) return ::testing::AssertionFailure() << "log does not parse\n" << log.Dump();
  size_t at = from;
  for (size_t e = 0; e < expected.size(); ++e) {
    bool found = false;
    for (; at < log.lines.size(); ++at) {
      if (log.lines[at].level == expected[e].level && ShowsMessage(log, at, expected[e].message, mode)) {
        found = true;
        ++at;
        break;
      }
    }
    if (!found) {
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
