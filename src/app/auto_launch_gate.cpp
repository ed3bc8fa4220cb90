#include "app/auto_launch_gate.h"

#include <map>
#include <optional>
#include <vector>

#include "app/exit_codes.h"
#include "app/launcher_app.h"
#include "base/format.h"
#include "base/log.h"
#include "base/text.h"
#include "platform/error_codes.h"
#include "platform/processes/processes.h"
#include "platform/system/environment.h"
#include "platform/system/user_interface.h"

namespace {

constexpr char16_t kLaunchFromSwitch[] = u"launch_from";
constexpr char16_t kDelaySwitch[] = u"auto_launch_delay_seconds";
constexpr char16_t kAutoLaunchValue[] = u"auto-launch";

constexpr uint32_t kSemaphoreModifyState = 2;
constexpr uint16_t kProgramIconId = 102;

// The gate's holder of the single-instance mutex. Once taken, the mutex is
// held for the rest of the process: launch and follow-ups included.
std::optional<CSingleInstance>& GateInstance() {
  static std::optional<CSingleInstance> holder;
  return holder;
}

}  // namespace

CSingleInstance::CSingleInstance(const std::u16string& name) {
  auto& processes = platform::Service<platform::Processes>();
  platform::Handle handle = processes.NewMutex(name, true);
  const uint32_t error = platform::LastError();
  if (handle == nullptr) {
    LogError(u"CreateMutex mutex failed: %d", error);
    return;
  }
  if (error == platform::kErrorAlreadyExists) {
    // Another process owns it; this handle would not give us ownership.
    processes.CloseObject(handle);
    return;
  }
  LogInfo(u"Create single instance success.");
  m_handle = handle;
}

CSingleInstance::~CSingleInstance() { Close(); }

void CSingleInstance::Close() {
  if (m_handle != nullptr) {
    platform::Service<platform::Processes>().CloseObject(m_handle);
    m_handle = nullptr;
  }
}

void ResetAutoLaunchGateForTesting() { GateInstance().reset(); }

bool CLauncherApp::_IsUpdating() {
  // Taking the mutex, even for this moment, means no updater holds it. A
  // failure to create it cannot be told from a held one and counts the same.
  CSingleInstance probe(kUpdateMutexName);
  return !probe.IsValid();
}

void CLauncherApp::_ShowUpdatingMessage() {
  static const std::map<std::u16string, std::u16string> kTexts = {
      {u"en", u"%s is updating, it will be automatically launched after completion.Please wait."},
      {u"cn", u"%s正在更新,完成后将会自动拉起,请稍后。"},
      {u"jp", u"%sの更新中です。しばらくお待ちください。"},
  };
  const CProductConfig& config = GetProductConfig();
  const std::u16string& title = m_language == u"cn"   ? config.product_name_cn
                                : m_language == u"jp" ? config.product_name_jp
                                                      : config.product_name_en;
  auto it = kTexts.find(m_language);
  const std::u16string format = it != kTexts.end() ? it->second : std::u16string();
  const std::u16string text = FormatWideString(format.c_str(), title);
  platform::Service<platform::UserInterface>().ShowMessageBoxIndirect(text, title, platform::kMbUserIcon,
                                                                      kProgramIconId);
}

int32_t CLauncherApp::_AutoLaunchGate() {
  auto& processes = platform::Service<platform::Processes>();
  std::optional<CSingleInstance>& holder = GateInstance();
  if (!holder) holder.emplace(kSingleInstanceMutexName);

  if (!holder->IsValid()) {
    // Another launcher is alive: wake it if it is in its start delay, and end.
    platform::Handle semaphore = processes.OpenSemaphoreByName(kSemaphoreModifyState, kAutoLaunchSemaphoreName);
    if (semaphore != nullptr) {
      // A release beyond the maximum fails; the signal is pending anyway.
      processes.ReleaseSem(semaphore, 1, nullptr);
      processes.CloseObject(semaphore);
      LogInfo(u"Signal sent. Current instance will exit.");
    } else {
      LogError(u"Open semaphore failed. Error: %d", platform::LastError());
    }
    return kExitOtherInstance;
  }

  if (!m_commandLine.HasSwitch(kLaunchFromSwitch) || !m_commandLine.HasSwitch(kDelaySwitch)) return kExitSuccess;

  // The delay never reaches the main executable, whatever comes next.
  const std::u16string delay = m_commandLine.GetSwitchValue(kDelaySwitch);
  m_commandLine.RemoveSwitch(kDelaySwitch);
  // 32-bit arithmetic, unguarded: a huge delay wraps.
  const int32_t timeout = static_cast<int32_t>(static_cast<uint32_t>(WideToInt(delay)) * 1000u);
  if (m_commandLine.GetSwitchValue(kLaunchFromSwitch) != kAutoLaunchValue || timeout <= 0) return kExitSuccess;

  platform::Handle semaphore = processes.NewSemaphore(kAutoLaunchSemaphoreName, 0, 1);
  if (semaphore == nullptr) {
    LogError(u"Create semaphore failed. Force launch app. Error: %d", platform::LastError());
    return kExitSuccess;
  }
  const uint32_t waitResult = processes.WaitOne(semaphore, static_cast<uint32_t>(timeout));
  if (waitResult == platform::kWaitObject0) {
    // A user's start cut the delay short: this becomes a normal start.
    LogInfo(u"Immediate launch app, remove auto-launch switch");
    m_commandLine.RemoveSwitch(kLaunchFromSwitch);
  } else if (waitResult == platform::kWaitTimeout) {
    LogInfo(u"Launch app after delay %d seconds", timeout / 1000);
  } else {
    const uint32_t error = platform::LastError();
    LogError(u"Wait semaphore failed, result: %d, error code: %d", waitResult, error);
    processes.CloseObject(semaphore);
    return kExitWaitFailed;
  }
  processes.CloseObject(semaphore);

  if (m_commandLine.GetSwitchValue(kLaunchFromSwitch) != kAutoLaunchValue) return kExitSuccess;

  // The delay ran out: an application that runs already needs no start.
  if (IsOtherProcessRunning(GetProductConfig().product_name_en + u".exe")) {
    LogInfo(u"App is running, skip auto launch");
    return kExitAppAlreadyRunning;
  }
  return kExitSuccess;
}

bool IsOtherProcessRunning(const std::u16string& exeFileName) {
  auto& processes = platform::Service<platform::Processes>();
  auto& env = platform::Service<platform::Environment>();
  std::vector<platform::ProcessEntry> entries;
  if (!processes.SnapshotProcesses(&entries)) {
    LogError(u"CreateToolhelp32Snapshot failed. Error: %d", platform::LastError());
    return false;
  }
  // The own process never counts, should the launcher bear that very name.
  const uint32_t ownId = env.ProcessId();
  for (const platform::ProcessEntry& process : entries) {
    if (CompareNoCase(process.exeFile, exeFileName) == 0 && process.pid != ownId) return true;
  }
  return false;
}
