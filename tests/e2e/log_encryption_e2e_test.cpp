// The paths in the launcher's log: encrypted natively (and read back with the
// development private key), size notes with --disallow_encode_log, and the
// encoder's failure road where the platform refuses raw RSA.
#include <string>
#include <vector>

#include "e2e_log.h"
#include "e2e_support.h"
#include "gtest/gtest.h"

namespace e2e {
namespace {

// The lines of one start from "app" whose span the test knows in clear.
std::vector<ExpectedLine> LaunchLines(const std::string& root, const std::string& startTime) {
  return {
      {"ERRO", "Read manifest.json failed, path=" + root + "app\\manifest.json"},
      {"INFO", "CLauncherApp::_LaunchExe, found exe '" + root + "app\\Orvane.exe'"},
      {"INFO", "Launch app cmdline=\"" + root + "app\\Orvane.exe\" * --start_time=" + startTime},
  };
}

std::string StartTimeOf(const ProbeRecord& rec) {
  const std::string prefix = "--start_time=";
  return rec.argv.empty() || rec.argv.back().rfind(prefix, 0) != 0 ? std::string()
                                                                   : rec.argv.back().substr(prefix.size());
}

TEST(LogEncryption, DisallowedEncodingWritesSizeNotesAndNoError) {
  Sandbox box("LogSizeNotes");
  const fs::path launcher = box.InstallLauncher();
  box.AddVersion("app");
  const RunResult run = box.Run(launcher, "--disallow_encode_log");
  ASSERT_TRUE(run.finished);
  EXPECT_TRUE(SameExitCode(run.exitCode, 0)) << run.exitCode;
  const std::vector<ProbeRecord> records = box.WaitForRecords(1);
  ASSERT_EQ(records.size(), 1u);
  // The switch is handed on like any other.
  EXPECT_EQ(records[0].argv.front(), "--disallow_encode_log");

  const LogView log(box.LogPath());
  const std::string root = WinForm(box.root()) + "\\";
  EXPECT_TRUE(HasLinesInOrder(log, LaunchLines(root, StartTimeOf(records[0])), SpanMode::kSizeNotes));
  // The exact note of the launch line: the span is the word cmdline="<path>".
  const std::string span = "cmdline=\"" + root + "app\\Orvane.exe\"";
  EXPECT_EQ(FindMessage(log, "Launch app str size:" + std::to_string(span.size()) + " * --start_time=" +
                                 StartTimeOf(records[0]))
                .size(),
            1u)
      << log.Dump();
  for (size_t i = 0; i < log.lines.size(); ++i) {
    EXPECT_EQ(log.lines[i].message.find('\\'), std::string::npos) << "a path in clear: " << log.raw[i];
    EXPECT_EQ(log.lines[i].message.find("Failed"), std::string::npos) << log.raw[i];
  }
}

#ifndef _WIN32
// Natively the encoder's success road runs: every span is ciphertext that the
// development private key turns back into the clear text.
TEST(LogEncryption, PathsAreEncryptedAndDecryptWithTheDevelopmentKey) {
  Sandbox box("LogEncrypted");
  const fs::path launcher = box.InstallLauncher();
  box.AddVersion("app");
  const RunResult run = box.Run(launcher, "");
  ASSERT_TRUE(run.finished);
  EXPECT_TRUE(SameExitCode(run.exitCode, 0)) << run.exitCode;
  const std::vector<ProbeRecord> records = box.WaitForRecords(1);
  ASSERT_EQ(records.size(), 1u);

  const LogView log(box.LogPath());
  const std::string root = WinForm(box.root()) + "\\";
  EXPECT_TRUE(HasLinesInOrder(log, LaunchLines(root, StartTimeOf(records[0])), SpanMode::kEncrypted));
  for (size_t i = 0; i < log.lines.size(); ++i) {
    EXPECT_EQ(log.lines[i].message.find('\\'), std::string::npos) << "a path in clear: " << log.raw[i];
    EXPECT_EQ(log.lines[i].message.find("str size:"), std::string::npos) << "encoder failed: " << log.raw[i];
  }
  // Size of the ciphertext: one 64-byte block per started 64 bytes of span.
  const std::string span = "cmdline=\"" + root + "app\\Orvane.exe\"";
  const size_t blocks = (span.size() + 63) / 64;
  const std::string prefix = "Launch app ";
  bool seen = false;
  for (const LogLine& line : log.lines) {
    if (line.message.rfind(prefix, 0) != 0) continue;
    seen = true;
    const size_t end = line.message.find(' ', prefix.size());
    ASSERT_NE(end, std::string::npos);
    EXPECT_EQ(end - prefix.size(), (blocks * 64 + 2) / 3 * 4) << line.message;
  }
  EXPECT_TRUE(seen) << log.Dump();
}
#else
// Under Wine the platform refuses raw RSA, and the first span of a run takes
// the encoder's failure road; every later span is a size note. Which road,
// and whether the log sees it, is decided by that first span:
// - in a plain start it is a line of the compatibility-flag clean-up, which
//   names the launcher's path before the log is open: the log holds no error
//   line and no zero blocks, only size notes;
// - with that clean-up switched off it is the manifest probe's line. Wine
//   then answers the PKCS#1 size query of a span longer than 53 bytes (the
//   block less PKCS#1's 11) with 0xC00000E5, which ends in a size note; a
//   shorter span passes the query, the raw block is refused with 0xC0000002,
//   and the span goes out as Base64 of its zero blocks.
platform::Platform& P() { return platform::Get(); }

TEST(LogEncryption, RefusedRawRsaTakesTheFailureRoadOnce) {
  struct Row {
    const char* arguments;
    bool shortRoot;
    bool failureInFile;
  };
  const Row rows[] = {
      {"", false, false},
      {"--ignore_remove_compat_flag", false, true},
      {"--ignore_remove_compat_flag", true, true},
  };
  bool sawSizeQueryFailure = false, sawEncryptFailure = false;
  int index = 0;
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << index << ": " << row.arguments);
    const std::string name = "LogWineFailure-" + std::to_string(index++) + "-with-a-long-enough-install-root";
    const fs::path shortRoot = fs::path("C:\\oe") / std::to_string(P().ProcessId());
    Sandbox box(name, row.shortRoot ? shortRoot : fs::path());
    const fs::path launcher = box.InstallLauncher();
    box.AddVersion("app");
    const RunResult run = box.Run(launcher, row.arguments);
    ASSERT_TRUE(run.finished);
    EXPECT_TRUE(SameExitCode(run.exitCode, 0)) << run.exitCode;
    const std::vector<ProbeRecord> records = box.WaitForRecords(1);
    ASSERT_EQ(records.size(), 1u);

