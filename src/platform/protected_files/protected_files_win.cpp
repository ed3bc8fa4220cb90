#include <windows.h>
#include <aclapi.h>
#include <sddl.h>
#include <shlobj.h>

#include "platform/protected_files/protected_files.h"
#include "platform/text/win_text.h"

namespace platform {
namespace {

// Owned by the administrators; they and the system have full control, users
// read and execute; protected, so nothing is inherited from the parent; every
// entry inherited by the files and directories below.
constexpr wchar_t kProtectedDirectorySddl[] = L"O:BAD:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)(A;OICI;0x1200a9;;;BU)";

std::u16string SidText(PSID sid) {
  LPWSTR text = nullptr;
  if (sid == nullptr || !::ConvertSidToStringSidW(sid, &text)) return std::u16string();
  std::u16string result = FromWide(text);
  ::LocalFree(text);
  return result;
}

// The trustee of an ACE whose SID follows the header and the mask.
bool HasCommonLayout(BYTE type) {
  return type == ACCESS_ALLOWED_ACE_TYPE || type == ACCESS_DENIED_ACE_TYPE || type == SYSTEM_AUDIT_ACE_TYPE ||
         type == ACCESS_ALLOWED_CALLBACK_ACE_TYPE || type == ACCESS_DENIED_CALLBACK_ACE_TYPE ||
         type == SYSTEM_MANDATORY_LABEL_ACE_TYPE;
}

class WinProtectedFiles final : public ProtectedFiles {
 public:
  bool CommonProgramFilesFolder(std::u16string* path) override {
    wchar_t buffer[MAX_PATH] = {};
    if (!::SHGetSpecialFolderPathW(nullptr, buffer, CSIDL_PROGRAM_FILES_COMMON, FALSE)) return false;
    *path = FromWide(buffer);
    return true;
  }

  bool ReadSecurity(const std::u16string& path, FileSecurity* security) override {
    *security = FileSecurity();
    const HANDLE file = ::CreateFileW(AsWide(path), READ_CONTROL | FILE_READ_ATTRIBUTES,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    BY_HANDLE_FILE_INFORMATION info = {};
    if (!::GetFileInformationByHandle(file, &info)) {
      const DWORD error = ::GetLastError();
      ::CloseHandle(file);
      ::SetLastError(error);
      return false;
    }
    security->attributes = info.dwFileAttributes;
    PSID owner = nullptr;
    PACL dacl = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD result = ::GetSecurityInfo(file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                                           &owner, nullptr, &dacl, nullptr, &descriptor);
    ::CloseHandle(file);
    if (result != ERROR_SUCCESS) {
      ::SetLastError(result);
      return false;
    }
    security->owner = SidText(owner);
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    if (::GetSecurityDescriptorControl(descriptor, &control, &revision)) {
      security->protectedDacl = (control & SE_DACL_PROTECTED) != 0;
    }
    security->hasDacl = dacl != nullptr;
    for (DWORD i = 0; dacl != nullptr && i < dacl->AceCount; ++i) {
      void* ace = nullptr;
      if (!::GetAce(dacl, i, &ace)) continue;
      const auto* header = static_cast<const ACE_HEADER*>(ace);
      AccessEntry entry;
      entry.type = header->AceType;
      entry.flags = header->AceFlags;
      // Every ACE type has its mask right after the header.
      entry.mask = static_cast<const ACCESS_ALLOWED_ACE*>(ace)->Mask;
      if (HasCommonLayout(header->AceType)) {
        entry.sid = SidText(&static_cast<ACCESS_ALLOWED_ACE*>(ace)->SidStart);
      }
      security->entries.push_back(entry);
    }
    ::LocalFree(descriptor);
    return true;
  }

  bool CreateProtectedDirectory(const std::u16string& path) override {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(kProtectedDirectorySddl, SDDL_REVISION_1, &descriptor,
                                                                 nullptr)) {
      return false;
    }
    SECURITY_ATTRIBUTES attributes = {sizeof(attributes), descriptor, FALSE};
    const BOOL created = ::CreateDirectoryW(AsWide(path), &attributes);
    const DWORD error = ::GetLastError();
    ::LocalFree(descriptor);
    ::SetLastError(error);
    return created != FALSE;
  }

  bool CopyFileTo(const std::u16string& source, const std::u16string& target) override {
    return ::CopyFileW(AsWide(source), AsWide(target), FALSE) != FALSE;
  }

  bool ReplaceFile(const std::u16string& source, const std::u16string& target) override {
    return ::MoveFileExW(AsWide(source), AsWide(target), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != FALSE;
  }
};

}  // namespace

template <>
ProtectedFiles& NativeService<ProtectedFiles>() {
  static WinProtectedFiles files;
  return files;
}

}  // namespace platform
