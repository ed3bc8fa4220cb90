#include "toolkit/process_finders.h"

#include <filesystem>
#include <set>

#include "app/launcher_test_fixture.h"
#include "base/log_test_support.h"
#include "gtest/gtest.h"
#include "platform/fake_platform.h"
#include "platform/processes/fake_process_images.h"
#include "platform/shell/fake_shell_links.h"

namespace {

namespace fs = std::filesystem;
using platform::FakeProcessImages;

using launcher_test::WinPath;

void Touch(const fs::path& path) { launcher_test::WriteAll(path, "x"); }

std::u16string Upper(std::u16string text) {
  for (char16_t& c : text) c = c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - 32) : c;
  return text;
}

CProductConfig Config() {
  CProductConfig config;
  config.exe_file_name = u"Orvane.exe";
  config.product_name_en = u"Orvane Browser";
  config.product_name_cn = u"Orvane CN";
  config.product_name_jp = u"Orvane JP";
  return config;
}

// A temporary directory with two install roots: `root` holds Orvane.ini,
// `bare` does not.
class FinderTest : public ::testing::Test {
 protected:
  FinderTest() {
    Touch(base_ / "root" / "Orvane.ini");
    fs::create_directories(base_ / "bare" / "app");
  }
  // A process that opens and answers `path`.
  void Running(uint32_t pid, const std::u16string& path) {
    fake.processList.push_back({pid, 1, path.substr(path.rfind(u'\\') + 1)});
    images.processes[pid].modulePath = path;
  }
  static std::set<uint32_t> Ids(const std::vector<CFoundProcess>& list) {
    std::set<uint32_t> ids;
    for (const CFoundProcess& p : list) ids.insert(p.processId);
    return ids;
  }

  orvane_test::TempDir temp;
  const fs::path base_ = temp.path();
  const std::u16string root = WinPath(base_ / "root") + u"\\", bare = WinPath(base_ / "bare") + u"\\";
  platform::FakePlatform fake;
  FakeProcessImages images;
};

// The walk: identifier 0 never reaches the callback; a process that cannot
// be opened arrives with its bare name and no directory; `stop` ends the walk
// and only matched processes are counted and listed.
TEST_F(FinderTest, WalkRecords) {
  fake.processList = {{0, 0, u"[System Process]"}};
  Running(10, root + u"app\\Orvane.exe");
  fake.processList.push_back({11, 10, u"secret.exe"});
  images.processes[11].openError = platform::kErrorAccessDenied;
  Running(12, bare + u"app\\Orvane.exe");

  std::vector<CFoundProcess> seen;
  std::vector<CFoundProcess> listed;
  const int32_t count = Utils::FindProcess(
      [&](const CFoundProcess& p, bool* matched, bool* stop) {
        EXPECT_FALSE(*matched || *stop);
        seen.push_back(p);
        *matched = p.processId != 11;
      },
      &listed);
  ASSERT_EQ(seen.size(), 3u);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(Ids(listed), (std::set<uint32_t>{10, 12}));
  auto fields = [](const CFoundProcess& p) {
    return std::tie(p.processId, p.parentProcessId, p.name, p.path, p.directory);
  };
  EXPECT_EQ(fields(seen[0]), std::make_tuple(10u, 1u, u"Orvane.exe", root + u"app\\Orvane.exe", root + u"app\\"));
  EXPECT_EQ(fields(seen[1]), std::make_tuple(11u, 10u, u"secret.exe", u"secret.exe", u""));
  EXPECT_EQ(images.accessAsked.front(), 0x410u);
  EXPECT_EQ(images.OpenHandles(), 0u);

  seen.clear();
  EXPECT_EQ(Utils::FindProcess(
                [&](const CFoundProcess& p, bool* matched, bool* stop) {
                  seen.push_back(p);
                  *matched = *stop = true;
                },
                nullptr),
            1);
  EXPECT_EQ(seen.size(), 1u);

  fake.FailCall("SnapshotProcesses", 8);
  EXPECT_EQ(Utils::FindProcess([](const CFoundProcess&, bool* m, bool*) { *m = true; }, nullptr), 0);
}

