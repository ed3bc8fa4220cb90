#include "layout/version_dirs.h"

#include <iterator>
#include <string>
#include <vector>

#include "app/launcher_test_fixture.h"
#include "gtest/gtest.h"
#include "platform/file_identity/fake_file_identity.h"

namespace {

using launcher_test::Narrow;
using launcher_test::WinPath;

TEST(VersionOrderTest, CompareRows) {
  const struct {
    std::u16string a, b;
    int sign;  // of CompareVersionDirNames(a, b)
  } rows[] = {
      {u"1.10.0", u"1.9.9", 1},          {u"1.2", u"1.2.0.0", 0},        {u"1.0.0.2", u"1.0.0.1", 1},
      {u"1.2.3.4.5", u"1.2.3.4", 0},     // a fifth field is ignored
      {u"70000", u"4464", 0},            // fields are cut to 16 bits
      {u"40000.0", u"1.0", -1},          // the unsigned difference wraps the sign
      {u"1.78.4", u"1.78.4-beta", 1},    // no suffix outranks a suffix
      {u"1.78.4-alpha", u"1.78.4-beta", 1},  // the earlier suffix counts as newer
      {u"1.0-BETA", u"1.0-beta", 0},     {u"1.79.0.todelete-1700000000", u"1.79.0", -1},
      {u"1-9-a", u"1-10-a", -1},         // split at the first dash only
      {u"4294967298", u"1", -1},         // saturates to 0xFFFF, which wraps the sign
  };
  for (const auto& row : rows) {
    const int32_t r = CompareVersionDirNames(row.a, row.b);
    EXPECT_EQ((r > 0) - (r < 0), row.sign) << Narrow(row.a) << " vs " << Narrow(row.b);
  }
}

// A name in Orvane.ini names a version directory only when it is one plain
// directory name; Windows drops a trailing dot or blank, so those lead
// elsewhere too.
TEST(VersionOrderTest, PlainDirNameRows) {
  const struct { std::u16string name; bool plain; } rows[] = {
      {u"app", true},        {u"1.78.4", true},      {u"1.78.4-beta", true}, {u" app", true},
      {u"app\n", true},     // fails the probe as it stands
      {u"", false},          {u"   ", false},        {u"\t\r\n", false},     {u".", false},
      {u"..", false},        {u"...", false},        {u". ", false},         {u"app.", false},
      {u"app ", false},      {u"app\\..\\..", false}, {u"a\\b", false},      {u"a/b", false},
      {u"c:x", false},       {u"app:stream", false},
  };
  for (const auto& row : rows) EXPECT_EQ(IsPlainDirName(row.name), row.plain) << Narrow(row.name);
}

class VersionDirsTest : public launcher_test::LauncherTest {
 protected:
  VersionDirsTest() {
    config.exe_file_name = u"Vornapp.exe";
    config.version_dir_name = u"app";
  }
  CProductConfig config;
};

// A manifest with a BOM, or naming a missing file, is proven end to end. A
// manifest without a launch name is logged only when the file names fail too.
TEST_F(VersionDirsTest, ProbeRows) {
  const struct {
    const char* manifest;  // null: none
    std::vector<std::string> files;
    std::string exe;  // relative to the directory; empty: nothing found
    bool fromManifest;
  } rows[] = {
      {"{\"launchName\":\"bin\\\\Main.exe\"}", {"bin/Main.exe", "Vornapp.exe"}, "bin/Main.exe", true},
      {nullptr, {"Vornapp.exe", "Orvane.exe"}, "Vornapp.exe", false},
      {"not json", {"Orvane.exe"}, "Orvane.exe", false},
      {"{\"launchName\":7}", {}, "", false},
      {"{\"other\":2}", {"Orvane.exe"}, "Orvane.exe", false},
      {nullptr, {}, "", false},
      // A launchName that leads to the launcher itself names no application.
      {"{\"launchName\":\"..\\\\Orvane.exe\"}", {"Vornapp.exe"}, "Vornapp.exe", false},
      {"{\"launchName\":\"..\\\\Orvane.exe\"}", {}, "", false},
  };
  MakeExe("Orvane.exe");  // the launcher
  OpenLogFile(WinPath(base_ / "log"), u"probe.log");
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE("row " + std::to_string(i));
    const auto dir = root / ("v" + std::to_string(i));
    std::filesystem::create_directories(dir);
    if (rows[i].manifest != nullptr) launcher_test::WriteAll(dir / "manifest.json", rows[i].manifest);
    for (const auto& file : rows[i].files) launcher_test::WriteAll(dir / file, "MZ");
    std::u16string exe = u"untouched";
    bool fromManifest = !rows[i].fromManifest;
    const bool found = !rows[i].exe.empty();
    EXPECT_EQ(ProbeVersionDir(WinPath(dir), config, &exe, &fromManifest), found);
    EXPECT_EQ(exe, found ? WinPath(dir / rows[i].exe) : u"untouched");
    EXPECT_EQ(fromManifest, rows[i].fromManifest);
  }
  const std::string log = launcher_test::ReadAll(base_ / "log" / "probe.log");
  EXPECT_NE(log.find("[ERRO][ 4312][ 9120] [] Parse manifest.json failed, text=not json\r\n"), std::string::npos)
      << log;
  EXPECT_NE(log.find("Not find launchName in manifest.json, text={\"launchName\":7}"), std::string::npos) << log;
  EXPECT_EQ(log.find("{\"other\":2}"), std::string::npos) << log;
  // Both manifests that name the launcher are logged as naming no file.
  const std::string missing = "Not exists launchName file, ";
  size_t logged = 0;
  for (size_t at = log.find(missing); at != std::string::npos; at = log.find(missing, at + 1)) ++logged;
  EXPECT_EQ(logged, 2u) << log;
}

