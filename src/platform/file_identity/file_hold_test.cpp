// The hold against the Windows namespace of the fake, with the calls the
// Windows backend makes: what it opens, what it refuses, and what a caller
// racing it can and cannot change.
#include "platform/file_identity/file_hold.h"

#include <functional>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "platform/file_identity/fake_windows_files.h"
#include "platform/text/unicode.h"

namespace {

using platform::FakeWindowsFiles;
using platform::HeldFile;

std::string N(const std::u16string& text) { return platform::Utf16ToUtf8(text); }

TEST(FilePathTest, ParentDirectoriesStopBelowTheRootAndAbsolutePaths) {
  const struct { std::u16string path, parent; } parents[] = {
      {u"C:\\a\\b\\c.exe", u"C:\\a\\b"}, {u"C:\\a\\b", u"C:\\a"}, {u"C:\\a", u""}, {u"C:\\", u""},
      {u"C:\\a\\\\b.exe", u"C:\\a"}, {u"\\\\server\\share\\dir\\x.exe", u"\\\\server\\share\\dir"},
      {u"\\\\server\\share\\dir", u""}, {u"/tmp/x/y", u"/tmp/x"}, {u"/tmp", u""},
      {u"\\\\?\\C:\\a\\b.exe", u"\\\\?\\C:\\a"}, {u"\\\\?\\C:\\a", u""},
      {u"\\\\?\\UNC\\srv\\share\\d\\x.exe", u"\\\\?\\UNC\\srv\\share\\d"}, {u"\\\\?\\UNC\\srv\\share\\d", u""},
      {u"\\\\?\\unc\\srv\\share\\d", u""}, {u"\\\\?\\UNC\\srv\\share", u""},
      {u"\\\\?\\Volume{1b3c}\\d\\x.exe", u"\\\\?\\Volume{1b3c}\\d"}, {u"\\\\?\\Volume{1b3c}\\d", u""},
      {u"sub\\child.exe", u"sub"}, {u"child.exe", u""}, {u"", u""},
  };
  for (const auto& row : parents) EXPECT_EQ(platform::ParentDirectoryOf(row.path), row.parent) << N(row.path);

  const struct { std::u16string path; bool absolute; } paths[] = {
      {u"C:\\x.exe", true}, {u"c:/x.exe", true}, {u"\\\\srv\\share\\x.exe", true}, {u"\\\\?\\C:\\x", true},
      {u"C:x.exe", false}, {u"\\x.exe", false}, {u"x.exe", false}, {u"..\\x.exe", false}, {u"\\\\\\x", false},
      {u"", false},
  };
  for (const auto& row : paths) EXPECT_EQ(platform::IsAbsoluteWindowsPath(row.path), row.absolute) << N(row.path);
}

// The form a final path is started by: plain where Windows reads it back to
// the same names, verbatim otherwise.
TEST(FilePathTest, PlainFormOnlyWhereItNamesTheSameEntries) {
  const std::u16string longest(250, u'a');  // "C:\\" + 250 + "\\b.exe": 259 characters, the most MAX_PATH holds
  const struct { std::u16string finalPath, started; } rows[] = {
      {u"\\\\?\\C:\\a\\b.exe", u"C:\\a\\b.exe"}, {u"\\\\?\\UNC\\srv\\share\\a\\b.exe", u"\\\\srv\\share\\a\\b.exe"},
      {u"\\\\?\\C:\\a\\b", u"C:\\a\\b"}, {u"\\\\?\\C:\\a.\\b.exe", u"\\\\?\\C:\\a.\\b.exe"},
      {u"\\\\?\\C:\\a \\b.exe", u"\\\\?\\C:\\a \\b.exe"}, {u"\\\\?\\C:\\a\\..\\b.exe", u"\\\\?\\C:\\a\\..\\b.exe"},
      {u"\\\\?\\C:\\nul\\b.exe", u"\\\\?\\C:\\nul\\b.exe"}, {u"\\\\?\\C:\\d\\Com1.txt", u"\\\\?\\C:\\d\\Com1.txt"},
      {u"\\\\?\\C:\\d\\lpt\u00B9", u"\\\\?\\C:\\d\\lpt\u00B9"}, {u"\\\\?\\C:\\d\\CONOUT$", u"\\\\?\\C:\\d\\CONOUT$"},
      {u"\\\\?\\C:\\d\\COM10", u"C:\\d\\COM10"}, {u"\\\\?\\C:\\d\\console.exe", u"C:\\d\\console.exe"},
      {u"\\\\?\\C:\\" + longest + u"\\b.exe", u"C:\\" + longest + u"\\b.exe"},
      {u"\\\\?\\C:\\" + longest + u"a\\b.exe", u"\\\\?\\C:\\" + longest + u"a\\b.exe"},
      {u"\\\\?\\Volume{1b3c}\\b.exe", u"\\\\?\\Volume{1b3c}\\b.exe"}, {u"\\tmp\\b", u"\\tmp\\b"},
  };
  for (const auto& row : rows) EXPECT_EQ(N(platform::PlainFormOf(row.finalPath)), N(row.started)) << N(row.finalPath);
}

class HeldFileTest : public ::testing::Test {
 protected:
  HeldFileTest() {
    files.AddFile(u"C:\\Program Files\\Orvane\\updater\\child.exe", u"signed");
    files.AddDirectory(u"C:\\Program Files\\Orvane\\updater\\empty");
    files.AddJunction(u"C:\\Users\\eve\\link", u"C:\\Program Files\\Orvane\\updater");
    files.AddFile(u"C:\\Users\\eve\\evil\\child.exe", u"foreign");
    files.AddFile(u"\\\\srv\\share\\apps\\child.exe", u"on a share");
    files.AddFile(u"\\\\?\\C:\\odd\\child.", u"odd");
  }
  // The CreateFileW lines of the calls made.
  std::vector<std::string> Opens() const {
    std::vector<std::string> opens;
    for (const std::string& call : files.calls) {
      if (call.rfind("CreateFileW", 0) == 0) opens.push_back(call);
    }
    return opens;
  }

