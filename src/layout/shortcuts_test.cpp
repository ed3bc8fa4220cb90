#include "layout/shortcuts.h"

#include <string>
#include <tuple>
#include <vector>

#include "app/launcher_test_fixture.h"
#include "platform/fake_shell_links.h"

namespace {

using launcher_test::WinPath;
using launcher_test::WriteAll;
using Shortcut = platform::FakeShellLinks::Shortcut;
namespace fs = std::filesystem;

const std::u16string kAppId = u"com.electron.Orvane";

class ShortcutsTest : public launcher_test::LauncherTest {
 protected:
  ShortcutsTest() {
    fake.SetEnvValue(u"APPDATA", WinPath(base_ / "roaming"));
    pinned = base_ / "roaming" / "Microsoft" / "Internet Explorer" / "Quick Launch" / "User Pinned" / "TaskBar";
    MakeExe("Orvane.exe");
    MakeExe("app/Orvane.exe");
  }
  std::u16string Pin(const std::string& name, const Shortcut& shortcut) {
    WriteAll(pinned / name, "L");
    const std::u16string path = WinPath(pinned / name);
    links.shortcuts[path] = shortcut;
    return path;
  }
  static Shortcut Aimed(const std::u16string& target, std::optional<std::u16string> appId) {
    Shortcut s;
    s.target = target;
    s.arguments = u"--from-pin";
    s.appId = std::move(appId);
    return s;
  }
  fs::path pinned;
  platform::FakeShellLinks links;
};

// Which pinned shortcuts a normal start rewrites. The first scan matches a
// target below the install root; only when it finds nothing does the second
// match the AppUserModelID. Only a shortcut with the product's ID that does
// not aim at the launcher is rewritten.
TEST_F(ShortcutsTest, RepairTable) {
  const std::u16string R = WinPath(root) + u"\\";
  const std::u16string launcher = R + u"Orvane.exe";
  const std::u16string inApp = R + u"APP\\ORVANE.EXE";  // case is ignored
  const std::u16string elsewhere = u"D:\\Old\\Orvane\\app\\Orvane.exe";
  const std::u16string sibling = WinPath(root) + u"-old\\app\\Orvane.exe";
  const struct {
    std::vector<std::pair<std::string, Shortcut>> pins;
    std::vector<std::string> rewritten;
  } rows[] = {
      {{{"a.lnk", Aimed(inApp, kAppId)}}, {"a.lnk"}},
      {{{"a.lnk", Aimed(inApp, std::nullopt)}}, {}},
      {{{"a.lnk", Aimed(launcher, kAppId)}}, {}},
      {{{"a.lnk", Aimed(elsewhere, u"COM.ELECTRON.ORVANE")}}, {"a.lnk"}},
      // A first-scan match hides what only the second scan would find.
      {{{"a.lnk", Aimed(inApp, std::nullopt)}, {"b.lnk", Aimed(elsewhere, kAppId)}}, {}},
      {{{"a.lnk", Aimed(sibling, std::nullopt)}, {"b.lnk", Aimed(elsewhere, u"com.electron.Other")}}, {}},
      {{{"a.lnk", Aimed(u"", kAppId)}}, {}},  // no file-system target
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE("row " + std::to_string(i));
    fs::remove_all(pinned);
    links.shortcuts.clear();
    links.saved.clear();
    std::vector<std::u16string> want;
    for (const auto& [name, shortcut] : rows[i].pins) {
      const std::u16string path = Pin(name, shortcut);
      for (const std::string& r : rows[i].rewritten) {
        if (r == name) want.push_back(path);
      }
    }
    ResetApp();
    ASSERT_EQ(app.Run(u""), 0);
    EXPECT_EQ(links.saved, want);
    for (const std::u16string& path : want) {
      const Shortcut& s = links.shortcuts[path];
      EXPECT_EQ(std::make_tuple(s.target, s.iconPath, s.iconIndex, s.workingDirectory, s.arguments),
                std::make_tuple(launcher, launcher, 0, R + u"app\\", std::u16string(u"--from-pin")));
    }
  }
}

// The scan itself: a link that does not load is skipped, `stop` ends it, and
// each callback sees a fresh record.
TEST_F(ShortcutsTest, ScanSkipsUnreadableLinksAndStops) {
  Pin("a.lnk", Aimed(u"C:\\x\\a.exe", std::nullopt));
  WriteAll(pinned / "broken.lnk", "L");  // no shell link behind it
  Pin("c.lnk", Aimed(u"C:\\x\\c.exe", std::nullopt));
  std::vector<CShortcutInfo> found;
  int calls = 0;
  EXPECT_EQ(ScanShortcuts(WinPath(pinned),
                          [&](const CShortcutInfo& info, bool* matched, bool* stop) {
                            ++calls;
                            EXPECT_FALSE(*matched || *stop);
                            *matched = true;
                            *stop = info.displayName == u"c";
                          },
                          &found),
            2);
  EXPECT_EQ(calls, 2);
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[1].fileName, u"c.lnk");
  EXPECT_EQ(ScanShortcuts(u"", [](const CShortcutInfo&, bool*, bool*) {}, nullptr), 0);

  links.failing["Save"] = static_cast<int32_t>(platform::kHrFail);
  EXPECT_FALSE(UpdateShortcut(WinPath(pinned / "a.lnk"), u"C:\\l.exe", u"", u"", u"", 0, u""));
  links.failing.clear();
  fake.FailCall("ComInitialize", 0x8001010Eu);  // RPC_E_WRONG_THREAD
  EXPECT_FALSE(UpdateShortcut(WinPath(pinned / "a.lnk"), u"C:\\l.exe", u"", u"", u"", 0, u""));
  EXPECT_TRUE(links.saved.empty());
}

}  // namespace
