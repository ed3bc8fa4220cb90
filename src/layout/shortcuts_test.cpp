#include "layout/shortcuts.h"

#include <algorithm>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "app/launcher_test_fixture.h"
#include "platform/shell/fake_shell_links.h"

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
  static Shortcut Aimed(const std::u16string& target, std::optional<std::u16string> appId,
                        const std::u16string& arguments = u"--from-pin") {
    Shortcut s;
    s.target = target;
    s.arguments = arguments;
    s.appId = std::move(appId);
    return s;
  }
  // The repair's lines of the log: the messages after the tag.
  std::vector<std::string> RepairLines() {
    std::vector<std::string> lines;
    const std::string log = Log();
    for (size_t at = 0, end; at < log.size(); at = end + 2) {
      end = std::min(log.find("\r\n", at), log.size());
      const std::string line = log.substr(at, end - at);
      const size_t tag = line.find("] [launcher] ");
      const std::string message = tag == std::string::npos ? line : line.substr(tag + 13);
      if (message.rfind("Matched shortcut", 0) == 0 || message.rfind("PinnedTaskBar", 0) == 0 ||
          message.find(" not exist, ") != std::string::npos) {
        lines.push_back(message);
      }
    }
    return lines;
  }
  fs::path pinned;
  platform::FakeShellLinks links;
};

// The message as the log writes it with --disallow_encode_log: the span from
// the first to the last word holding a backslash becomes its size.
std::string SizeNoted(const std::u16string& message) {
  const std::string text = launcher_test::Narrow(message);
  const size_t first = text.find('\\');
  if (first == std::string::npos) return text;
  const size_t blank = text.rfind(' ', first);
  const size_t start = blank == std::string::npos ? 0 : blank + 1;
  const size_t end = std::min(text.find(' ', text.rfind('\\')), text.size());
  return text.substr(0, start) + "str size:" + std::to_string(end - start) + text.substr(end);
}

// Which pinned shortcuts a normal start rewrites, and what it logs. The first
// scan matches a target below the install root; only when it finds nothing
// does the second match the AppUserModelID. Only a shortcut with the
// product's ID that does not aim at the launcher is rewritten, keeping its
// own arguments and ID.
TEST_F(ShortcutsTest, RepairTable) {
  const std::u16string R = WinPath(root) + u"\\";
  const std::u16string launcher = R + u"Orvane.exe";
  const std::u16string inApp = R + u"APP\\ORVANE.EXE";  // case is ignored
  const std::u16string elsewhere = u"D:\\Old\\Orvane\\app\\Orvane.exe";
  const std::u16string sibling = WinPath(root) + u"-old\\app\\Orvane.exe";
  const struct {
    std::vector<std::pair<std::string, Shortcut>> pins;
    std::vector<std::string> matched, rewritten;  // in list order
    bool launcherThere = true;
  } rows[] = {
      {{{"a.lnk", Aimed(inApp, kAppId, u"--a")}}, {"a.lnk"}, {"a.lnk"}},
      {{{"a.lnk", Aimed(inApp, std::nullopt)}}, {"a.lnk"}, {}},
      {{{"a.lnk", Aimed(launcher, kAppId)}}, {"a.lnk"}, {}},
      {{{"a.lnk", Aimed(elsewhere, u"COM.ELECTRON.ORVANE", u"")}}, {"a.lnk"}, {"a.lnk"}},
      {{{"a.lnk", Aimed(inApp, kAppId, u"--a")}, {"b.lnk", Aimed(launcher, kAppId)}}, {"a.lnk", "b.lnk"}, {"a.lnk"}},
      // A first-scan match hides what only the second scan would find.
      {{{"a.lnk", Aimed(inApp, std::nullopt)}, {"b.lnk", Aimed(elsewhere, kAppId)}}, {"a.lnk"}, {}},
      {{{"a.lnk", Aimed(sibling, std::nullopt)}, {"b.lnk", Aimed(elsewhere, u"com.electron.Other")}}, {}, {}},
      {{{"a.lnk", Aimed(u"", kAppId)}}, {}, {}},  // no file-system target
      {{{"a.lnk", Aimed(inApp, kAppId)}}, {}, {}, false},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE("row " + std::to_string(i));
    fs::remove_all(pinned);
    links.shortcuts.clear();
    links.saved.clear();
    std::map<std::string, std::u16string> paths;
    std::map<std::string, Shortcut> before;
    for (const auto& [name, shortcut] : rows[i].pins) paths[name] = Pin(name, before[name] = shortcut);
    fs::remove(root / "Orvane.exe");
    if (rows[i].launcherThere) MakeExe("Orvane.exe");
    ResetApp();
    ASSERT_EQ(app.Run(u"--disallow_encode_log"), 0);

    std::vector<std::u16string> want;
    std::vector<std::string> logged;
    if (!rows[i].launcherThere) logged.push_back(SizeNoted(launcher + u" not exist, "));
    for (const std::string& name : rows[i].matched) {
      const bool rewrite = std::find(rows[i].rewritten.begin(), rows[i].rewritten.end(), name) !=
                           rows[i].rewritten.end();
      logged.push_back(
          SizeNoted(u"Matched shortcut, lnkpath = " + paths[name] + u", exePath = " + before[name].target));
      logged.push_back(rewrite ? SizeNoted(u"PinnedTaskBar Lnked_exe redirect => " + launcher)
                               : "PinnedTaskBar Lnked_exe do nothing");
      if (rewrite) want.push_back(paths[name]);
    }
    EXPECT_EQ(RepairLines(), logged);
    EXPECT_EQ(links.saved, want);
    for (const std::string& name : rows[i].rewritten) {
      const Shortcut& s = links.shortcuts[paths[name]];
      EXPECT_EQ(std::make_tuple(s.target, s.iconPath, s.iconIndex, s.workingDirectory, s.arguments, s.appId),
                std::make_tuple(launcher, launcher, 0, R + u"app\\", before[name].arguments, before[name].appId));
    }
  }
}

