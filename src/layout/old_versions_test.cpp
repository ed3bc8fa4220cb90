#include "layout/old_versions.h"

#include <algorithm>
#include <string>
#include <vector>

#include "app/launcher_test_fixture.h"
#include "platform/fake_code_trust.h"

namespace {

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

}  // namespace
