// Processes and named kernel objects through the Win32 calls.
#include <windows.h>
#include <tlhelp32.h>

#include <vector>

#include "platform/processes/processes.h"
#include "platform/text/win_text.h"

namespace platform {

class WinProcesses final : public Processes {
 public:
  using Processes::StartProcess;
  bool StartProcess(const std::u16string& applicationName, const std::u16string& commandLine,
                    const std::u16string& currentDirectory, ProcessInfo* info) override;
  Handle NewMutex(const std::u16string& name, bool initialOwner) override;
  Handle NewSemaphore(const std::u16string& name, int32_t initial, int32_t maximum) override;
  Handle OpenSemaphoreByName(uint32_t access, const std::u16string& name) override;
  bool ReleaseSem(Handle semaphore, int32_t count, int32_t* previous) override;
  uint32_t WaitOne(Handle object, uint32_t timeoutMs) override;
  bool CloseObject(Handle object) override;
  bool ExitCodeOf(Handle process, uint32_t* code) override;
  bool Terminate(Handle process, uint32_t exitCode) override;
  bool SnapshotProcesses(std::vector<ProcessEntry>* entries) override;
};

template <>
Processes& NativeService<Processes>() {
  static WinProcesses instance;
  return instance;
}

namespace {

// The structure sizes that the callers and other processes of the product
// agree on for 64-bit Windows.
static_assert(sizeof(STARTUPINFOW) == 104, "STARTUPINFOW of 64-bit Windows");
static_assert(sizeof(PROCESSENTRY32W) == 568, "PROCESSENTRY32W of 64-bit Windows");

// An empty name makes an unnamed object.
const wchar_t* ObjectName(const std::u16string& name) { return name.empty() ? nullptr : AsWide(name); }

}  // namespace

bool WinProcesses::StartProcess(const std::u16string& applicationName, const std::u16string& commandLine,
                                const std::u16string& currentDirectory, ProcessInfo* info) {
  // CreateProcessW may write into the command line, so it gets its own copy.
  std::vector<wchar_t> line(commandLine.begin(), commandLine.end());
  line.push_back(L'\0');
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process = {};
  if (::CreateProcessW(applicationName.empty() ? nullptr : AsWide(applicationName), line.data(), nullptr, nullptr, FALSE, 0, nullptr,
                       currentDirectory.empty() ? nullptr : AsWide(currentDirectory), &startup,
                       &process) == FALSE) {
    return false;
  }
  info->process = process.hProcess;
  info->thread = process.hThread;
  info->pid = process.dwProcessId;
  info->tid = process.dwThreadId;
  return true;
}

Handle WinProcesses::NewMutex(const std::u16string& name, bool initialOwner) {
  return ::CreateMutexW(nullptr, initialOwner ? TRUE : FALSE, ObjectName(name));
}

Handle WinProcesses::NewSemaphore(const std::u16string& name, int32_t initial, int32_t maximum) {
  return ::CreateSemaphoreW(nullptr, initial, maximum, ObjectName(name));
}

Handle WinProcesses::OpenSemaphoreByName(uint32_t access, const std::u16string& name) {
  return ::OpenSemaphoreW(access, FALSE, AsWide(name));
}

bool WinProcesses::ReleaseSem(Handle semaphore, int32_t count, int32_t* previous) {
  LONG before = 0;
  if (::ReleaseSemaphore(semaphore, count, &before) == FALSE) {
    return false;
  }
  if (previous != nullptr) {
    *previous = before;
  }
  return true;
}

uint32_t WinProcesses::WaitOne(Handle object, uint32_t timeoutMs) { return ::WaitForSingleObject(object, timeoutMs); }

bool WinProcesses::CloseObject(Handle object) { return ::CloseHandle(object) != FALSE; }

bool WinProcesses::ExitCodeOf(Handle process, uint32_t* code) {
  DWORD value = 0;
  if (::GetExitCodeProcess(process, &value) == FALSE) {
    return false;
  }
  *code = value;
  return true;
}

bool WinProcesses::Terminate(Handle process, uint32_t exitCode) {
  return ::TerminateProcess(process, exitCode) != FALSE;
}

bool WinProcesses::SnapshotProcesses(std::vector<ProcessEntry>* entries) {
  HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  if (snapshot == INVALID_HANDLE_VALUE) {
    return false;
  }
  std::vector<ProcessEntry> found;
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof(entry);
  for (BOOL more = ::Process32FirstW(snapshot, &entry); more != FALSE; more = ::Process32NextW(snapshot, &entry)) {
    ProcessEntry row;
    row.pid = entry.th32ProcessID;
    row.parentPid = entry.th32ParentProcessID;
    row.exeFile = FromWide(entry.szExeFile);
    found.push_back(std::move(row));
  }
  ::CloseHandle(snapshot);
  *entries = std::move(found);
  return true;
}

}  // namespace platform
