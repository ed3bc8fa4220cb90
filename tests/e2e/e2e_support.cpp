#include "e2e_support.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <system_error>
#include <utility>

#include "cJSON.h"
#include "platform/processes/argv_rules.h"
#include "platform/text/unicode.h"
#include "toolkit/task_housekeeping.h"

#ifdef ORVANE_HAVE_LOG_DECRYPT
#include "log_decrypt_lib.h"
#endif

namespace e2e {

namespace {

std::u16string U16(const std::string& utf8) { return platform::Utf8ToUtf16(utf8); }

fs::path ProgramFromEnv(const char* name) {
  const char* value = std::getenv(name);
  std::string text = value != nullptr ? value : "";
#ifdef _WIN32
  // Under Wine the build hands over Linux paths: /x/y is Z:\x\y.
  if (!text.empty() && text[0] == '/') text = "Z:" + WinForm(fs::u8path(text));
#endif
  return fs::u8path(text);
}

std::string JsonText(const cJSON* root, const char* key) {
  const cJSON* item = root == nullptr ? nullptr : cJSON_GetObjectItemCaseSensitive(root, key);
  return cJSON_IsString(item) && item->valuestring != nullptr ? item->valuestring : "";
}

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

fs::path LauncherProgram() { return ProgramFromEnv("ORVANE_LAUNCHER"); }
fs::path ProbeProgram() { return ProgramFromEnv("ORVANE_PROBE"); }
fs::path SignedDir() { return ProgramFromEnv("ORVANE_SIGNED_DIR"); }
fs::path ReleaseSetDir() { return ProgramFromEnv("ORVANE_RELEASE_SET_DIR"); }
// A variant carries the launcher's own extension (".exe" on Windows).
fs::path VariantProgram(const std::string& name) {
  return ProgramFromEnv("ORVANE_VARIANTS_DIR") / (name + LauncherProgram().extension().u8string());
}

CProductConfig ShippedNames() {
  CProductConfig config;
  config.install_dir_name = u"Orvane";
  config.exe_file_name = u"Orvane.exe";
  return config;
}

void ClearLeftoverTask() {
  DeleteUpdateTask(u"OrvaneUpdateTaskMachineUA", u"");
  RemoveTaskLauncherCopy(ShippedNames());
}

std::string WinForm(const fs::path& path) {
  std::string text = path.u8string();
  std::replace(text.begin(), text.end(), '/', '\\');
  return text;
}

std::u16string Native16(const fs::path& path) { return U16(path.u8string()); }

std::string ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void WriteFile(const fs::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

::testing::AssertionResult EndedWith(const RunResult& run, int32_t expected) {
  uint32_t want = static_cast<uint32_t>(expected);
#ifndef _WIN32
  want &= 0xFFu;
#endif
  if (!run.finished) return ::testing::AssertionFailure() << (run.why.empty() ? "did not start" : run.why);
  if (run.exitCode == want) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "exit code " << run.exitCode << ", not " << want;
}

Sandbox::Sandbox(const std::string& name, const fs::path& root) {
  auto& env = platform::Service<platform::Environment>();
  // The tests of one process share a scratch directory named by its id.
  const char* scratch = std::getenv("ORVANE_E2E_TMP");
  base_ = (scratch != nullptr && *scratch != '\0' ? fs::u8path(scratch) : fs::temp_directory_path()) /
          ("orvane-e2e-" + std::to_string(env.ProcessId())) / name;
  root_ = root.empty() ? base_ / "root" : root;
  local_ = base_ / "local";
  record_ = base_ / "probe-records.jsonl";
  std::error_code ec;
  fs::remove_all(base_, ec);
  fs::remove_all(root_, ec);
  for (const fs::path& dir : {root_, local_, base_ / "roaming", base_ / "objects"}) fs::create_directories(dir);

  for (const auto& [name, dir] : {std::pair{u"LOCALAPPDATA", local_},
                                  {u"APPDATA", base_ / "roaming"},
                                  {u"ORVANE_OBJECT_NAMESPACE", base_ / "objects"},
                                  {u"ORVANE_PROBE_RECORD", record_}}) {
    const std::u16string value = Native16(dir);
    env.SetEnv(name, &value);
  }
  // No graphical session: a message box is a line on standard error and
  // never waits for a person.
  for (const char16_t* name : {u"ORVANE_PROBE_STAY_MS", u"DISPLAY", u"WAYLAND_DISPLAY"}) env.SetEnv(name, nullptr);
}

Sandbox::~Sandbox() {
  auto& processes = platform::Service<platform::Processes>();
  for (const platform::ProcessInfo& child : started_) {
    uint32_t code = 0;
    if (processes.ExitCodeOf(child.process, &code) && code == 259 /* STILL_ACTIVE */) {
      processes.Terminate(child.process, 1);
      processes.WaitOne(child.process, 5000);
    }
    processes.CloseObject(child.process);
  }
  if (const char* keep = std::getenv("ORVANE_E2E_KEEP"); keep != nullptr && *keep != '\0') return;
  // Files of a process that has only just ended may stay locked for a moment
  // on Windows.
  PollFor(2000, [this] {
    std::error_code ec;
    fs::remove_all(root_, ec);
    fs::remove_all(base_, ec);
    return !ec && !fs::exists(base_, ec) && !fs::exists(root_, ec);
  });
}

fs::path Sandbox::InstallLauncher(const fs::path& program) {
  const fs::path target = root_ / program.filename();
  fs::copy_file(program, target, fs::copy_options::overwrite_existing);
  return target;
}

std::string Quoted(const fs::path& path) { return "\"" + WinForm(path) + "\""; }

std::string BrokerSwitches(const fs::path& child) {
  return "--command=run_update --run-type=run_update --run-exe=" + Quoted(child);
}

fs::path Sandbox::InstallBrokerPair(const fs::path& launcher, const fs::path& child) {
  fs::copy_file(launcher, root_ / "Orvane.exe");
  const fs::path placed = root_ / "updater" / "child.exe";
  fs::create_directories(placed.parent_path());
  fs::copy_file(child, placed);
  return placed;
}

fs::path Sandbox::AddVersion(const std::string& dirName, const std::string& exeName) {
  const fs::path exe = root_ / fs::u8path(dirName) / fs::u8path(exeName);
  fs::create_directories(exe.parent_path());
  fs::copy_file(ProbeProgram(), exe, fs::copy_options::overwrite_existing);
  return exe;
}

bool Sandbox::Start(const fs::path& program, const std::string& argumentText, platform::ProcessInfo* child) {
  return StartLine(u"\"" + U16(WinForm(program)) + u"\"", argumentText, child);
}

bool Sandbox::StartLine(std::u16string commandLine, const std::string& argumentText, platform::ProcessInfo* child) {
  auto& processes = platform::Service<platform::Processes>();
  if (!argumentText.empty()) commandLine += u" " + U16(argumentText);
  if (!processes.StartProcess(commandLine, u"", child)) {
    // A start the system refuses is the harness's problem, not the program's:
    // say why on standard error, and try once more.
    const uint32_t error = platform::LastError();
    std::fprintf(stderr, "start refused with error %u, trying once more: %s\n", static_cast<unsigned>(error),
                 platform::Utf16ToUtf8(commandLine).c_str());
    if (!processes.StartProcess(commandLine, u"", child)) {
      std::fprintf(stderr, "start refused again with error %u\n", static_cast<unsigned>(platform::LastError()));
      return false;
    }
  }
  if (child->thread != nullptr) processes.CloseObject(child->thread);
  child->thread = nullptr;
  started_.push_back(*child);
  return true;
}

RunResult Sandbox::Wait(const platform::ProcessInfo& child, uint32_t timeoutMs) {
  auto& processes = platform::Service<platform::Processes>();
  RunResult result;
  result.pid = child.pid;
  const uint32_t waited = processes.WaitOne(child.process, timeoutMs);
  if (waited != platform::kWaitObject0) {
    result.why = "wait answered " + std::to_string(waited) + " (error " + std::to_string(platform::LastError()) +
                 ") after at most " + std::to_string(timeoutMs) + " ms; killed";
    processes.Terminate(child.process, 0xDEAD);
    processes.WaitOne(child.process, 5000);
    return result;
  }
  result.finished = processes.ExitCodeOf(child.process, &result.exitCode);
  if (!result.finished) result.why = "exit code unreadable, error " + std::to_string(platform::LastError());
  return result;
}

RunResult Sandbox::Run(const fs::path& program, const std::string& argumentText) {
  platform::ProcessInfo child;
#ifdef _WIN32
  return Start(program, argumentText, &child) ? Wait(child) : RunResult{};
#else
  // sh -c 'exec 2>"$0"; exec "$@"' <errFile> <program> <arguments...>: the
  // program itself under the same process id, its standard error in a file.
  const fs::path errFile = base_ / "stderr.txt";
  if (!StartLine(u"/bin/sh " + platform::JoinArguments({u"-c", u"exec 2>\"$0\"; exec \"$@\"", Native16(errFile),
                                                         Native16(program)}),
                 argumentText, &child)) {
    return RunResult{};
  }
  RunResult result = Wait(child);
  result.stderrText = ReadFile(errFile);
  return result;
#endif
}

std::vector<ProbeRecord> Sandbox::Records() const {
  std::vector<ProbeRecord> records;
  std::istringstream lines(ReadFile(record_));
  for (std::string line; std::getline(lines, line);) {
    cJSON* root = cJSON_Parse(line.c_str());
    if (root == nullptr) continue;
    ProbeRecord r{{}, JsonText(root, "cmdline"), JsonText(root, "cwd"), JsonText(root, "exe")};
    const cJSON* arg = nullptr;
    cJSON_ArrayForEach(arg, cJSON_GetObjectItemCaseSensitive(root, "argv")) {
      r.argv.push_back(cJSON_IsString(arg) ? arg->valuestring : "");
    }
    cJSON_Delete(root);
    records.push_back(std::move(r));
  }
  return records;
}

std::vector<ProbeRecord> Sandbox::WaitForRecords(size_t count) const {
  std::vector<ProbeRecord> records;
  PollFor(10000, [&] { return (records = Records()).size() >= count; });
  return records;
}

std::vector<std::string> Sandbox::RootEntries() const {
  std::vector<std::string> names;
  std::error_code ec;
  for (const auto& entry : fs::directory_iterator(root_, ec)) names.push_back(entry.path().filename().u8string());
  std::sort(names.begin(), names.end());
  return names;
}

std::string Pid5(uint32_t pid) {
  const std::string digits = std::to_string(pid);
  return std::string(5 - std::min<size_t>(5, digits.size()), ' ') + digits;
}

bool FindPathSpan(const std::string& message, size_t* start, size_t* end) {
  const size_t first = message.find('\\');
  if (first == std::string::npos) return false;
  const size_t blankBefore = message.rfind(' ', first);
  *start = blankBefore == std::string::npos ? 0 : blankBefore + 1;
  *end = std::min(message.find(' ', message.rfind('\\')), message.size());
  return true;
}

std::string WithSizeNote(const std::string& message) {
  size_t start = 0, end = 0;
  if (!FindPathSpan(message, &start, &end)) return message;
  return message.substr(0, start) + "str size:" + std::to_string(end - start) + message.substr(end);
}

std::string Base64OfZeros(size_t bytes) {
  return std::string(bytes / 3 * 4, 'A') + (bytes % 3 == 1 ? "AA==" : bytes % 3 == 2 ? "AAA=" : "");
}

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

bool LogHolds(const LogView& log, const std::string& text) {
  return std::any_of(log.lines.begin(), log.lines.end(),
                     [&](const LogLine& line) { return line.message.find(text) != std::string::npos; });
}

}  // namespace e2e
