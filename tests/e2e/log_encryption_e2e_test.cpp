// The paths in the launcher's log: size notes with --disallow_encode_log, the
// encoder's failure road where the platform refuses raw RSA, and natively the
// support tool, orvane-log-decrypt, on a log the launcher really wrote, read
// with the right key and with another. Single lines, size notes among them,
// are LogEncryptionTest.DecryptLineRestoresSpansAndMarksWhatTheKeyCannotRead.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "e2e_support.h"
#include "gtest/gtest.h"

#if defined(ORVANE_HAVE_LOG_DECRYPT) && !defined(_WIN32)
#include <sys/wait.h>
#endif

namespace e2e {
namespace {

// Starts the launcher once from "app" with `arguments`; returns the lines of
// that start whose span the test knows, in clear.
std::vector<ExpectedLine> StartOnce(Sandbox& box, const std::string& arguments) {
  const fs::path launcher = box.InstallWithApp();
  EXPECT_TRUE(EndedWith(box.Run(launcher, arguments), 0));
  const std::vector<ProbeRecord> records = box.WaitForRecords(1);
  EXPECT_EQ(records.size(), 1u);
  const std::string R = box.RootText();
  const std::string startTime = records.empty() || records[0].argv.empty() ? "" : records[0].argv.back();
  return {
      {"ERRO", "Read manifest.json failed, path=" + R + "app\\manifest.json"},
      {"INFO", "CLauncherApp::_LaunchExe, found exe '" + R + "app\\Orvane.exe'"},
      {"INFO", "Launch app cmdline=\"" + R + "app\\Orvane.exe\" * " + startTime},
  };
}

// The span of the launch line: the word cmdline="<path>".
size_t LaunchSpan(const Sandbox& box) { return ("cmdline=\"" + box.RootText() + "app\\Orvane.exe\"").size(); }

TEST(LogEncryption, DisallowedEncodingWritesSizeNotesAndNoError) {
  Sandbox box("LogSizeNotes");
  const std::vector<ExpectedLine> lines = StartOnce(box, "--disallow_encode_log");
  ASSERT_EQ(box.Records().size(), 1u);
  EXPECT_EQ(box.Records()[0].argv.front(), "--disallow_encode_log") << "handed on like any other switch";
  const LogView log(box.LogPath());
  EXPECT_TRUE(HasLinesInOrder(log, lines, SpanMode::kSizeNotes));
  const std::string startTime = box.Records()[0].argv.back();
  EXPECT_EQ(FindMessage(log, "Launch app str size:" + std::to_string(LaunchSpan(box)) + " * " + startTime).size(), 1u)
      << log.Dump();
  for (size_t i = 0; i < log.lines.size(); ++i) {
    EXPECT_EQ(log.lines[i].message.find('\\'), std::string::npos) << "a path in clear: " << log.raw[i];
    EXPECT_EQ(log.lines[i].message.find("Failed"), std::string::npos) << log.raw[i];
  }
}

#ifdef _WIN32
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
TEST(LogEncryption, RefusedRawRsaTakesTheFailureRoadOnce) {
  const struct {
    const char* arguments;
    bool shortRoot, failureInFile;
  } rows[] = {
      {"", false, false}, {"--ignore_remove_compat_flag", false, true}, {"--ignore_remove_compat_flag", true, true}};
  bool sawSizeQueryFailure = false, sawEncryptFailure = false;
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(testing::Message() << "row " << i << ": " << rows[i].arguments);
    const fs::path shortRoot =
        fs::path("C:\\oe") / std::to_string(platform::Service<platform::Environment>().ProcessId());
    Sandbox box("LogWineFailure-" + std::to_string(i) + "-with-a-long-enough-install-root",
                rows[i].shortRoot ? shortRoot : fs::path());
    const std::vector<ExpectedLine> lines = StartOnce(box, rows[i].arguments);
    const LogView log(box.LogPath());
    ASSERT_FALSE(log.lines.empty()) << log.Dump();
    const std::vector<size_t> sizeQuery = FindMessage(log, "Failed to get required size of buffer..status:c00000e5");
    const std::vector<size_t> encrypt = FindMessage(log, "Failed encrypt data..status:c0000002");
    if (!rows[i].failureInFile) {
      EXPECT_TRUE(sizeQuery.empty() && encrypt.empty()) << log.Dump();
      EXPECT_TRUE(HasLinesInOrder(log, lines, SpanMode::kSizeNotes));
      for (const LogLine& line : log.lines) EXPECT_EQ(line.message.find("AAAA"), std::string::npos) << line.message;
      continue;
    }
    const std::string& first = lines[0].message;
    size_t start = 0, end = 0;
    ASSERT_TRUE(FindPathSpan(first, &start, &end));
    const bool passesSizeQuery = end - start <= 53;
    const std::vector<size_t>& errors = passesSizeQuery ? encrypt : sizeQuery;
    EXPECT_EQ(sizeQuery.size() + encrypt.size(), 1u) << log.Dump();
    ASSERT_EQ(errors.size(), 1u) << "span of " << end - start << " bytes\n" << log.Dump();
    ASSERT_LT(errors[0] + 1, log.lines.size());
    EXPECT_EQ(log.lines[errors[0]].level, "ERRO");
    // The error line goes to the file before the line that caused it.
    EXPECT_EQ(log.lines[errors[0] + 1].message,
              passesSizeQuery ? first.substr(0, start) + Base64OfZeros((end - start + 63) / 64 * 64) + first.substr(end)
                              : WithSizeNote(first));
    EXPECT_TRUE(HasLinesInOrder(log, {lines[1], lines[2]}, SpanMode::kSizeNotes, errors[0] + 2));
    (passesSizeQuery ? sawEncryptFailure : sawSizeQueryFailure) = true;
  }
  EXPECT_TRUE(sawEncryptFailure && sawSizeQueryFailure) << "both failure roads are covered";
}
#endif

#if defined(ORVANE_HAVE_LOG_DECRYPT) && !defined(_WIN32)
const std::string kDevKey = ORVANE_TEST_KEYS_DIR "/dev_log_private.pem";
const std::string kOtherKey = ORVANE_TEST_KEYS_DIR "/other_log_private.pem";
constexpr char kMark[] = "[cannot decrypt: ";

std::string Quote(const std::string& text) {
  std::string out = "'";
  for (char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

struct ToolRun {
  int status = -1;
  std::string out;
};

// Runs the tool with a shell command tail (arguments, redirections); its
// standard error is dropped, its standard output kept whole.
ToolRun RunTool(const std::string& tail) {
  const char* tool = std::getenv("ORVANE_LOG_DECRYPT");
  EXPECT_NE(tool, nullptr) << "ORVANE_LOG_DECRYPT is not set";
  ToolRun run;
  if (tool == nullptr) return run;
  FILE* pipe = popen((Quote(tool) + " " + tail + " 2>/dev/null").c_str(), "r");
  if (pipe == nullptr) return run;
  char buffer[4096];
  for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) run.out.append(buffer, n);
  const int raw = pclose(pipe);
  run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  return run;
}

std::vector<std::string> SplitCrLf(const std::string& text) {
  std::vector<std::string> lines;
  for (size_t pos = 0, end; pos < text.size(); pos = end + 2) {
    end = std::min(text.find("\r\n", pos), text.size());
    lines.push_back(text.substr(pos, end - pos));
  }
  return lines;
}

// One log, written natively with no path in clear, read with the right key
// (from a file and from standard input) and with another key: every line
// comes out; a line without a span byte for byte, a span in clear or, with
// the other key, marked with its token kept.
TEST(LogTool, PrintsPathsInClearAndMarksWhatAnotherKeyCannotRead) {
  Sandbox box("LogTool");
  StartOnce(box, "");
  const fs::path logPath = box.LogPath();
  const std::string log = Quote(logPath.string());
  const std::vector<std::string> in = SplitCrLf(ReadFile(logPath));
  const ToolRun right = RunTool("--key " + Quote(kDevKey) + " " + log);
  const ToolRun piped = RunTool("--key=" + Quote(kDevKey) + " < " + log);
  const ToolRun wrong = RunTool("--key " + Quote(kOtherKey) + " " + log);
  EXPECT_EQ(right.status, 0);
  EXPECT_EQ(piped.out, right.out);
  EXPECT_EQ(wrong.status, 1) << "marked spans make the run count as incomplete";
  const std::string R = box.RootText();
  for (const std::string& line : {"] Read manifest.json failed, path=" + R + "app\\manifest.json\r\n",
                                  "] CLauncherApp::_LaunchExe, found exe '" + R + "app\\Orvane.exe'\r\n",
                                  "] Launch app cmdline=\"" + R + "app\\Orvane.exe\" "}) {
    EXPECT_NE(right.out.find(line), std::string::npos) << line << right.out;
  }
  const std::vector<std::string> clear = SplitCrLf(right.out), marked = SplitCrLf(wrong.out);
  ASSERT_EQ(clear.size(), in.size());
  ASSERT_EQ(marked.size(), in.size());
  size_t spans = 0;
  for (size_t i = 0; i < in.size(); ++i) {
    EXPECT_EQ(in[i].find('\\'), std::string::npos) << "a path in clear: " << in[i];
    EXPECT_EQ(clear[i].find(kMark), std::string::npos) << clear[i];
    if (clear[i] == in[i]) {
      EXPECT_EQ(marked[i], in[i]) << "a line without a span stays as it is";
      continue;
    }
    ++spans;
    const size_t mark = marked[i].find(kMark);
    const size_t close = marked[i].find(']', mark);
    ASSERT_NE(close, std::string::npos) << marked[i];
    const std::string token = marked[i].substr(mark + sizeof(kMark) - 1, close - mark - (sizeof(kMark) - 1));
    EXPECT_EQ(marked[i].substr(0, mark) + token + marked[i].substr(close + 1), in[i]);
  }
  EXPECT_GE(spans, 2u);
}

TEST(LogTool, CommandLineAndInputFaults) {
  Sandbox box("LogToolFaults");
  StartOnce(box, "");
  const std::string log = Quote(box.LogPath().string()), key = " --key " + Quote(kDevKey) + " ";
  const std::string missing = Quote((box.base() / "no-such.log").string());
  const std::string whole = RunTool(key + log).out;
  ASSERT_FALSE(whole.empty());
  struct Row {
    std::string tail;
    int status;
    std::string out;
  } rows[] = {
      {log, 2, ""},                                     // no key
      {"--key " + missing + " " + log, 2, ""},          // key file missing
      {"--key " + log + " " + log, 2, ""},              // a log is no PEM key
      {"--frobnicate" + key + log, 2, ""},              // unknown option
      {key + missing + " " + log, 1, whole},            // one log unreadable, the other printed
  };
  for (const Row& row : rows) {
    const ToolRun run = RunTool(row.tail);
    EXPECT_EQ(run.status, row.status) << row.tail;
    EXPECT_EQ(run.out, row.out) << row.tail;
  }
}

#endif

}  // namespace
}  // namespace e2e
