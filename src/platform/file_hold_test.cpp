#include "platform/file_hold.h"

#include "gtest/gtest.h"

namespace {

// The directories a hold walks up through; roots never move and are left out.
TEST(ParentDirectoryTest, StopsBelowTheRoot) {
  const struct { std::u16string path, parent; } rows[] = {
      {u"C:\\a\\b\\c.exe", u"C:\\a\\b"}, {u"C:\\a\\b", u"C:\\a"}, {u"C:\\a", u""}, {u"C:\\", u""},
      {u"C:\\a\\\\b.exe", u"C:\\a"}, {u"\\\\server\\share\\dir\\x.exe", u"\\\\server\\share\\dir"},
      {u"\\\\server\\share\\dir", u""}, {u"/tmp/x/y", u"/tmp/x"}, {u"/tmp", u""},
      {u"sub\\child.exe", u"sub"}, {u"child.exe", u""}, {u"", u""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(platform::ParentDirectoryOf(row.path), row.parent) << std::string(row.path.begin(), row.path.end());
  }
}

}  // namespace
