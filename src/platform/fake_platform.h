// The fake backend, for unit tests only. It passes file, crypto and text calls
// through to the native backend (tests work in temporary directories they
// make), answers the rest from state the test sets, records every call in
// order, and can make any single call fail with a chosen Windows error.
//
// Operation names are the seam's method names: "PathExists", "MovePath",
// "OpenStream", "StartProcess", "NewMutex", "RsaEncrypt", ...
//
// A failed call returns what the Windows call returns on failure: false, a
// null handle or stream, kWaitFailed, 0xFFFFFFFF attributes; the int32_t
// status methods (MakeDirectoryTree, the registry, the BCrypt steps) return
// the chosen error itself. The last error is set to the chosen error.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace platform {

class FakePlatform : public Platform {
 public:
  // Wraps the native backend and installs itself as the current platform
  // for its lifetime.
  FakePlatform();
  ~FakePlatform() override;

  struct Call {
    std::string op;
    std::u16string detail;  // the main argument (path, name, command line)
  };
  const std::vector<Call>& calls() const { return calls_; }
  size_t CallCount(const std::string& op) const;
  void ClearCalls() { calls_.clear(); }

  // The nth next call of `op` (1 = the very next) fails with `error`.
  void FailCall(const std::string& op, uint32_t error, int nth = 1);

  // --- State the test sets -------------------------------------------------
  std::u16string modulePath = u"C:\\Program Files\\Orvane\\Orvane.exe";
  uint32_t processId = 4312;
  uint32_t threadId = 9120;
  uint64_t nowMs = 1763126526123ull;  // 2025-11-14 13:22:06.123 UTC
  // Local time is UTC shifted by this many seconds.
  int64_t localOffsetSeconds = 0;
  uint16_t uiLanguage = 0x0409;
  bool versionAtLeastAnswer = true;
  int32_t dllDirectoriesAnswer = 1;

  // Environment overlay: set or unset a variable for this fake only.
  void SetEnvValue(const std::u16string& name, const std::u16string& value);
  void UnsetEnvValue(const std::u16string& name);

  // Resources: (id, type) to bytes. Missing ones answer 0 with 1814.
  void SetResource(uint16_t id, const std::u16string& type, const std::string& bytes);
  void RemoveResource(uint16_t id, const std::u16string& type);

  // Message boxes shown, in order; every box answers `messageBoxAnswer`.
  struct MessageBoxRecord {
    std::u16string text;
    std::optional<std::u16string> caption;
    uint32_t style = 0;
    uint16_t iconId = 0;
    bool indirect = false;
  };
  std::vector<MessageBoxRecord> messageBoxes;
  int32_t messageBoxAnswer = 1;

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

  // In-memory registry: "HKCU\<subkey>" -> value name -> (type, bytes).
  struct RegValue {
    uint32_t type = 0;
    std::vector<uint8_t> data;
  };
  std::map<std::u16string, std::map<std::u16string, RegValue>> registry;
  static std::u16string RegistryPath(Hive hive, const std::u16string& subKey);

  // --- Platform --------------------------------------------------------------
  ORVANE_PLATFORM_OVERRIDES
  std::string stdoutText;  // what WriteStdout received

 private:
  // Records the call; true (with the last error set) when it must fail.
  bool Enter(const char* op, const std::u16string& detail);
  uint32_t InjectedError() const { return injected_; }

  struct Injection {
    std::string op;
    uint32_t error;
    int remaining;
  };
  struct KernelObject;
  KernelObject* ProcessObject(Handle handle);

  Platform& real_;
  ScopedOverride override_;
  std::vector<Call> calls_;
  std::vector<Injection> injections_;
  uint32_t injected_ = 0;
  uint32_t lastError_ = 0;
  std::map<std::u16string, std::optional<std::u16string>> env_;
  std::map<std::pair<uint16_t, std::u16string>, std::string> resources_;
  std::vector<std::unique_ptr<KernelObject>> objects_;
};

}  // namespace platform
