// Processes and named kernel objects. The POSIX backend keeps the Windows
// contracts: named mutexes are lock files whose ownership dies with the
// process, named semaphores exist only while some process holds a handle.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/service.h"
#include "platform/types.h"

namespace platform {

class Processes {
 public:
  virtual ~Processes() = default;

  // CreateProcessW(applicationName, commandLine, ...) with the writable
  // command line, no inheritance, creation flags 0, the inherited environment
  // and the given current directory (empty: the caller's). An empty
  // application name passes null: the executable is then the first token of
  // the command line, which Windows searches and gives ".exe" when it has no
  // extension. A given name is started exactly as it stands, no search and
  // no extension added, while the command line stays the child's. On POSIX
  // the line is read back into argv by SplitPosixLaunchLine (argv_rules.h),
  // so the application gets every argument whole. False and last error on
  // failure.
  virtual bool StartProcess(const std::u16string& applicationName, const std::u16string& commandLine,
                            const std::u16string& currentDirectory, ProcessInfo* info) = 0;
  // The same with no application name.
  bool StartProcess(const std::u16string& commandLine, const std::u16string& currentDirectory, ProcessInfo* info) {
    return StartProcess(std::u16string(), commandLine, currentDirectory, info);
  }

  // CreateMutexW(NULL, initialOwner, name). Null and last error on failure.
  // When the mutex exists already the handle is returned and the last error
  // is 183 (kErrorAlreadyExists); the caller then does not own it. Any other
  // success sets the last error to 0.
  virtual Handle NewMutex(const std::u16string& name, bool initialOwner) = 0;

  // CreateSemaphoreW(NULL, initial, maximum, name). Opens an existing one
  // (last error 183). Null and last error on failure.
  virtual Handle NewSemaphore(const std::u16string& name, int32_t initial, int32_t maximum) = 0;

  // OpenSemaphoreW(access, FALSE, name). Null and last error 2 when no such
  // semaphore exists.
  virtual Handle OpenSemaphoreByName(uint32_t access, const std::u16string& name) = 0;

  // ReleaseSemaphore. False (last error 298) when the count would pass the
  // maximum.
  virtual bool ReleaseSem(Handle semaphore, int32_t count, int32_t* previous) = 0;

  // WaitForSingleObject on a semaphore, mutex, event or process handle:
  // kWaitObject0, kWaitTimeout or kWaitFailed (last error set).
  virtual uint32_t WaitOne(Handle object, uint32_t timeoutMs) = 0;

  // CloseHandle. False and last error 6 for a null or unknown handle.
  virtual bool CloseObject(Handle object) = 0;

  // GetExitCodeProcess: 259 (STILL_ACTIVE) while the process runs.
  virtual bool ExitCodeOf(Handle process, uint32_t* code) = 0;

  // TerminateProcess.
  virtual bool Terminate(Handle process, uint32_t exitCode) = 0;

  // CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS) and its walk in one call.
  // False and last error when the snapshot cannot be taken.
  virtual bool SnapshotProcesses(std::vector<ProcessEntry>* entries) = 0;
};

}  // namespace platform
