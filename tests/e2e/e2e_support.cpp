#include "e2e_support.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>
#include <thread>

#include "cJSON.h"
#include "platform/argv_rules.h"
#include "platform/unicode.h"

namespace e2e {

namespace {

platform::Platform& P() { return platform::Get(); }

std::u16string U16(const std::string& utf8) { return platform::Utf8ToUtf16(utf8); }

void SleepMs(uint32_t ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

// The per-run scratch directory, shared by the tests of one process.
fs::path ScratchBase() {
  static const fs::path base = [] {
    fs::path dir;
    if (const char* env = std::getenv("ORVANE_E2E_TMP"); env != nullptr && *env != '\0') {
      dir = fs::u8path(env);
    } else {
      std::error_code ec;
      dir = fs::temp_directory_path(ec);
      if (ec) dir = fs::current_path();
    }
    return dir / ("orvane-e2e-" + std::to_string(platform::Get().ProcessId()));
  }();
  return base;
}

std::string JsonText(const cJSON* item) {
  return (item != nullptr && cJSON_IsString(item) && item->valuestring != nullptr) ? item->valuestring
                                                                                      : std::string();
}

bool ParseRecord(const std::string& line, ProbeRecord* out) {
  cJSON* root = cJSON_Parse(line.c_str());
  if (root == nullptr) return false;
  ProbeRecord r;
  const cJSON* argv = cJSON_GetObjectItemCaseSensitive(root, "argv");
  const cJSON* arg = nullptr;
  cJSON_ArrayForEach(arg, argv) { r.argv.push_back(JsonText(arg)); }
  r.cmdline = JsonText(cJSON_GetObjectItemCaseSensitive(root, "cmdline"));
  r.cwd = JsonText(cJSON_GetObjectItemCaseSensitive(root, "cwd"));
  r.exe = JsonText(cJSON_GetObjectItemCaseSensitive(root, "exe"));
  const cJSON* pid = cJSON_GetObjectItemCaseSensitive(root, "pid");
  r.pid = cJSON_IsNumber(pid) ? static_cast<uint32_t>(pid->valuedouble) : 0;
  // start_ns does not fit a double exactly: read it from the text.
  const std::string key = "\"start_ns\":";
  const size_t at = line.find(key);
  r.startNs = at == std::string::npos ? 0 : std::strtoull(line.c_str() + at + key.size(), nullptr, 10);
  cJSON_Delete(root);
  *out = std::move(r);
  return true;
}

}  // namespace

void SetEnv(const std::u16string& name, const std::u16string& value) { P().SetEnv(name, &value); }
void UnsetEnv(const std::u16string& name) { P().SetEnv(name, nullptr); }

fs::path ProgramFromEnv(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value == '\0') return {};
  std::string text = value;
#ifdef _WIN32
  // Under Wine the build hands over Linux paths: /x/y is Z:\x\y.
  if (!text.empty() && text[0] == '/') {
    std::replace(text.begin(), text.end(), '/', '\\');
    text = "Z:" + text;
  }
#endif
  return fs::u8path(text);
}

fs::path LauncherProgram() { return ProgramFromEnv("ORVANE_LAUNCHER"); }
fs::path ProbeProgram() { return ProgramFromEnv("ORVANE_PROBE"); }

fs::path VariantProgram(const std::string& name) {
  fs::path dir = ProgramFromEnv("ORVANE_VARIANTS_DIR");
#ifdef _WIN32
  return dir / (name + ".exe");
#else
  return dir / name;
#endif
}

std::string WinForm(const fs::path& path) {
  std::string text = path.u8string();
  std::replace(text.begin(), text.end(), '/', '\\');
  return text;
}

std::u16string WinForm16(const fs::path& path) { return U16(WinForm(path)); }
std::u16string Native16(const fs::path& path) { return U16(path.u8string()); }

std::string ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return {};
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

void WriteFile(const fs::path& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

bool ExitCodeIsCutTo8Bits() {
#ifdef _WIN32
  return false;
#else
  return true;
#endif
}

bool SameExitCode(uint32_t actual, int32_t expected) {
  const uint32_t full = static_cast<uint32_t>(expected);
  return ExitCodeIsCutTo8Bits() ? actual == (full & 0xFFu) : actual == full;
}

std::vector<std::string> SplitLogLines(const std::string& bytes, bool* wellFormed) {
  std::vector<std::string> lines;
  *wellFormed = bytes.empty() || (bytes.size() >= 2 && bytes.compare(bytes.size() - 2, 2, "\r\n") == 0);
  size_t pos = 0;
  while (pos < bytes.size()) {
    size_t end = bytes.find("\r\n", pos);
    if (end == std::string::npos) end = bytes.size();
    std::string line = bytes.substr(pos, end - pos);
    if (line.find_first_of("\r\n") != std::string::npos) *wellFormed = false;
    lines.push_back(std::move(line));
    pos = end + 2;
  }
  return lines;
}

bool ParseLogLine(const std::string& line, LogLine* out) {
  // Parsed by hand: a log line may run to thousands of characters, more than
  // a backtracking regex engine should be given.
  auto digit = [](char c) { return c >= '0' && c <= '9'; };
  static const char kTimeShape[] = "dddd-dd-dd dd:dd:dd.ddd";
  if (line.size() < 23) return false;
  for (size_t i = 0; i < 23; ++i) {
    if (kTimeShape[i] == 'd' ? !digit(line[i]) : line[i] != kTimeShape[i]) return false;
  }
  size_t pos = 23;
  auto expect = [&](const char* text) {
    const size_t n = std::char_traits<char>::length(text);
    if (line.compare(pos, n, text) != 0) return false;
    pos += n;
    return true;
  };
  auto field = [&](char close, std::string* value) {
    const size_t end = line.find(close, pos);
    if (end == std::string::npos) return false;
    *value = line.substr(pos, end - pos);
    pos = end + 1;
    return true;
  };
  LogLine r;
  r.time = line.substr(0, 23);
  if (!expect(" [") || !field(']', &r.level) || !expect("[") || !field(']', &r.pidField) || !expect("[") ||
      !field(']', &r.tidField) || !expect(" [") || !field(']', &r.tag) || !expect(" ")) {
    return false;
  }
  r.message = line.substr(pos);
  if (r.level != "DEBG" && r.level != "INFO" && r.level != "WARN" && r.level != "ERRO") return false;
  // "%5d": at least five columns, blank-filled on the left only when shorter.
  for (const std::string* f : {&r.pidField, &r.tidField}) {
    const size_t firstDigit = f->find_first_not_of(' ');
    if (f->size() < 5 || firstDigit == std::string::npos) return false;
    if (f->size() > 5 && firstDigit != 0) return false;
    for (size_t i = firstDigit; i < f->size(); ++i) {
      if (!digit((*f)[i])) return false;
    }
  }
  *out = std::move(r);
  return true;
}

std::string Pid5(uint32_t pid) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%5u", pid);
  return buf;
}

bool FindPathSpan(const std::string& message, size_t* start, size_t* end) {
  const size_t first = message.find('\\');
  if (first == std::string::npos) return false;
  const size_t last = message.rfind('\\');
  const size_t blankBefore = message.rfind(' ', first);
  *start = blankBefore == std::string::npos ? 0 : blankBefore + 1;
  const size_t blankAfter = message.find(' ', last);
  *end = blankAfter == std::string::npos ? message.size() : blankAfter;
  return true;
}

std::string WithSizeNote(const std::string& message) {
  size_t start = 0, end = 0;
  if (!FindPathSpan(message, &start, &end)) return message;
  return message.substr(0, start) + "str size:" + std::to_string(end - start) + message.substr(end);
}

Sandbox::Sandbox(const std::string& name) : Sandbox(name, fs::path()) {}

Sandbox::Sandbox(const std::string& name, const fs::path& root) {
  base_ = ScratchBase() / name;
  std::error_code ec;
  fs::remove_all(base_, ec);
  root_ = root.empty() ? base_ / "root" : root;
  if (!root.empty()) {
    fs::remove_all(root_, ec);
    separateRoot_ = true;
  }
  local_ = base_ / "local";
  roaming_ = base_ / "roaming";
  objects_ = base_ / "objects";
  record_ = base_ / "probe-records.jsonl";
  for (const fs::path& dir : {root_, local_, roaming_, objects_}) fs::create_directories(dir);

  SetEnv(u"LOCALAPPDATA", Native16(local_));
  SetEnv(u"APPDATA", Native16(roaming_));
  SetEnv(u"ORVANE_OBJECT_NAMESPACE", Native16(objects_));
  SetEnv(u"ORVANE_PROBE_RECORD", Native16(record_));
  UnsetEnv(u"ORVANE_PROBE_STAY_MS");
  // No graphical session: a message box is a line on standard error and
  // never waits for a person.
  UnsetEnv(u"DISPLAY");
  UnsetEnv(u"WAYLAND_DISPLAY");
}

Sandbox::~Sandbox() {
  for (const Child& child : started_) {
    uint32_t code = 0;
    if (P().ExitCodeOf(child.process, &code) && code == 259) {
      P().Terminate(child.process, 1);
      P().WaitOne(child.process, 5000);
    }
    P().CloseObject(child.process);
  }
  if (const char* keep = std::getenv("ORVANE_E2E_KEEP"); keep != nullptr && *keep != '\0') return;
  // Files of a process that has only just ended may stay locked for a moment
  // on Windows.
  for (int attempt = 0; attempt < 20; ++attempt) {
    std::error_code ec;
    if (separateRoot_) fs::remove_all(root_, ec);
    fs::remove_all(base_, ec);
    if (!ec && !fs::exists(base_, ec) && !fs::exists(root_, ec)) break;
    SleepMs(100);
  }
}

fs::path Sandbox::InstallLauncher(const fs::path& program) {
  const fs::path target = root_ / program.filename();
  fs::copy_file(program, target, fs::copy_options::overwrite_existing);
  return target;
}

fs::path Sandbox::AddVersion(const std::string& dirName, const std::string& exeName) {
  const fs::path exe = root_ / fs::u8path(dirName) / fs::u8path(exeName);
  fs::create_directories(exe.parent_path());
  fs::copy_file(ProbeProgram(), exe, fs::copy_options::overwrite_existing);
  return exe;
}

fs::path Sandbox::LogPath() const {
  return local_ / "Orvane" / "User Data" / "sdk_storage" / "log" / "Orvane-launcher.log";
}

fs::path Sandbox::ReportPath() const { return local_ / "Orvane" / "User Data" / "update" / "update_report.json"; }

fs::path Sandbox::IniPath() const { return root_ / "Orvane.ini"; }

bool Sandbox::Start(const fs::path& program, const std::string& argumentText, Child* child) {
  std::u16string commandLine = u"\"" + WinForm16(program) + u"\"";
  if (!argumentText.empty()) commandLine += u" " + U16(argumentText);
  platform::ProcessInfo info;
  if (!P().StartProcess(commandLine, u"", &info)) return false;
  if (info.thread != nullptr) P().CloseObject(info.thread);
  child->process = info.process;
  child->pid = info.pid;
  started_.push_back(*child);
  return true;
}

RunResult Sandbox::Wait(const Child& child, uint32_t timeoutMs) {
  RunResult result;
  result.pid = child.pid;
  if (P().WaitOne(child.process, timeoutMs) != platform::kWaitObject0) {
    P().Terminate(child.process, 0xDEAD);
    P().WaitOne(child.process, 5000);
    return result;
  }
  result.finished = P().ExitCodeOf(child.process, &result.exitCode);
  return result;
}

RunResult Sandbox::Run(const fs::path& program, const std::string& argumentText, uint32_t timeoutMs) {
  Child child;
  if (!Start(program, argumentText, &child)) return RunResult{};
  return Wait(child, timeoutMs);
}

RunResult Sandbox::RunCapturingStderr(const fs::path& program, const std::string& argumentText,
                                      uint32_t timeoutMs) {
#ifdef _WIN32
  return Run(program, argumentText, timeoutMs);
#else
  static int counter = 0;
  const fs::path errFile = base_ / ("stderr-" + std::to_string(++counter) + ".txt");
  // sh -c 'exec 2>"$0"; exec "$@"' <errFile> <program> <arguments...>
  std::u16string commandLine = u"/bin/sh " + platform::JoinArguments({u"-c", u"exec 2>\"$0\"; exec \"$@\"",
                                                                       Native16(errFile), Native16(program)});
  if (!argumentText.empty()) commandLine += u" " + U16(argumentText);
  platform::ProcessInfo info;
  if (!P().StartProcess(commandLine, u"", &info)) return RunResult{};
  if (info.thread != nullptr) P().CloseObject(info.thread);
  Child child{info.process, info.pid};
  started_.push_back(child);
  RunResult result = Wait(child, timeoutMs);
  result.stderrText = ReadFile(errFile);
  return result;
#endif
}

std::vector<ProbeRecord> Sandbox::Records() {
  std::vector<ProbeRecord> records;
  std::istringstream lines(ReadFile(record_));
  std::string line;
  while (std::getline(lines, line)) {
    ProbeRecord r;
    if (ParseRecord(line, &r)) records.push_back(std::move(r));
  }
  return records;
}

std::vector<ProbeRecord> Sandbox::WaitForRecords(size_t count, uint32_t timeoutMs) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  for (;;) {
    std::vector<ProbeRecord> records = Records();
    if (records.size() >= count || std::chrono::steady_clock::now() >= deadline) return records;
    SleepMs(10);
  }
}

std::vector<std::string> Sandbox::RootEntries() const {
  std::vector<std::string> names;
  std::error_code ec;
  for (const auto& entry : fs::directory_iterator(root_, ec)) names.push_back(entry.path().filename().u8string());
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace e2e
