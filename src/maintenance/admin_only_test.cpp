#include "maintenance/admin_only.h"

#include <string>
#include <vector>

#include "app/launcher_test_fixture.h"
#include "gtest/gtest.h"
#include "platform/protected_files/fake_protected_files.h"

namespace {

using launcher_test::Narrow;
using launcher_test::WinPath;
using platform::AccessEntry;
using platform::FakeProtectedFiles;
using platform::FileSecurity;

constexpr uint8_t kAllow = 0x0, kDeny = 0x1, kAudit = 0x2, kCallback = 0x9, kObject = 0x5;
constexpr uint8_t kInheritOnly = 0x8 | 0x3;  // inherited by children only
constexpr uint32_t kReadExecute = 0x1200A9, kGenericWrite = 0x40000000u, kGenericAll = 0x10000000u;
constexpr uint32_t kAddSubdirectory = 0x4, kAddFile = 0x2, kDelete = 0x10000, kDeleteChild = 0x40;
constexpr uint32_t kWriteDac = 0x40000, kWriteOwner = 0x80000;

TEST(AdminOnlyTest, OneEntryAgainstTheRightsForbiddenAtItsPlace) {
  using platform::kSidAuthenticatedUsers;
  using platform::kSidSomeUser;
  using platform::kSidUsers;
  // above: the entry stands above the directory that holds the file.
  // reason: null when it passes.
  struct Row {
    const char* what; const char16_t* owner; std::vector<AccessEntry> extra; bool above; uint32_t attributes;
    const char* reason;
  } rows[] = {
      {"administrators own it, users read", platform::kSidAdministrators, {}, false, 0, nullptr},
      {"the system owns it", platform::kSidSystem, {}, false, 0, nullptr},
      {"the installer service owns it", platform::kSidInstaller, {}, false, 0, nullptr},
      {"a user owns it", kSidSomeUser, {}, false, 0, "is owned by S-1-5-21-1004336348-1177238915-682003330-1001"},
      {"no owner read", u"", {}, false, 0, "is owned by "},
      {"a link", platform::kSidAdministrators, {}, true, 0x400, "is a link"},
      {"users may write", platform::kSidAdministrators, {{kAllow, 0, kGenericWrite, kSidUsers}}, false, 0,
       "lets S-1-5-32-545 write, append"},
      {"anyone may do anything, generically", platform::kSidAdministrators, {{kAllow, 0, kGenericAll, u"S-1-1-0"}},
       true, 0, "lets S-1-1-0 delete, delete a child, change permissions, take ownership"},
      {"users may add a directory to the holder", platform::kSidAdministrators,
       {{kAllow, 0, kAddSubdirectory, kSidAuthenticatedUsers}}, false, 0, "lets S-1-5-11 append"},
      // Every volume root lets users add directories; that replaces nothing on the path.
      {"users may add entries above", platform::kSidAdministrators,
       {{kAllow, 0, kAddSubdirectory | kAddFile, kSidAuthenticatedUsers}}, true, 0, nullptr},
      {"users may delete above", platform::kSidAdministrators, {{kAllow, 0, kDelete, kSidUsers}}, true, 0,
       "lets S-1-5-32-545 delete"},
      {"users may delete a child above", platform::kSidAdministrators, {{kAllow, 0, kDeleteChild, kSidUsers}}, true,
       0, "lets S-1-5-32-545 delete a child"},
      {"users may change permissions", platform::kSidAdministrators, {{kCallback, 0, kWriteDac, kSidUsers}}, false, 0,
       "lets S-1-5-32-545 change permissions"},
      {"users may take ownership", platform::kSidAdministrators, {{kAllow, 0, kWriteOwner, kSidUsers}}, true, 0,
       "lets S-1-5-32-545 take ownership"},
      // What children inherit, denials and audits grant nothing here.
      {"inherit-only full control", platform::kSidAdministrators, {{kAllow, kInheritOnly, kGenericAll, kSidUsers}},
       false, 0, nullptr},
      {"a denial", platform::kSidAdministrators, {{kDeny, 0, kGenericAll, kSidUsers}}, false, 0, nullptr},
      {"an audit", platform::kSidAdministrators, {{kAudit, 0, kGenericAll, kSidUsers}}, false, 0, nullptr},
      {"users read and execute", platform::kSidAdministrators, {{kAllow, 0, kReadExecute, kSidSomeUser}}, false, 0,
       nullptr},
      {"an object entry", platform::kSidAdministrators, {{kObject, 0, kReadExecute, u""}}, true, 0,
       "has an access entry of type 5"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    FileSecurity security = FakeProtectedFiles::AdminOnly();
    security.owner = row.owner;
    security.attributes = row.attributes;
    security.entries.insert(security.entries.end(), row.extra.begin(), row.extra.end());
    std::u16string reason;
    const bool passes = PassesAdminOnly(security, row.above ? kForbiddenAbove : kForbiddenOnHolder, &reason);
    EXPECT_EQ(passes, row.reason == nullptr) << Narrow(reason);
    if (row.reason != nullptr) {
      EXPECT_EQ(Narrow(reason), row.reason);
    }
  }
  FileSecurity nullDacl = FakeProtectedFiles::AdminOnly();
  nullDacl.hasDacl = false;
  std::u16string reason;
  EXPECT_FALSE(PassesAdminOnly(nullDacl, kForbiddenAbove, &reason));
  EXPECT_EQ(Narrow(reason), "has no access list");
}

class AdminOnlyChainTest : public launcher_test::LauncherTest {
 protected:
  AdminOnlyChainTest() {
    launcher_test::WriteAll(root / "Orvane.exe", "MZ");
    exe = WinPath(root / "Orvane.exe");
    dir = WinPath(root);
    parent = WinPath(root.parent_path());
    volume = exe[1] == u':' ? exe.substr(0, 3) : u"\\";
  }
  FakeProtectedFiles files;
  std::u16string exe, dir, parent, volume;
};

// Which entry of the path fails, and with which rules: the file and its
// directory with the holder's, everything above with the lighter ones.
TEST_F(AdminOnlyChainTest, TheFileItsDirectoryAndEveryParentUpToTheRoot) {
  FileSecurity usersAddDirectories = FakeProtectedFiles::AdminOnly();
  usersAddDirectories.entries.push_back({kAllow, 0, kAddSubdirectory, platform::kSidAuthenticatedUsers});
  const struct {
    const char* what; std::u16string path; FileSecurity security; bool passes; std::u16string named;
  } rows[] = {
      {"all administrators-only", exe, FakeProtectedFiles::AdminOnly(), true, u""},
      {"the file is the user's", exe, FakeProtectedFiles::UserOwned(), false, exe},
      {"the directory is the user's", dir, FakeProtectedFiles::UserOwned(), false, dir},
      {"a parent is the user's", parent, FakeProtectedFiles::UserOwned(), false, parent},
      {"the volume root is the user's", volume, FakeProtectedFiles::UserOwned(), false, volume},
      {"users may add to a parent", parent, usersAddDirectories, true, u""},
      {"users may add to the directory", dir, usersAddDirectories, false, dir},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    files.security.clear();
    files.Set(row.path, row.security);
    std::u16string reason;
    EXPECT_EQ(IsAdministratorsOnlyFile(exe, &reason), row.passes) << Narrow(reason);
    EXPECT_EQ(reason.rfind(u"'" + row.named + u"' ", 0) == 0, !row.passes) << Narrow(reason);
  }
  // A directory is its own holder.
  files.security.clear();
  files.Set(dir, usersAddDirectories);
  std::u16string reason;
  EXPECT_FALSE(IsAdministratorsOnlyDirectory(dir + u"\\", &reason));
  files.security.clear();
  files.Set(parent, usersAddDirectories);
  EXPECT_TRUE(IsAdministratorsOnlyDirectory(dir, &reason)) << Narrow(reason);
}

TEST_F(AdminOnlyChainTest, PathsThatAreNotPlainFullPathsAndEntriesThatCannotBeRead) {
  for (const std::u16string path : {u"Orvane.exe", u"a\\b.exe", u"C:Orvane.exe", u"C:\\a\\..\\b.exe",
                                     u"C:\\a\\.\\b.exe", u"C:\\a\\\\b.exe", u"C:/a/b.exe", u"\\\\server\\",
                                     u"\\\\server\\share", u"\\\\\\share\\a.exe"}) {
    std::u16string reason;
    EXPECT_FALSE(IsAdministratorsOnlyFile(path, &reason)) << Narrow(path);
    EXPECT_EQ(Narrow(reason), "'" + Narrow(path) + "' is not a plain full path");
  }
  EXPECT_TRUE(files.calls.empty()) << "nothing is read for a path that is refused";

  std::u16string reason;
  EXPECT_FALSE(IsAdministratorsOnlyFile(dir + u"\\gone.exe", &reason));
  EXPECT_EQ(Narrow(reason), "'" + Narrow(dir) + "\\gone.exe' cannot be read, error=2");
  files.failures["ReadSecurity"] = 5;
  EXPECT_FALSE(IsAdministratorsOnlyFile(exe, &reason));
  EXPECT_EQ(Narrow(reason), "'" + Narrow(exe) + "' cannot be read, error=5");
}

}  // namespace
