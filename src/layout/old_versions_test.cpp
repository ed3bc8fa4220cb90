#include "layout/old_versions.h"

#include <algorithm>
#include <string>
#include <vector>

#include "app/launcher_test_fixture.h"
#include "platform/code_trust/fake_code_trust.h"

namespace {

using launcher_test::ReadAll;
using launcher_test::WinPath;
using launcher_test::WriteAll;
namespace fs = std::filesystem;

class OldVersionsTest : public launcher_test::LauncherTest {
 protected:
  // The root's entries after a whole normal start, sorted.
  std::vector<std::string> StartAndList(bool updatePending = false) {
    ResetApp();
    if (updatePending) WriteAll(UserData() / "update" / "update.task", "");
    fake.ClearCalls();
    EXPECT_EQ(app.Run(u""), 0);
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(root)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }
  void SignedFile(const std::string& relative) {
    WriteAll(root / relative, "MZ");
    trust.files[WinPath(root / relative)] = platform::FakeCodeTrust::Signed(u"Corvel Data Co., Ltd.");
  }
  // The names directories were moved aside to, in order (the log hides paths).
  std::vector<std::string> Moved() const {
    std::vector<std::string> names;
    for (const auto& call : fake.calls()) {
      if (call.op == "MovePath") names.push_back(launcher_test::Narrow(call.detail.substr(call.detail.rfind(u'\\') + 1)));
    }
    return names;
  }
  platform::FakeCodeTrust trust;
};

// Which directories a normal start removes, with the launcher signed and not.
// The current one stays under any case; launchable ones and leftovers of the
// launcher's signer go, moved aside first unless already marked; foreign
// ones stay unless empty.
TEST_F(OldVersionsTest, CleanUpTable) {
  for (const bool launcherSigned : {true, false}) {
    SCOPED_TRACE(launcherSigned ? "signed launcher" : "unsigned launcher");
    fs::remove_all(root);
    for (const char* dir : {"", "app/", "1.79.0/", "app.todelete-1731590000/", "2.0.TODELETE-7/", "app2/", "1.5/"}) {
      MakeExe(std::string(dir) + "Orvane.exe");
    }
    WriteAll(root / "1.5" / "ro" / "locked.txt", "x");
    fs::permissions(root / "1.5" / "ro" / "locked.txt", fs::perms::owner_write, fs::perm_options::remove);
    SignedFile("leftover/helper.dll");
    SignedFile("shouting/HELPER.DLL");  // the name test is case-sensitive
    WriteAll(root / "foreign" / "readme.txt", "x");
    fs::create_directories(root / "update");
    trust.files.erase(WinPath(root / "Orvane.exe"));
    if (launcherSigned) SignedFile("Orvane.exe");

    std::vector<std::string> kept = {"Orvane.exe", "Orvane.ini", "app", "foreign", "shouting"};
    if (!launcherSigned) kept.push_back("leftover");
    std::sort(kept.begin(), kept.end());
    EXPECT_EQ(StartAndList(), kept);

    // Marked directories are deleted without a new name.
    std::vector<std::string> moved = {"1.5", "1.79.0", "app2"};
    if (launcherSigned) moved.push_back("leftover");
    for (std::string& name : moved) name += ".todelete-1763126526";
    EXPECT_EQ(Moved(), moved);
    EXPECT_NE(Log().find("Delete electron directory except app"), std::string::npos);
    EXPECT_EQ(Log().find("failed, error="), std::string::npos) << Log();
  }
}

// A directory that refuses the move (a file in use) stays whole; the rest
// goes on. With the update marker, nothing at all is removed.
TEST_F(OldVersionsTest, RefusedMoveAndPendingUpdateKeepEverything) {
  for (const char* dir : {"", "app/", "1.0/", "1.1/"}) MakeExe(std::string(dir) + "Orvane.exe");
  WriteAll(root / "1.0" / "resources.pak", "x");
  fs::create_directories(root / "empty");
  fake.FailCall("MovePath", platform::kErrorSharingViolation);
  EXPECT_EQ(StartAndList(), (std::vector<std::string>{"1.0", "Orvane.exe", "Orvane.ini", "app"}));
  EXPECT_TRUE(fs::exists(root / "1.0" / "resources.pak"));
  EXPECT_NE(Log().find("failed, error=32"), std::string::npos) << Log();

  MakeExe("1.1/Orvane.exe");
  fs::create_directories(root / "empty");
  EXPECT_EQ(StartAndList(true), (std::vector<std::string>{"1.0", "1.1", "Orvane.exe", "Orvane.ini", "app", "empty"}));
  EXPECT_TRUE(Moved().empty());
  EXPECT_NE(Log().find("update task exist."), std::string::npos);
}

// The move to "app" failed (its files in use), so the copy the ini names was
// started where it stands, under the ini's letter case: that copy is kept,
// "app" stays because moving it aside fails again, and the rest goes.
TEST_F(OldVersionsTest, CopyStartedWhereItStandsIsKept) {
  for (const char* dir : {"", "app/", "1.2.3-Beta/", "1.0/"}) MakeExe(std::string(dir) + "Orvane.exe");
  WriteAll(root / "Orvane.ini", "1.2.3-beta");
  fake.FailCall("MovePath", platform::kErrorSharingViolation);     // app aside before the start
  fake.FailCall("MovePath", platform::kErrorSharingViolation, 2);  // app aside in the clean-up
  EXPECT_EQ(StartAndList(), (std::vector<std::string>{"1.2.3-Beta", "Orvane.exe", "Orvane.ini", "app"}));
  ASSERT_EQ(fake.startedProcesses.size(), 1u);
  EXPECT_NE(fake.startedProcesses[0].commandLine.find(u"\\1.2.3-beta\\Orvane.exe\""), std::u16string::npos);
  EXPECT_EQ(Moved(), (std::vector<std::string>{"app.todelete-1763126526", "1.0.todelete-1763126526",
                                               "app.todelete-1763126526"}));
  EXPECT_EQ(ReadAll(root / "Orvane.ini"), "1.2.3-beta");
  EXPECT_NE(Log().find("Delete electron directory except 1.2.3-beta"), std::string::npos) << Log();
}

// Links met by the clean-up are removed as the entries they are, never
// entered: the fake reports a symbolic link to a directory as Windows reports
// a junction (reparse point and directory bits) and refuses DeleteFileW on it.
// Every row keeps the tree outside the root whole. `links` are "<link>=<target>"
// with the targets in `outside`: "dir" (files and a sub-directory), "file",
// "copy" (a launchable copy), "empty", or a name that does not exist.
TEST_F(OldVersionsTest, LinksAreRemovedNeverEntered) {
#ifdef _WIN32
  GTEST_SKIP() << "Wine makes no links (CreateSymbolicLinkW makes nothing): docs/WINE.md";
#endif
  const struct {
    std::vector<std::string> links;
    const char* failOp;  // the first such call fails with 5
    std::vector<std::string> kept;
  } rows[] = {
      {{"1.0/shared=dir"}, nullptr, {}},
      {{"1.0/lib.so=file", "1.0/gone=missing"}, nullptr, {}},
      {{"1.0/res/deep/shared=dir", "app.todelete-7/shared=dir"}, nullptr, {}},
      {{"1.1=copy"}, nullptr, {}},                                  // the version directory itself
      {{"empty-link=empty", "foreign-link=dir"}, nullptr, {"foreign-link"}},
      {{"1.0/shared=dir"}, "RemoveOneDirectory", {"1.0.todelete-1763126526"}},
  };
  const fs::path outside = base_ / "outside";
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(testing::Message() << "row " << i << ": " << rows[i].links.front());
    fs::remove_all(root);
    fs::remove_all(outside);
    for (const char* file : {"dir/a.txt", "dir/sub/b.txt", "file", "copy/Orvane.exe", "copy/c.txt"}) {
      WriteAll(outside / file, file);
    }
    fs::permissions(outside / "dir" / "a.txt", fs::perms::owner_write, fs::perm_options::remove);
    fs::create_directories(outside / "empty");
    for (const char* dir : {"", "app/", "1.0/", "app.todelete-7/"}) MakeExe(std::string(dir) + "Orvane.exe");
    for (const std::string& link : rows[i].links) {
      const size_t eq = link.find('=');
      fs::create_directories((root / link.substr(0, eq)).parent_path());
      fs::create_symlink(outside / link.substr(eq + 1), root / link.substr(0, eq));
    }
    if (i == 0) {  // the junction as the fake reports it
      const std::u16string junction = WinPath(root / "1.0" / "shared");
      EXPECT_EQ(fake.GetAttributes(junction), 0x410u);
      EXPECT_FALSE(fake.DeleteOneFile(junction));
      EXPECT_EQ(fake.LastError(), platform::kErrorAccessDenied);
    }
    if (rows[i].failOp != nullptr) fake.FailCall(rows[i].failOp, platform::kErrorAccessDenied);

    std::vector<std::string> kept = {"Orvane.exe", "Orvane.ini", "app"};
    kept.insert(kept.end(), rows[i].kept.begin(), rows[i].kept.end());
    std::sort(kept.begin(), kept.end());
    EXPECT_EQ(StartAndList(), kept);
    size_t outsideFiles = 0;
    for (const auto& entry : fs::recursive_directory_iterator(outside)) {
      if (entry.is_regular_file()) ++outsideFiles;
    }
    EXPECT_EQ(outsideFiles, 5u);
    EXPECT_EQ(ReadAll(outside / "dir" / "sub" / "b.txt"), "dir/sub/b.txt");
    EXPECT_TRUE(fs::is_directory(outside / "empty"));
    // Nothing was changed through a link, and no link inside a copy was
    // listed (the empty-directory test may look into one in the root).
    for (const auto& call : fake.calls()) {
      const bool changes = call.op == "DeleteOneFile" || call.op == "RemoveOneDirectory" ||
                           call.op == "SetAttributes" || call.op == "MovePath";
      for (const std::string& link : rows[i].links) {
        const size_t slash = link.rfind('/', link.find('='));
        const std::string name = link.substr(slash + 1, link.find('=') - slash - 1);
        if (!changes && !(call.op == "FindEntries" && slash != std::string::npos)) continue;
        EXPECT_EQ(launcher_test::Narrow(call.detail).find("\\" + name + "\\"), std::string::npos)
            << call.op << " " << launcher_test::Narrow(call.detail);
      }
    }
    EXPECT_EQ(Log().find("failed, error=5") != std::string::npos, rows[i].failOp != nullptr) << Log();
  }
}

}  // namespace
