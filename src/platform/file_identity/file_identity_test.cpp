// The native file identity, on real files: natively and, in the Windows
// build, under Wine.
#include "platform/file_identity/file_identity.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "gtest/gtest.h"
#include "platform/error_codes.h"

namespace {

namespace fs = std::filesystem;

std::u16string Core(const fs::path& path) {
  std::u16string text = path.generic_u16string();
  for (char16_t& c : text) c = c == u'/' ? u'\\' : c;
  return text;
}

// Two spellings of one file are the same file; a copy, a neighbour or the
// directory holding it are not; what is missing cannot be identified.
TEST(FileIdentityTest, SameFileRows) {
  const fs::path dir = fs::temp_directory_path() / ("orvane_identity_" + std::to_string(std::random_device()()));
  fs::create_directories(dir / "sub");
  std::ofstream(dir / "Launcher.exe") << "MZ";
  fs::copy_file(dir / "Launcher.exe", dir / "copy.exe");
  std::error_code linked;
  fs::create_hard_link(dir / "Launcher.exe", dir / "sub" / "hard.exe", linked);
  ASSERT_FALSE(linked) << linked.message();
  const std::u16string D = Core(dir) + u"\\", L = D + u"Launcher.exe";
  const struct { std::u16string other; bool same; uint32_t error;
  } rows[] = {
      {L, true, 0},
      {D + u"LAUNCHER.EXE", true, 0},
      {D + u"sub\\..\\Launcher.exe", true, 0},
      {D + u".\\Launcher.exe", true, 0},
      {D + u"sub\\hard.exe", true, 0},
      {D + u"copy.exe", false, 0},
      {D + u"sub", false, 0},
      {D + u"missing.exe", false, 2},
      {D + u"nodir\\Launcher.exe", false, 3},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.other.begin(), row.other.end()));
    platform::SetLastErrorCode(0);
    EXPECT_EQ(platform::IsSameFile(L, row.other), row.same);
    if (row.error != 0) {
      EXPECT_EQ(platform::LastError(), row.error);
    }
  }
  std::error_code ignored;
  fs::remove_all(dir, ignored);
}

}  // namespace
