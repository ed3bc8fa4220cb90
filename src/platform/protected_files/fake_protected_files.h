// The fake protected-files service, for unit tests: files and directories are
// real (made and copied in the test's temporary directory through the native
// backend), owners and access lists are what the test says, and any one call
// can fail with a chosen error. Installs itself for its lifetime.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/protected_files/protected_files.h"

namespace platform {

// Trustees in the string form that the service hands out.
inline constexpr char16_t kSidAdministrators[] = u"S-1-5-32-544";
inline constexpr char16_t kSidSystem[] = u"S-1-5-18";
inline constexpr char16_t kSidInstaller[] = u"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";
inline constexpr char16_t kSidUsers[] = u"S-1-5-32-545";
inline constexpr char16_t kSidAuthenticatedUsers[] = u"S-1-5-11";
inline constexpr char16_t kSidSomeUser[] = u"S-1-5-21-1004336348-1177238915-682003330-1001";

class FakeProtectedFiles final : public ProtectedFiles {
 public:
  // Owned by the administrators; they and the system full control, users
  // read and execute (as the protected directory is made).
  static FileSecurity AdminOnly();
  // Owned by a user, who has full control (a per-user install).
  static FileSecurity UserOwned();

  std::u16string commonProgramFiles;  // empty: the folder cannot be got (2)
  // Owners and access lists by path (case and a trailing separator ignored);
  // an existing entry without one reads as `otherwise`.
  std::map<std::u16string, FileSecurity> security;
  FileSecurity otherwise = AdminOnly();
  FileSecurity copiedFile = AdminOnly();  // what CopyFileTo gives its target
  std::set<std::u16string> running;       // ReplaceFile onto these fails with 5
  // The next call of the operation ("ReplaceFile") fails with the error.
  std::map<std::string, uint32_t> failures;
  std::vector<std::string> calls;  // operation names, in order

  void Set(const std::u16string& path, const FileSecurity& value) { security[Key(path)] = value; }
  static std::u16string Key(const std::u16string& path);

  bool CommonProgramFilesFolder(std::u16string* path) override;
  bool ReadSecurity(const std::u16string& path, FileSecurity* out) override;
  bool CreateProtectedDirectory(const std::u16string& path) override;
  bool CopyFileTo(const std::u16string& source, const std::u16string& target) override;
  bool ReplaceFile(const std::u16string& source, const std::u16string& target) override;

 private:
  // Records the call; true (last error set) when it must fail.
  bool Enter(const char* op);
  static bool Fail(uint32_t error);
  ScopedService<ProtectedFiles> scope_{this};
};

}  // namespace platform