    const LogView log(box.LogPath());
    ASSERT_FALSE(log.lines.empty()) << log.Dump();
    const std::string root = WinForm(box.root()) + "\\";
    const std::vector<ExpectedLine> lines = LaunchLines(root, StartTimeOf(records[0]));
    const std::vector<size_t> sizeQuery = FindMessage(log, "Failed to get required size of buffer..status:c00000e5");
    const std::vector<size_t> encrypt = FindMessage(log, "Failed encrypt data..status:c0000002");

    if (!row.failureInFile) {
      EXPECT_TRUE(sizeQuery.empty() && encrypt.empty()) << log.Dump();
      EXPECT_TRUE(HasLinesInOrder(log, lines, SpanMode::kSizeNotes));
      for (const LogLine& line : log.lines) EXPECT_EQ(line.message.find("AAAA"), std::string::npos) << line.message;
      continue;
    }
    const std::string& first = lines[0].message;
    size_t start = 0, end = 0;
    ASSERT_TRUE(FindPathSpan(first, &start, &end));
    const size_t spanBytes = end - start;
    const bool passesSizeQuery = spanBytes <= 53;
    const std::vector<size_t>& errors = passesSizeQuery ? encrypt : sizeQuery;
    EXPECT_EQ(sizeQuery.size() + encrypt.size(), 1u) << log.Dump();
    ASSERT_EQ(errors.size(), 1u) << "span of " << spanBytes << " bytes\n" << log.Dump();
    ASSERT_LT(errors[0] + 1, log.lines.size());
    EXPECT_EQ(log.lines[errors[0]].level, "ERRO");
    // The error line goes to the file before the line that caused it.
    const std::string shown = passesSizeQuery
                                  ? first.substr(0, start) + Base64OfZeros((spanBytes + 63) / 64 * 64) + first.substr(end)
                                  : WithSizeNote(first);
    EXPECT_EQ(log.lines[errors[0] + 1].message, shown);
    EXPECT_TRUE(HasLinesInOrder(log, {lines[1], lines[2]}, SpanMode::kSizeNotes, errors[0] + 2));
    (passesSizeQuery ? sawEncryptFailure : sawSizeQueryFailure) = true;
  }
  EXPECT_TRUE(sawEncryptFailure && sawSizeQueryFailure) << "both failure roads are covered";
}
#endif

}  // namespace
}  // namespace e2e