// The root holds the launcher as Orvane.exe in every row.
TEST_F(VersionDirsTest, FindMainExeRows) {
  const struct {
    std::vector<std::string> exes;  // relative to the root; directories follow
    const char* ini;                // null: no ini file
    std::string name;               // chosen directory; empty: nothing found
    std::string exe;
    std::vector<std::string> launcher = {};  // the launcher itself, as a hard link or a junction makes it
    const char* unidentified = nullptr;      // whose identity cannot be taken (error 5)
  } rows[] = {
      {{"app/Vornapp.exe", "2.0.0/Vornapp.exe"}, nullptr, "app", "app/Vornapp.exe"},
      {{"app/Vornapp.exe", "1.0/Orvane.exe"}, "1.0", "1.0", "1.0/Orvane.exe"},
      {{"app/Vornapp.exe", "1.0/x.txt"}, "1.0", "app", "app/Vornapp.exe"},
      {{"1.9.9/Vornapp.exe", "1.10.0/Vornapp.exe", "2.0.0/half.dll", "app/readme"}, nullptr, "1.10.0",
       "1.10.0/Vornapp.exe"},
      {{"1.78.0/Vornapp.exe", "1.79.0.todelete-1700000000/Vornapp.exe"}, nullptr, "1.79.0.todelete-1700000000",
       "1.79.0.todelete-1700000000/Vornapp.exe"},
      {{"Vornapp.exe", "9.0/nothing.txt"}, nullptr, "", ""},
      // Equal versions: the key of the first listed, the exe of the last, in
      // the upper-case order NTFS lists them ("1B" before "1_").
      {{"1_/Vornapp.exe", "1B/Vornapp.exe"}, nullptr, "1B", "1_/Vornapp.exe"},
      // An ini that names no plain directory is read as absent, though what
      // it leads to holds a main executable.
      {{"Vornapp.exe", "app/Vornapp.exe"}, ".", "app", "app/Vornapp.exe"},
      {{"../Vornapp.exe", "app/Vornapp.exe"}, "..", "app", "app/Vornapp.exe"},
      {{"../Vornapp.exe", "app/Vornapp.exe"}, "app\\..\\..", "app", "app/Vornapp.exe"},
      {{"a/b/Vornapp.exe", "app/Vornapp.exe"}, "a\\b", "app", "app/Vornapp.exe"},
      {{"Vornapp.exe", "2.0/Vornapp.exe"}, ".", "2.0", "2.0/Vornapp.exe"},
      // The launcher is never a main executable, whichever path leads to it.
      {{"app/Orvane.exe", "1.0/Vornapp.exe"}, "app", "1.0", "1.0/Vornapp.exe", {"app/Orvane.exe"}},
      {{"app/Vornapp.exe", "app/Orvane.exe", "1.0/x.txt"}, nullptr, "app", "app/Orvane.exe", {"app/Vornapp.exe"}},
      {{"app/Orvane.exe"}, nullptr, "", "", {"app/Orvane.exe"}},
      // What cannot be identified is not taken for the launcher.
      {{"app/Vornapp.exe"}, nullptr, "app", "app/Vornapp.exe", {}, "app/Vornapp.exe"},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE("row " + std::to_string(i));
    std::filesystem::remove_all(root);
    std::filesystem::remove(base_ / "Vornapp.exe");
    std::filesystem::create_directories(root);
    MakeExe("Orvane.exe");
    for (const auto& exe : rows[i].exes) MakeExe(exe);
    if (rows[i].ini != nullptr) launcher_test::WriteAll(root / "Orvane.ini", rows[i].ini);
    platform::FakeFileIdentity identity;
    for (const auto& path : rows[i].launcher) identity.sameAs[WinPath(root / path)] = fake.modulePath;
    if (rows[i].unidentified != nullptr) identity.failures[WinPath(root / rows[i].unidentified)] = 5;
    std::u16string name = u"before", exe = u"before";
    bool fromManifest = true;
    const bool found = FindMainExe(config, WinPath(root) + u"\\", &name, &exe, &fromManifest);
    EXPECT_EQ(found, !rows[i].name.empty());
    EXPECT_EQ(Narrow(name), found ? rows[i].name : "before");
    EXPECT_EQ(exe, found ? WinPath(root / rows[i].exe) : u"before");
  }
}

}  // namespace