// Who each process finder reports. The current process (fake pid 4312) runs
// from the install root's app directory and is never a hit.
TEST_F(FinderTest, ProcessFinderTable) {
  Running(4312, root + u"app\\Orvane.exe");
  Running(20, root + u"app\\Orvane.exe");
  Running(21, root + u"app\\helper.exe");
  Running(22, bare + u"app\\Orvane.exe");  // no Orvane.ini beside app
  Running(23, root + u"ORVANE.EXE");       // the launcher: its parent is no root
  Running(24, WinPath(base_ / "root-old") + u"\\app\\Orvane.exe");
  Running(26, root + u"app\\bin\\Orvane.exe");  // deeper than a version directory
  fake.processList.push_back({25, 1, u"Orvane.exe"});  // cannot be opened
  images.processes[25].openError = platform::kErrorAccessDenied;

  // product: the product finder, else the directory finder.
  struct Row { const char* what; bool product; std::u16string prefix; std::set<uint32_t> hits; } rows[] = {
      {"root with separator", false, root, {20, 21, 23, 26}},
      {"case folded", false, Upper(root), {20, 21, 23, 26}},
      {"app directory", false, root + u"App\\", {20, 21, 26}},
      {"root without separator takes the sibling", false, root.substr(0, root.size() - 1), {20, 21, 23, 24, 26}},
      {"product: no filter", true, u"", {20}},
      {"product: this root", true, root, {20}},
      {"product: other root", true, bare, {}},
      {"product: filter is a prefix of the root", true, WinPath(base_), {20}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    std::vector<CFoundProcess> found;
    EXPECT_EQ(row.product ? CVornProcessFinder().Find(Config(), &found, row.prefix)
                          : CDirectoryProcessFinder().Find(&found, row.prefix),
              !row.hits.empty());
    EXPECT_EQ(Ids(found), row.hits);
  }
}

// The image path: the module path when it can be read, else the device path
// turned into a drive path by the first drive whose device is its prefix.
TEST_F(FinderTest, ProcessFilePathTable) {
  const std::u16string drives = std::u16string(u"C:\\") + u'\0' + u"D:\\" + u'\0';
  struct Row {
    const char* what; FakeProcessImages::Process process; uint32_t drivesResult; std::u16string want;
  } rows[] = {
      {"module path", {0, u"C:\\x\\a.exe", 299, u"\\Device\\HarddiskVolume3\\x\\a.exe"}, 8, u"C:\\x\\a.exe"},
      {"device of D:", {0, u"", 299, u"\\device\\harddiskvolume3\\x\\a.exe"}, 8, u"D:\\x\\a.exe"},
      {"no drive fits", {0, u"", 299, u"\\Device\\Mup\\srv\\a.exe"}, 8, u""},
      {"drive list fails", {0, u"", 299, u"\\Device\\HarddiskVolume3\\x\\a.exe"}, 0, u""},
      {"drive list too long", {0, u"", 299, u"\\Device\\HarddiskVolume3\\x\\a.exe"}, 300, u""},
      {"image fails too", {0, u"", 299, u""}, 8, u""},
      {"cannot open", {5, u"C:\\x\\a.exe", 299, u""}, 8, u""},
  };
  images.devices = {{u"C:", u"\\Device\\HarddiskVolume2"}, {u"D:", u"\\Device\\HarddiskVolume3"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    images.processes[40] = row.process;
    images.drives = drives;
    images.drivesResult = row.drivesResult;
    images.accessAsked.clear();
    EXPECT_EQ(GetProcessFilePath(40), row.want);
    EXPECT_EQ(images.accessAsked, std::vector<uint32_t>{0x1000u});
    EXPECT_EQ(images.OpenHandles(), 0u);
  }
}

// The shortcut finder's name tests in their order, and the sweep that
// deletes the product's shortcuts whose target is gone.
TEST_F(FinderTest, ShortcutsAndSweep) {
  platform::FakeShellLinks links;
  platform::FakeShellFolders folders;
  const fs::path desktop = base_ / "desktop";
  const fs::path menu = base_ / "roaming" / "Microsoft" / "Windows" / "Start Menu" / "Programs";
  folders.folders[platform::kCsidlDesktopDirectory] = WinPath(desktop);
  fake.SetEnvValue(u"APPDATA", WinPath(base_ / "roaming"));
  const std::u16string alive = root + u"Orvane.ini";
  const std::u16string gone = root + u"Orvane.exe";
  const struct { fs::path dir; const char* name; std::u16string target; bool found, removed; } rows[] = {
      {desktop, "Orvane Browser.lnk", gone, true, true},
      {desktop, "orvane cn.lnk", alive, true, false},
      {desktop, "Orvane.lnk", gone, false, false},  // the fixed name is turned away
      {desktop, "Anything.lnk", gone, true, true},  // any other name is taken
      {desktop, "Empty.lnk", u"", false, false},    // no target: never reaches the finder
      {menu, "Orvane JP.lnk", gone, true, true},
  };
  std::set<std::u16string> wantFound, wantRemoved;
  for (const auto& row : rows) {
    Touch(row.dir / row.name);
    const std::u16string path = WinPath(row.dir / row.name);
    links.shortcuts[path].target = row.target;
    if (row.found && row.dir == desktop) wantFound.insert(path);
    if (row.removed) wantRemoved.insert(path);
  }

  std::vector<CShortcutInfo> found;
  ASSERT_TRUE(CVornShortcutFinder().Find(WinPath(desktop), Config(), &found));
  std::set<std::u16string> gotFound;
  for (const CShortcutInfo& s : found) gotFound.insert(s.lnkPath);
  EXPECT_EQ(gotFound, wantFound);

  // When a product name is "Orvane" itself, the name test for it comes first.
  CProductConfig named = Config();
  named.product_name_jp = u"Orvane";
  found.clear();
  CVornShortcutFinder().Find(WinPath(desktop), named, &found);
  EXPECT_EQ(found.size(), wantFound.size() + 1);

  std::vector<CShortcutInfo> removed;
  EXPECT_EQ(RemoveBrokenShortcuts(Config(), &removed), static_cast<int32_t>(wantRemoved.size()));
  std::set<std::u16string> gotRemoved;
  for (const CShortcutInfo& s : removed) gotRemoved.insert(s.lnkPath);
  EXPECT_EQ(gotRemoved, wantRemoved);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(fs::exists(row.dir / row.name), !row.removed);
  }
}

}  // namespace
