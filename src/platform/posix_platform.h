// The Linux backend of the platform seam. Internal to src/platform: the core
// reaches it only through platform::Get() / platform::Native().
//
// The core speaks Windows paths and Windows error codes; this backend turns
// '\' into '/' on the way out and '/' into '\' on the way in, matches names
// without regard to ASCII case as Windows does, and maps errno values to the
// Windows codes the corresponding Windows call would have reported.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

#include "platform/platform.h"

namespace platform {

class PosixPlatform final : public Platform {
 public:
  uint32_t LastError() override;
  void SetLastErrorCode(uint32_t code) override;

  bool PathExists(const std::u16string& path) override;
  bool PathIsDir(const std::u16string& path) override;
  int32_t MakeDirectoryTree(const std::u16string& path) override;
  bool MovePath(const std::u16string& from, const std::u16string& to, uint32_t flags) override;
  bool DeleteOneFile(const std::u16string& path) override;
  bool RemoveOneDirectory(const std::u16string& path) override;
  bool FindEntries(const std::u16string& pattern, std::vector<DirEntry>* entries) override;
  uint32_t GetAttributes(const std::u16string& path) override;
  std::FILE* OpenStream(const std::u16string& path, const char* mode) override;

  std::u16string ModuleFilePath() override;
  bool GetEnv(const std::u16string& name, std::u16string* value) override;
  bool SetEnv(const std::u16string& name, const std::u16string* value) override;
  uint32_t ProcessId() override;
  uint32_t ThreadId() override;
  std::u16string CurrentDirectory() override;
  void WriteStdout(const std::string& text) override;

  uint64_t NowMs() override;
  bool ToLocalTime(int64_t seconds, LocalTimeParts* out) override;
  uint64_t MonotonicNs() override;
  void SleepMs(uint32_t ms) override;

  bool StartProcess(const std::u16string& commandLine, const std::u16string& currentDirectory,
                    ProcessInfo* info) override;
  Handle NewMutex(const std::u16string& name, bool initialOwner) override;
  Handle NewSemaphore(const std::u16string& name, int32_t initial, int32_t maximum) override;
  Handle OpenSemaphoreByName(uint32_t access, const std::u16string& name) override;
  bool ReleaseSem(Handle semaphore, int32_t count, int32_t* previous) override;
  uint32_t WaitOne(Handle object, uint32_t timeoutMs) override;
  bool CloseObject(Handle object) override;
  bool ExitCodeOf(Handle process, uint32_t* code) override;
  bool Terminate(Handle process, uint32_t exitCode) override;
  bool SnapshotProcesses(std::vector<ProcessEntry>* entries) override;

  int32_t OpenKey(Hive hive, const std::u16string& subKey, uint32_t access, RegKey* key) override;
  int32_t SetValue(RegKey key, const std::u16string& valueName, uint32_t type,
                   const std::vector<uint8_t>& data) override;
  int32_t CloseKey(RegKey key) override;
  int32_t ShGetValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName, uint32_t* type,
                     std::vector<uint8_t>* data, uint32_t maxBytes) override;
  int32_t ShSetValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName, uint32_t type,
                     const std::vector<uint8_t>& data) override;
  int32_t ShDeleteValue(Hive hive, const std::u16string& subKey, const std::u16string& valueName) override;

  int32_t OpenRsaProvider(CryptoHandle* provider) override;
  bool PemToDer(const char* pem, uint8_t* buffer, uint32_t* size) override;
  bool DecodeRsaPublicKey(const uint8_t* der, uint32_t derSize, uint8_t* buffer, uint32_t* size) override;
  void* HeapAllocate(size_t bytes) override;
  void HeapRelease(void* block) override;
  int32_t ImportRsaPublicKey(CryptoHandle provider, const uint8_t* blob, uint32_t blobSize,
                             CryptoHandle* key) override;
  int32_t RsaEncrypt(CryptoHandle key, const uint8_t* input, uint32_t inputSize, uint8_t* output,
                     uint32_t outputSize, uint32_t* result, uint32_t flags) override;
  int32_t DestroyKey(CryptoHandle key) override;
  int32_t CloseProvider(CryptoHandle provider) override;

  int32_t ShowMessageBox(const std::u16string& text, const std::optional<std::u16string>& caption,
                         uint32_t style) override;
  int32_t ShowMessageBoxIndirect(const std::u16string& text, const std::u16string& caption, uint32_t style,
                                 uint16_t iconId) override;

  int32_t ReadResource(uint16_t id, const std::u16string& type, const uint8_t** data) override;

  bool VersionAtLeast(uint16_t major, uint16_t minor, uint16_t servicePackMajor) override;
  int32_t RestrictDllSearchToSystem32() override;
  void ComInitialize() override;
  void ComUninitialize() override;
  uint16_t UserDefaultUILanguage() override;
  std::u16string CodePageToWide(const std::string& text, uint32_t codePage) override;
  std::string WideToCodePage(const std::u16string& text, uint32_t codePage) override;
  bool SystemErrorText(uint32_t code, std::u16string* text) override;
};

// Helpers shared by the backend's source files.
namespace posix {

// Windows codes this backend produces beyond those in types.h.
enum : uint32_t {
  kErrorTooManyOpenFiles = 4,
  kErrorInvalidData = 13,
  kErrorNotSameDevice = 17,
  kErrorWriteProtect = 19,
  kErrorGenFailure = 31,
  kErrorDiskFull = 112,
  kErrorEnvvarNotFound = 203,
  kErrorDirectory = 267,
  kErrorCantResolveFilename = 1921,
};

// The calling thread's last error (GetLastError / SetLastError).
uint32_t& ThreadLastError();
inline void SetError(uint32_t code) { ThreadLastError() = code; }

// errno to a Windows code. ENOENT gives 3 when `posixPath`'s parent
// directory is missing, else 2; EEXIST gives 183 or 80 per `isDirectory`.
uint32_t MapErrno(int err, const std::string& posixPath = std::string(), bool isDirectory = false);

// ASCII case folding, as the C runtime compares names in the C locale.
char16_t FoldAscii(char16_t c);
bool EqualsIgnoreAsciiCase(const std::string& a, const std::string& b);

// A Windows path in POSIX form: UTF-8, '\' turned into '/'. False (last
// error 3) for a drive-letter path, which has no meaning here.
bool ToPosixPath(const std::u16string& path, std::string* out);

// A POSIX path (or any text from the system) in Windows form.
std::u16string FromPosixPath(const std::string& path);

// Resolves the letter case of a POSIX path: when the path does not exist as
// written, each missing component is looked up in its parent without regard
// to ASCII case. Components that match nothing stay as written, so a file
// about to be created keeps the case it was given.
std::string ResolveCase(const std::string& path);

// ToPosixPath followed by ResolveCase.
bool ResolvePath(const std::u16string& path, std::string* out);

// True if the parent directory of `posixPath` exists (decides 2 against 3).
bool ParentExists(const std::string& posixPath);

// The Windows attributes of a stat result.
uint32_t AttributesOf(const struct stat& st);

}  // namespace posix
}  // namespace platform