  FakeWindowsFiles files;
};

constexpr char16_t kFinal[] = u"C:\\Program Files\\Orvane\\updater\\child.exe";

TEST_F(HeldFileTest, HoldsTheFileAndEveryDirectoryOfItsFinalPath) {
  const std::vector<std::string> programFiles = {
      "CreateFileW \\\\?\\C:\\Program Files directory", "CreateFileW \\\\?\\C:\\Program Files\\Orvane directory",
      "CreateFileW \\\\?\\C:\\Program Files\\Orvane\\updater directory",
      "CreateFileW C:\\Program Files\\Orvane\\updater\\child.exe file"};
  const struct Row {
    const char* what; std::u16string path; uint32_t error; std::u16string finalPath; std::vector<std::string> opens;
  } rows[] = {
      {"a plain path", u"C:\\Program Files\\Orvane\\updater\\child.exe", 0, kFinal, programFiles},
      {"letter case as stored", u"c:\\program files\\ORVANE\\Updater\\CHILD.EXE", 0, kFinal, programFiles},
      // The junction is followed once, by the first open; nothing of the
      // requested path is held, only the path the file really has.
      {"through a junction", u"C:\\Users\\eve\\link\\child.exe", 0, kFinal, programFiles},
      {"dots resolved", u"C:\\Users\\eve\\..\\..\\Program Files\\Orvane\\.\\updater\\child.exe", 0, kFinal,
       programFiles},
      // The server and the share are never opened as directories.
      {"a share", u"\\\\srv\\share\\apps\\child.exe", 0, u"\\\\srv\\share\\apps\\child.exe",
       {"CreateFileW \\\\?\\UNC\\srv\\share\\apps directory", "CreateFileW \\\\srv\\share\\apps\\child.exe file"}},
      {"a share, verbatim", u"\\\\?\\UNC\\srv\\share\\apps\\child.exe", 0, u"\\\\srv\\share\\apps\\child.exe",
       {"CreateFileW \\\\?\\UNC\\srv\\share\\apps directory", "CreateFileW \\\\srv\\share\\apps\\child.exe file"}},
      // A name that the plain form would lose its dot: started verbatim.
      {"a name ending in a dot", u"\\\\?\\C:\\odd\\child.", 0, u"\\\\?\\C:\\odd\\child.",
       {"CreateFileW \\\\?\\C:\\odd directory", "CreateFileW \\\\?\\C:\\odd\\child. file"}},
      {"relative", u"updater\\child.exe", platform::kErrorBadPathname, u"", {}},
      {"rooted on no drive", u"\\Program Files\\Orvane\\updater\\child.exe", platform::kErrorBadPathname, u"", {}},
      {"drive-relative", u"C:child.exe", platform::kErrorBadPathname, u"", {}},
      {"empty", u"", platform::kErrorBadPathname, u"", {}},
      {"missing file", u"C:\\Program Files\\Orvane\\updater\\none.exe", platform::kErrorFileNotFound, u"", {}},
      {"missing directory", u"C:\\Program Files\\Orvane\\none\\child.exe", platform::kErrorPathNotFound, u"", {}},
      {"a directory", u"C:\\Program Files\\Orvane\\updater\\empty", platform::kErrorAccessDenied, u"", {}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    files.calls.clear();
    HeldFile held;
    EXPECT_EQ(held.Hold(row.path), row.error == 0);
    EXPECT_EQ(held.error(), row.error);
    EXPECT_EQ(N(held.finalPath()), N(row.finalPath));
    if (row.error != 0) {
      EXPECT_EQ(files.OpenHandles(), 0u) << "a failed hold leaves nothing open";
      continue;
    }
    std::vector<std::string> opens = Opens();
    ASSERT_FALSE(opens.empty());
    opens.erase(opens.begin());  // the requested path, opened first
    EXPECT_EQ(opens, row.opens);
    EXPECT_EQ(files.OpenHandles(), row.opens.size()) << "the file and each directory; the second open is closed";
    held.Release();
    EXPECT_EQ(files.OpenHandles(), 0u);
  }
}

// A caller who owns part of the path races the hold: whatever he does, the
// hold either fails with 32 or its final path leads to the held file.
TEST_F(HeldFileTest, ARaceEndsInAFailureOrInTheHeldFile) {
  using Act = std::function<void(FakeWindowsFiles&)>;
  const std::u16string updater = u"C:\\Program Files\\Orvane\\updater";
  const struct Row {
    const char* what; std::u16string path; const char* after; Act act; uint32_t error;
  } rows[] = {
      // Caught by the second open: the name leads to another file.
      {"directory renamed and rebuilt once the final path is taken", u"C:\\Users\\eve\\link\\child.exe",
       "GetFinalPathNameByHandleW",
       [&](FakeWindowsFiles& f) {
         f.Rename(updater, updater + u".old");
         f.AddFile(updater + u"\\child.exe", u"foreign");
       },
       platform::kErrorSharingViolation},
      // Caught by the directory's own final path: a junction to where the
      // directory went would still lead to the held file, but could be
      // swapped again later.
      {"directory replaced by a junction to itself", u"C:\\Users\\eve\\link\\child.exe", "GetFinalPathNameByHandleW",
       [&](FakeWindowsFiles& f) {
         f.Rename(updater, updater + u".real");
         f.AddJunction(updater, updater + u".real");
       },
       platform::kErrorSharingViolation},
      {"the requested junction swapped after the file was opened", u"C:\\Users\\eve\\link\\child.exe",
       "CreateFileW C:\\Users\\eve\\link\\child.exe file",
       [](FakeWindowsFiles& f) {
         f.Remove(u"C:\\Users\\eve\\link");
         f.AddJunction(u"C:\\Users\\eve\\link", u"C:\\Users\\eve\\evil");
       },
       0},
      {"a parent rename refused once it is held", u"C:\\Program Files\\Orvane\\updater\\child.exe",
       "CreateFileW \\\\?\\C:\\Program Files\\Orvane directory",
       [](FakeWindowsFiles& f) { EXPECT_EQ(f.Rename(u"C:\\Program Files\\Orvane", u"C:\\Program Files\\O2"), 32u); },
       0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    FakeWindowsFiles fresh;
    fresh.AddFile(updater + u"\\child.exe", u"signed");
    fresh.AddJunction(u"C:\\Users\\eve\\link", updater);
    fresh.AddFile(u"C:\\Users\\eve\\evil\\child.exe", u"foreign");
    bool acted = false;
    fresh.afterCall = [&](const std::string& call) {
      if (!acted && call.rfind(row.after, 0) == 0) {
        acted = true;
        row.act(fresh);
      }
    };
    HeldFile held;
    EXPECT_EQ(held.Hold(row.path), row.error == 0);
    EXPECT_TRUE(acted);
    EXPECT_EQ(held.error(), row.error);
    if (row.error == 0) {
      EXPECT_EQ(N(fresh.TagAt(held.finalPath())), "signed");
    }
    fresh.afterCall = nullptr;
    held.Release();
    EXPECT_EQ(fresh.OpenHandles(), 0u);
  }
}

// While held, nothing on the final path can be written, renamed or deleted;
// a junction of the requested path can change, and leads nowhere that
// matters. Released, all of it moves again.
TEST_F(HeldFileTest, WhileHeldNothingOnTheFinalPathMoves) {
  HeldFile held;
  ASSERT_TRUE(held.Hold(u"C:\\Users\\eve\\link\\child.exe"));
  const std::u16string dir = u"C:\\Program Files\\Orvane\\updater";
  const struct { const char* what; std::function<uint32_t()> attempt; uint32_t heldAnswer; } rows[] = {
      {"write the file", [&] { return files.Write(dir + u"\\child.exe", u"foreign"); }, 32},
      {"rename the file", [&] { return files.Rename(dir + u"\\child.exe", dir + u"\\old.exe"); }, 32},
      {"delete the file", [&] { return files.Remove(dir + u"\\child.exe"); }, 32},
      {"rename its directory", [&] { return files.Rename(dir, dir + u".old"); }, 32},
      {"rename the directory above", [&] { return files.Rename(u"C:\\Program Files", u"C:\\PF"); }, 32},
      {"re-point the requested junction", [&] {
         const uint32_t removed = files.Remove(u"C:\\Users\\eve\\link");
         files.AddJunction(u"C:\\Users\\eve\\link", u"C:\\Users\\eve\\evil");
         return removed;
       }, 0},
  };
  for (const auto& row : rows) EXPECT_EQ(row.attempt(), row.heldAnswer) << row.what;
  EXPECT_EQ(N(files.TagAt(held.finalPath())), "signed");
  EXPECT_EQ(N(files.TagAt(u"C:\\Users\\eve\\link\\child.exe")), "foreign");
  held.Release();
  EXPECT_EQ(files.Rename(u"C:\\Program Files", u"C:\\PF"), 0u);
}

}  // namespace
