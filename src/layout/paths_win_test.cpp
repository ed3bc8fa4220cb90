// Oracle: our file name and extension offsets against the shell's own
// PathFindFileNameW and PathFindExtensionW over a table of awkward paths.
#include <windows.h>
#include <shlwapi.h>

#include <string>

#include <gtest/gtest.h>

#include "base/text.h"
#include "layout/paths.h"
#include "platform/text/win_text.h"

namespace {

TEST(PathsWinTest, OffsetsMatchTheShell) {
  const std::u16string paths[] = {
      u"C:\\a\\b.exe",   u"C:\\a\\b\\",      u"C:\\a\\b\\\\",   u"C:\\",         u"C:",
      u"C:b.txt",        u"b.exe",           u"\\\\server\\share", u"\\\\server\\", u"C:\\a/b.txt",
      u"C:\\a/b/",       u"/",               u"\\",             u"a\\\\b",       u"C:\\a\\app.todelete-17",
      u"C:\\a\\my file.a b", u"C:\\a\\.hidden", u"C:\\a\\b.",   u"C:\\a\\b.x\\", u"C:\\a.b\\c",
      u"C:\\a\\b..txt",  u"C:\\a\\b.t/x",    u"C:\\a\\b.tar.gz", u"x:y:z",       u"C:\\a\\ b",
  };
  for (size_t i = 0; i < sizeof paths / sizeof paths[0]; ++i) {
    const std::u16string& path = paths[i];
    const wchar_t* wide = platform::AsWide(path);
    const size_t shellName = static_cast<size_t>(PathFindFileNameW(wide) - wide);
    EXPECT_EQ(FindFileNameOffset(path), shellName) << "row " << i << " " << WideToUtf8(path);
    const size_t shellExt = static_cast<size_t>(PathFindExtensionW(wide) - wide);
    EXPECT_EQ(FindExtensionOffset(path), shellExt) << "row " << i << " " << WideToUtf8(path);
  }
}

}  // namespace
