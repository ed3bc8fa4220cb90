// The support tool on logs the launcher really wrote: the launcher runs in a
// sandbox, then orvane-log-decrypt reads its log with the right key and with
// another key. Single lines, size notes among them, are
// LogEncryptionTest.DecryptLineRestoresSpansAndMarksWhatTheKeyCannotRead.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "e2e_support.h"
#include "gtest/gtest.h"

#if defined(ORVANE_HAVE_LOG_DECRYPT) && !defined(_WIN32)
#include <sys/wait.h>

namespace e2e {
namespace {

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
  for (size_t pos = 0; pos < text.size();) {
    size_t end = text.find("\r\n", pos);
    if (end == std::string::npos) end = text.size();
    lines.push_back(text.substr(pos, end - pos));
    pos = end + 2;
  }
  return lines;
}

// One normal start from "app"; the log file it wrote.
fs::path StartOnce(Sandbox& box, const std::string& arguments) {
  const fs::path launcher = box.InstallWithApp();
  EXPECT_TRUE(EndedWith(box.Run(launcher, arguments), 0));
  EXPECT_EQ(box.WaitForRecords(1).size(), 1u);
  return box.LogPath();
}

// One log, written natively with no path in clear, read with the right key
// (from a file and from standard input) and with another key: every line
// comes out; a line without a span byte for byte, a span in clear or, with
// the other key, marked with its token kept.
TEST(LogTool, PrintsPathsInClearAndMarksWhatAnotherKeyCannotRead) {
  Sandbox box("LogTool");
  const fs::path logPath = StartOnce(box, "");
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
  const std::string log = Quote(StartOnce(box, "").string()), key = " --key " + Quote(kDevKey) + " ";
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

}  // namespace
}  // namespace e2e
#endif
