// The update command: a small signed broker. An unprivileged program asks,
// through the scheduled task, for an executable to be run with the task's
// rights; the signer comparison is what stands between the request and the
// run. So the file is held open before anything looks at it, its final path
// (every link and junction resolved) is taken from the held handle, every
// directory of that path is held against rename and deletion, and the
// signer check and the process start both name that final path: the file
// checked is the file started.
#include "maintenance/run_update.h"

#include <cstdint>
#include <string>
#include <vector>

#include "app/command_line.h"
#include "app/exit_codes.h"
#include "app/launcher_app.h"
#include "base/format.h"
#include "base/log.h"
#include "base/scoped_resource.h"
#include "base/text.h"
#include "layout/paths.h"
#include "maintenance/code_signature.h"
#include "platform/error_codes.h"
#include "platform/file_identity/file_hold.h"
#include "platform/processes/named_events.h"
#include "platform/processes/processes.h"
#include "platform/system/admin_check.h"
#include "platform/system/environment.h"

namespace {

// The signers whose programs the broker starts besides its own.
constexpr char16_t kAcceptedSigner1[] = u"Corvel Data Co., Ltd.";
constexpr char16_t kAcceptedSigner2[] = u"Vorn Technologies Pte. Ltd.";

constexpr int32_t kBadDigest = static_cast<int32_t>(0x80096010u);

// The child's command line is composed in a buffer of this many characters.
constexpr size_t kChildCommandLineLimit = 10240;

constexpr char16_t kSuccessEventSuffix[] = u"RunTaskScheduleSuccessEvent";

bool IsKnownRunType(const std::u16string& runType) {
  return runType == u"run_update" || runType == u"run_install" || runType == u"run_uninstall" ||
         runType == u"run_unzip";
}

int Base64Value(unsigned char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

bool IsStoiBlank(char16_t c) { return c == u' ' || (c >= u'\t' && c <= u'\r'); }

}  // namespace

int32_t IsCurrentUserAdmin() {
  platform::AdminCheck& check = platform::Service<platform::AdminCheck>();
  platform::Sid administrators = nullptr;
  if (!check.AllocateAdministratorsSid(&administrators)) return 0;
  bool member = false;
  if (!check.CheckTokenMembership(administrators, &member)) member = false;
  check.FreeSid(administrators);
  const int32_t answer = member ? 1 : 0;
  LogInfo(u"AdminEnv:%d", answer);
  return answer;
}

std::u16string DecodeRunParams(const std::u16string& encoded) {
  const std::string input = WideToUtf8(encoded);
  // Twice the input and a zero byte: more room than any decoding needs.
  std::vector<unsigned char> output(input.size() * 2 + 1, 0);
  size_t written = 0;
  uint32_t bits = 0;
  int symbols = 0;
  for (unsigned char c : input) {
    if (c == 0) break;
    const int value = Base64Value(c);
    if (value < 0) continue;
    bits = (bits << 6) | static_cast<uint32_t>(value);
    if (++symbols == 4) {
      output[written++] = static_cast<unsigned char>(bits >> 16);
      output[written++] = static_cast<unsigned char>(bits >> 8);
      output[written++] = static_cast<unsigned char>(bits);
      bits = 0;
      symbols = 0;
    }
  }
  // A short last group: two symbols carry one byte, three carry two.
  if (symbols == 2) {
    output[written++] = static_cast<unsigned char>(bits >> 4);
  } else if (symbols == 3) {
    output[written++] = static_cast<unsigned char>(bits >> 10);
    output[written++] = static_cast<unsigned char>(bits >> 2);
  }
  // The text ends at the first zero byte.
  return Utf8ToWide(std::string(reinterpret_cast<const char*>(output.data())));
}

bool ParseWaitTime(const std::u16string& text, int32_t* value, const char** failure) {
  size_t i = 0;
  while (i < text.size() && IsStoiBlank(text[i])) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == u'+' || text[i] == u'-')) negative = text[i++] == u'-';
  const size_t digitsStart = i;
  int64_t magnitude = 0;
  bool overflow = false;
  for (; i < text.size() && text[i] >= u'0' && text[i] <= u'9'; ++i) {
    magnitude = magnitude * 10 + (text[i] - u'0');
    if (magnitude > int64_t{INT32_MAX} + 1) overflow = true, magnitude = int64_t{INT32_MAX} + 1;
  }
  if (i == digitsStart) {
    *failure = "invalid stoi argument";
    return false;
  }
  const int64_t signedValue = negative ? -magnitude : magnitude;
  if (overflow || signedValue > INT32_MAX || signedValue < INT32_MIN) {
    *failure = "stoi argument out of range";
    return false;
  }
  *value = static_cast<int32_t>(signedValue);
  return true;
}

