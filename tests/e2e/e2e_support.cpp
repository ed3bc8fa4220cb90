#include "e2e_support.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>
#include <utility>

#include "cJSON.h"
#include "platform/argv_rules.h"
#include "platform/unicode.h"

namespace e2e {

namespace {

platform::Platform& P() { return platform::Get(); }

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

}  // namespace

fs::path LauncherProgram() { return ProgramFromEnv("ORVANE_LAUNCHER"); }
fs::path ProbeProgram() { return ProgramFromEnv("ORVANE_PROBE"); }

fs::path VariantProgram(const std::string& name) {
#ifdef _WIN32
  return ProgramFromEnv("ORVANE_VARIANTS_DIR") / (name + ".exe");
#else
  return ProgramFromEnv("ORVANE_VARIANTS_DIR") / name;
#endif
}

std::string WinForm(const fs::path& path) {
  std::string text = path.u8string();
  std::replace(text.begin(), text.end(), '/', '\\');
  return text;
}

std::u16string Native16(const fs::path& path) { return U16(path.u8string()); }

std::string ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  if (in) text << in.rdbuf();
  return text.str();
}

void WriteFile(const fs::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

::testing::AssertionResult EndedWith(const RunResult& run, int32_t expected) {
#ifdef _WIN32
  const uint32_t want = static_cast<uint32_t>(expected);
#else
  const uint32_t want = static_cast<uint32_t>(expected) & 0xFFu;
#endif
  if (!run.finished) return ::testing::AssertionFailure() << "timed out, or did not start";
  if (run.exitCode != want) return ::testing::AssertionFailure() << "exit code " << run.exitCode << ", not " << want;
  return ::testing::AssertionSuccess();
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

Sandbox::Sandbox(const std::string& name, const fs::path& root) {
  // The tests of one process share a scratch directory named by its id.
  const char* scratch = std::getenv("ORVANE_E2E_TMP");
  base_ = (scratch != nullptr && *scratch != '\0' ? fs::u8path(scratch) : fs::temp_directory_path()) /
          ("orvane-e2e-" + std::to_string(P().ProcessId())) / name;
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
    P().SetEnv(name, &value);
  }
  // No graphical session: a message box is a line on standard error and
  // never waits for a person.
  for (const char16_t* name : {u"ORVANE_PROBE_STAY_MS", u"DISPLAY", u"WAYLAND_DISPLAY"}) P().SetEnv(name, nullptr);
}

Sandbox::~Sandbox() {
  for (const Child& child : started_) {
    uint32_t code = 0;
    if (P().ExitCodeOf(child.process, &code) && code == 259 /* STILL_ACTIVE */) {
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
    fs::remove_all(root_, ec);
    fs::remove_all(base_, ec);
    if (!ec && !fs::exists(base_, ec) && !fs::exists(root_, ec)) break;
    P().SleepMs(100);
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

bool Sandbox::Start(const fs::path& program, const std::string& argumentText, Child* child) {
  std::u16string commandLine = u"\"" + U16(WinForm(program)) + u"\"";
  if (!argumentText.empty()) commandLine += u" " + U16(argumentText);
  return StartLine(commandLine, child);
}

bool Sandbox::StartLine(const std::u16string& commandLine, Child* child) {
  platform::ProcessInfo info;
  if (!P().StartProcess(commandLine, u"", &info)) return false;
  if (info.thread != nullptr) P().CloseObject(info.thread);
  *child = Child{info.process, info.pid};
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

RunResult Sandbox::Run(const fs::path& program, const std::string& argumentText) {
  Child child;
  return Start(program, argumentText, &child) ? Wait(child) : RunResult{};
}

RunResult Sandbox::RunCapturingStderr(const fs::path& program, const std::string& argumentText) {
#ifdef _WIN32
  return Run(program, argumentText);
#else
  // sh -c 'exec 2>"$0"; exec "$@"' <errFile> <program> <arguments...>
  const fs::path errFile = base_ / "stderr.txt";
  std::u16string commandLine = u"/bin/sh " + platform::JoinArguments({u"-c", u"exec 2>\"$0\"; exec \"$@\"",
                                                                      Native16(errFile), Native16(program)});
  if (!argumentText.empty()) commandLine += u" " + U16(argumentText);
  Child child;
  if (!StartLine(commandLine, &child)) return RunResult{};
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
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  for (;;) {
    std::vector<ProbeRecord> records = Records();
    if (records.size() >= count || std::chrono::steady_clock::now() >= deadline) return records;
    P().SleepMs(10);
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
