// The fake of processes and named kernel objects: starts recorded (spawned for
// real only on request), kernel objects in memory, the process list from what
// the test sets.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "platform/fake_recorder.h"
#include "platform/processes/processes.h"

namespace platform {

class FakeProcesses : public Processes, public RecordingFake {
 public:
  // Installs itself for its lifetime; records into `shared`, or into a
  // recorder of its own when none is given.
  explicit FakeProcesses(FakeRecorder* shared = nullptr);
  ~FakeProcesses() override;

  // Process starts, in order. Nothing is spawned unless spawnForReal is set.
  struct StartRecord {
    std::u16string commandLine;
    std::u16string currentDirectory;
    std::u16string applicationName;  // empty: none was passed
  };
  std::vector<StartRecord> startedProcesses;
  bool spawnForReal = false;
  // The exit code a fake (not really spawned) process reports.
  uint32_t fakeExitCode = 0;

  // The process list that SnapshotProcesses answers.
  std::vector<ProcessEntry> processList;

  // Named kernel objects live in memory. A name in `heldMutexes` is owned by
  // "another process": NewMutex answers a handle with last error 183.
  std::vector<std::u16string> heldMutexes;
  // Semaphores that "another process" created (OpenSemaphoreByName finds
  // them). Semaphores the code creates are added while open.
  std::vector<std::u16string> existingSemaphores;
  // Scripted WaitOne results, consumed in order; when empty a wait on a
  // semaphore with count 0 times out at once (kWaitTimeout).
  std::deque<uint32_t> waitResults;
  // Every WaitOne's timeout, in order.
  std::vector<uint32_t> waitTimeouts;
  // ReleaseSem calls by semaphore name.
  std::vector<std::u16string> releasedSemaphores;

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

 private:
  struct KernelObject;
  KernelObject* ProcessObject(Handle handle);
  std::vector<std::unique_ptr<KernelObject>> objects_;
  ScopedService<Processes> scope_{this};
};

}  // namespace platform