// The scan itself: a link that does not load is skipped, `stop` ends it after
// the entry that set it (d.lnk is never read), and each callback sees a fresh
// record.
TEST_F(ShortcutsTest, ScanSkipsUnreadableLinksAndStops) {
  Pin("a.lnk", Aimed(u"C:\\x\\a.exe", std::nullopt));
  WriteAll(pinned / "broken.lnk", "L");  // no shell link behind it
  Pin("c.lnk", Aimed(u"C:\\x\\c.exe", std::nullopt));
  Pin("d.lnk", Aimed(u"C:\\x\\d.exe", std::nullopt));
  std::vector<CShortcutInfo> found;
  std::vector<std::u16string> seen;
  EXPECT_EQ(ScanShortcuts(WinPath(pinned),
                          [&](const CShortcutInfo& info, bool* matched, bool* stop) {
                            seen.push_back(info.displayName);
                            EXPECT_FALSE(*matched || *stop);
                            *matched = true;
                            *stop = info.displayName == u"c";
                          },
                          &found),
            2);
  EXPECT_EQ(seen, (std::vector<std::u16string>{u"a", u"c"}));
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[1].exePath, u"C:\\x\\c.exe");
  EXPECT_EQ(ScanShortcuts(u"", [](const CShortcutInfo&, bool*, bool*) {}, nullptr), 0);

  links.failing["Save"] = static_cast<int32_t>(platform::kHrFail);
  EXPECT_FALSE(UpdateShortcut(WinPath(pinned / "a.lnk"), u"C:\\l.exe", u"", u"", u"", 0, u""));
  links.failing.clear();
  fake.FailCall("ComInitialize", 0x8001010Eu);  // RPC_E_WRONG_THREAD
  EXPECT_FALSE(UpdateShortcut(WinPath(pinned / "a.lnk"), u"C:\\l.exe", u"", u"", u"", 0, u""));
  EXPECT_TRUE(links.saved.empty());
}

}  // namespace
