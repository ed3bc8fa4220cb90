// The platform seam. Every operating-system call of the core goes through the
// one process-wide Platform reached by platform::Get(). Backends: win (the
// real Windows calls), posix (the Linux equivalents) and fake (tests).
#pragma once

#include <cstdint>

#include "platform/clock.h"
#include "platform/crypto.h"
#include "platform/environment.h"
#include "platform/files.h"
#include "platform/processes.h"
#include "platform/registry.h"
#include "platform/resources.h"
#include "platform/system_info.h"
#include "platform/types.h"
#include "platform/user_interface.h"

namespace platform {

class Platform : public Files,
                 public Environment,
                 public Clock,
                 public Processes,
                 public Registry,
                 public Crypto,
                 public UserInterface,
                 public Resources,
                 public SystemInfo {
 public:
  ~Platform() override = default;

  // GetLastError / SetLastError of the calling thread, in Windows codes.
  virtual uint32_t LastError() = 0;
  virtual void SetLastErrorCode(uint32_t code) = 0;
};

// Every Platform operation, declared as an override. Each backend class
// states the list once with this macro instead of repeating it.
#define ORVANE_PLATFORM_OVERRIDES \
  uint32_t LastError() override; \
  void SetLastErrorCode(uint32_t code) override; \
  bool PathExists(const std::u16string& path) override; \
  bool PathIsDir(const std::u16string& path) override; \
  int32_t MakeDirectoryTree(const std::u16string& path) override; \
  bool MovePath(const std::u16string& from, const std::u16string& to, uint32_t flags) override; \
  bool DeleteOneFile(const std::u16string& path) override; \
  bool RemoveOneDirectory(const std::u16string& path) override; \
  bool FindEntries(const std::u16string& pattern, std::vector<DirEntry>* entries) override; \
  uint32_t GetAttributes(const std::u16string& path) override; \
  bool SetAttributes(const std::u16string& path, uint32_t attributes) override; \
  std::FILE* OpenStream(const std::u16string& path, const char* mode) override; \
  bool AppendShared(std::FILE* stream, const std::string& bytes) override; \
  std::u16string ModuleFilePath() override; \
  bool GetEnv(const std::u16string& name, std::u16string* value) override; \
  bool SetEnv(const std::u16string& name, const std::u16string* value) override; \
  uint32_t ProcessId() override; \
  uint32_t ThreadId() override; \
  std::u16string CurrentDirectory() override; \
  void WriteStdout(const std::string& text) override; \
  uint64_t NowMs() override; \
  bool ToLocalTime(int64_t seconds, LocalTimeParts* out) override; \
  uint64_t MonotonicNs() override; \
  void SleepMs(uint32_t ms) override; \
  using Processes::StartProcess; \
  bool StartProcess(const std::u16string& applicationName, const std::u16string& commandLine, const std::u16string& currentDirectory, ProcessInfo* info) override; \
  Handle NewMutex(const std::u16string& name, bool initialOwner) override; \
  Handle NewSemaphore(const std::u16string& name, int32_t initial, int32_t maximum) override; \
  Handle OpenSemaphoreByName(uint32_t access, const std::u16string& name) override; \
  bool ReleaseSem(Handle semaphore, int32_t count, int32_t* previous) override; \
  uint32_t WaitOne(Handle object, uint32_t timeoutMs) override; \
  bool CloseObject(Handle object) override; \
  bool ExitCodeOf(Handle process, uint32_t* code) override; \
  bool Terminate(Handle process, uint32_t exitCode) override; \
  bool SnapshotProcesses(std::vector<ProcessEntry>* entries) override; \
  int32_t OpenKey(Hive hive, const std::u16string& subKey, uint32_t access, RegKey* key) override; \
  int32_t SetValue(RegKey key, const std::u16string& valueName, uint32_t type, const std::vector<uint8_t>& data) override; \
  int32_t CloseKey(RegKey key) override; \
  int32_t ShGetValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName, uint32_t* type, std::vector<uint8_t>* data, uint32_t maxBytes) override; \
  int32_t ShSetValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName, uint32_t type, const std::vector<uint8_t>& data) override; \
  int32_t ShDeleteValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName) override; \
  int32_t OpenRsaProvider(CryptoHandle* provider) override; \
  bool PemToDer(const char* pem, uint8_t* buffer, uint32_t* size) override; \
  bool DecodeRsaPublicKey(const uint8_t* der, uint32_t derSize, uint8_t* buffer, uint32_t* size) override; \
  void* HeapAllocate(size_t bytes) override; \
  void HeapRelease(void* block) override; \
  int32_t ImportRsaPublicKey(CryptoHandle provider, const uint8_t* blob, uint32_t blobSize, CryptoHandle* key) override; \
  int32_t RsaEncrypt(CryptoHandle key, const uint8_t* input, uint32_t inputSize, uint8_t* output, uint32_t outputSize, uint32_t* result, uint32_t flags) override; \
  int32_t DestroyKey(CryptoHandle key) override; \
  int32_t CloseProvider(CryptoHandle provider) override; \
  int32_t ShowMessageBox(const std::u16string& text, const std::optional<std::u16string>& caption, uint32_t style) override; \
  int32_t ShowMessageBoxIndirect(const std::u16string& text, const std::u16string& caption, uint32_t style, uint16_t iconId) override; \
  int32_t ReadResource(uint16_t id, const std::u16string& type, const uint8_t** data) override; \
  bool VersionAtLeast(uint16_t major, uint16_t minor, uint16_t servicePackMajor) override; \
  int32_t RestrictDllSearchToSystem32() override; \
  int32_t ComInitialize() override; \
  void ComUninitialize() override; \
  uint16_t UserDefaultUILanguage() override; \
  std::u16string CodePageToWide(const std::string& text, uint32_t codePage) override; \
  std::string WideToCodePage(const std::u16string& text, uint32_t codePage) override; \
  bool SystemErrorText(uint32_t code, std::u16string* text) override;

// The current platform: the native backend unless a ScopedOverride is active.
Platform& Get();

// The native backend of this build (win or posix), created on first use.
Platform& Native();

// Installs another platform for the life of the object (tests).
class ScopedOverride {
 public:
  explicit ScopedOverride(Platform* replacement);
  ~ScopedOverride();
  ScopedOverride(const ScopedOverride&) = delete;
  ScopedOverride& operator=(const ScopedOverride&) = delete;

 private:
  Platform* previous_;
};

}  // namespace platform
