#include <cstdio>

#include "platform/error_codes.h"
#include "platform/files/files.h"
#include "platform/protected_files/fake_protected_files.h"

namespace platform {
namespace {

constexpr uint32_t kFullControl = 0x1F01FF;
constexpr uint32_t kReadAndExecute = 0x1200A9;
constexpr uint8_t kObjectAndContainerInherit = 0x3;

std::u16string ParentOf(const std::u16string& path) {
  const size_t slash = path.find_last_of(u'\\');
  return slash == std::u16string::npos ? std::u16string() : path.substr(0, slash);
}

}  // namespace

FileSecurity FakeProtectedFiles::AdminOnly() {
  FileSecurity s;
  s.owner = kSidAdministrators;
  s.hasDacl = true;
  s.protectedDacl = true;
  s.entries = {{kAccessAllowedAceType, kObjectAndContainerInherit, kFullControl, kSidAdministrators},
               {kAccessAllowedAceType, kObjectAndContainerInherit, kFullControl, kSidSystem},
               {kAccessAllowedAceType, kObjectAndContainerInherit, kReadAndExecute, kSidUsers}};
  return s;
}

FileSecurity FakeProtectedFiles::UserOwned() {
  FileSecurity s;
  s.owner = kSidSomeUser;
  s.hasDacl = true;
  s.entries = {{kAccessAllowedAceType, kObjectAndContainerInherit, kFullControl, kSidSystem},
               {kAccessAllowedAceType, kObjectAndContainerInherit, kFullControl, kSidAdministrators},
               {kAccessAllowedAceType, kObjectAndContainerInherit, kFullControl, kSidSomeUser}};
  return s;
}

std::u16string FakeProtectedFiles::Key(const std::u16string& path) {
  std::u16string key = path;
  for (char16_t& c : key) c = (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c + 32) : c;
  while (key.size() > 1 && key.back() == u'\\' && !(key.size() == 3 && key[1] == u':')) key.pop_back();
  return key;
}

bool FakeProtectedFiles::Fail(uint32_t error) {
  SetLastErrorCode(error);
  return false;
}

bool FakeProtectedFiles::Enter(const char* op) {
  calls.push_back(op);
  const auto failure = failures.find(op);
  if (failure == failures.end()) return false;
  const uint32_t error = failure->second;
  failures.erase(failure);
  return !Fail(error);
}

bool FakeProtectedFiles::CommonProgramFilesFolder(std::u16string* path) {
  if (Enter("CommonProgramFilesFolder")) return false;
  if (commonProgramFiles.empty()) return Fail(kErrorFileNotFound);
  *path = commonProgramFiles;
  return true;
}

bool FakeProtectedFiles::ReadSecurity(const std::u16string& path, FileSecurity* out) {
  *out = FileSecurity();
  if (Enter("ReadSecurity")) return false;
  if (!NativeService<Files>().PathExists(path)) return Fail(kErrorFileNotFound);
  const auto found = security.find(Key(path));
  *out = found != security.end() ? found->second : otherwise;
  if (NativeService<Files>().PathIsDir(path)) out->attributes |= kFileAttributeDirectory;
  return true;
}

bool FakeProtectedFiles::CreateProtectedDirectory(const std::u16string& path) {
  if (Enter("CreateProtectedDirectory")) return false;
  if (NativeService<Files>().PathExists(path)) return Fail(kErrorAlreadyExists);
  if (!NativeService<Files>().PathIsDir(ParentOf(path))) return Fail(kErrorPathNotFound);
  const int32_t made = NativeService<Files>().MakeDirectoryTree(path);
  if (made != 0) return Fail(static_cast<uint32_t>(made));
  Set(path, AdminOnly());
  return true;
}

bool FakeProtectedFiles::CopyFileTo(const std::u16string& source, const std::u16string& target) {
  if (Enter("CopyFileTo")) return false;
  std::FILE* in = NativeService<Files>().OpenStream(source, "rb");
  if (in == nullptr) return Fail(kErrorFileNotFound);
  std::FILE* out = NativeService<Files>().OpenStream(target, "wb");
  if (out == nullptr) {
    std::fclose(in);
    return Fail(kErrorAccessDenied);
  }
  char buffer[4096];
  for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, in)) > 0;) std::fwrite(buffer, 1, n, out);
  std::fclose(in);
  std::fclose(out);
  Set(target, copiedFile);
  return true;
}

bool FakeProtectedFiles::ReplaceFile(const std::u16string& source, const std::u16string& target) {
  if (Enter("ReplaceFile")) return false;
  for (const std::u16string& program : running) {
    if (Key(program) == Key(target)) return Fail(kErrorAccessDenied);
  }
  if (!NativeService<Files>().MovePath(source, target, kMoveFileReplaceExisting | kMoveFileWriteThrough)) {
    return Fail(NativeService<ErrorCodes>().LastError());
  }
  const auto moved = security.find(Key(source));
  if (moved != security.end()) {
    security[Key(target)] = moved->second;
    security.erase(moved);
  }
  return true;
}

}  // namespace platform