int32_t CLauncherApp::RunUpdate() {
  auto& env = platform::Service<platform::Environment>();
  auto& processes = platform::Service<platform::Processes>();

  // 1. Nothing is read without administrator rights.
  if (!IsCurrentUserAdmin()) {
    LogError(u"RunUpdate cur is not admin.");
    return kExitNotAdmin;
  }

  // 2-3. The kind of run is a gate only; all four take the same road.
  const std::u16string runType = m_commandLine.GetSwitchValue(u"run-type");
  if (!IsKnownRunType(runType)) {
    LogError(u"unknown run type:%s", runType);
    return kExitUnknownRunType;
  }
  const std::u16string runExe = m_commandLine.GetSwitchValue(u"run-exe");

  // From here until the process start has returned, the file and every
  // directory of its final path stay held. A file that cannot be held is
  // never started; the checks still run first, so their results come first.
  platform::HeldFile held;
  const bool isHeld = held.Hold(runExe);

  // 4-6. Both signers are always read; a bad digest rejects by itself, any
  // other status leaves the decision to the names.
  std::u16string launcherSigner;
  std::u16string exeSigner;
  const int32_t launcherStatus = GetFileSignerName(GetModuleFilePath(), launcherSigner);
  const int32_t exeStatus = GetFileSignerName(isHeld ? held.finalPath() : runExe, exeSigner);
  if (launcherStatus == kBadDigest || exeStatus == kBadDigest) {
    LogError(u"signatures error");
    return kExitSignatureError;
  }
  if (exeSigner != launcherSigner && exeSigner != kAcceptedSigner1 && exeSigner != kAcceptedSigner2) {
    LogError(u"signatures is not match. cur is:%s, exe is:%s", launcherSigner, exeSigner);
    return kExitSignerNotAccepted;
  }

  // 7-9. The child's command line and directory.
  std::u16string params = m_commandLine.GetSwitchValue(u"run-params");
  if (!params.empty()) params = DecodeRunParams(params);
  const std::u16string childCommandLine = FormatWideLimited(kChildCommandLineLimit, u"\"%s\" %s", runExe, params);
  LogInfo(u"run exe cmdline=%s", childCommandLine);
  const std::u16string currentDirectory = env.CurrentDirectory();

  // 10. The start, of the held file by its final path: no search, no
  // appended extension. The command line stays the child's.
  platform::ProcessInfo child;
  bool started = false;
  if (isHeld) {
    started = processes.StartProcess(held.finalPath(), childCommandLine, currentDirectory, &child);
  } else {
    platform::SetLastErrorCode(held.error());
  }
  if (!started) {
    LogError(u"CreateProcess failed, error=%d", platform::LastError());
    return kExitStartChildFailed;
  }
  // The child's two handles are in hand until step 12 closes them.
  const auto closeHandle = [&processes](platform::Handle handle) { processes.CloseObject(handle); };
  ScopedResource<platform::Handle> process(closeHandle, child.process);
  ScopedResource<platform::Handle> thread(closeHandle, child.thread);
  held.Release();  // the file started is no longer needed in place

  // 11. The optional wait. A value that is no number ends the process as an
  // unhandled failure does; the child keeps running.
  uint32_t status = 0;
  const std::u16string waitText = m_commandLine.GetSwitchValue(u"wait-time-ms");
  if (!waitText.empty()) {
    int32_t waitMs = 0;
    const char* failure = nullptr;
    if (!ParseWaitTime(waitText, &waitMs, &failure)) EndProcessOnUnhandledFailure(failure);
    LogInfo(u"run exe wait=%d", waitMs);
    processes.WaitOne(process.get(), static_cast<uint32_t>(waitMs));
    uint32_t exitCode = 0;
    if (processes.ExitCodeOf(process.get(), &exitCode)) {
      // The line shows the status before it takes the exit code: always 0.
      LogInfo(u"ExitCode:%d", status);
      status = exitCode;
    }
  }

  // 12. The process handle, then the thread handle.
  process.Release();
  thread.Release();

  // 13. Success is told to whoever waits on the named event; the handle
  // lives until the process ends, so nothing guards it.
  if (status == 0) {
    const std::u16string eventName = m_productConfig.install_dir_name + kSuccessEventSuffix;
    platform::NamedEvents& events = platform::Service<platform::NamedEvents>();
    const platform::Handle event = events.CreateNamedEvent(eventName, false, false);
    if (event != nullptr) events.SignalEvent(event);
    status = 1;
  }
  return static_cast<int32_t>(status);
}
