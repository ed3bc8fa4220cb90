// The Linux backend of processes.h, declared once for the source files that
// define its operations. Internal to src/platform.
#pragma once

#include "platform/processes/processes.h"

namespace platform {

class PosixProcesses final : public Processes {
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

}  // namespace platform
