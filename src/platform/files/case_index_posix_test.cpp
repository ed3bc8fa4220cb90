// The Linux backend's case-blind lookup against a real directory: what it
// finds, that it never answers with a name that is gone or misses one that
// came, and that filling a large directory lists it once, not once a file.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "gtest/gtest.h"
#include "platform/files/files.h"
#include "platform/files/posix_case_index.h"
#include "platform/posix_translation.h"
#include "platform/text/unicode.h"

namespace platform {
namespace {

class CaseIndexTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/orvane-case-index-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    dir_ = pattern;
  }
  void TearDown() override { EXPECT_EQ(std::system(("rm -rf '" + dir_ + "'").c_str()), 0); }
  std::string P(const std::string& name) const { return dir_ + "/" + name; }
  // The same path in the Windows form the backend is called with.
  std::u16string W(const std::string& name) const {
    std::u16string w = Utf8ToUtf16(P(name));
    for (char16_t& c : w) c = c == u'/' ? u'\\' : c;
    return w;
  }
  void Touch(const std::string& name) { ::close(::open(P(name).c_str(), O_CREAT | O_WRONLY, 0644)); }
  // Moves the directory's modification time, as any change by another
  // process does once the file system's clock has ticked.
  void Tick(long seconds) {
    const struct timespec times[2] = {{0, UTIME_OMIT}, {seconds, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, dir_.c_str(), times, 0), 0);
  }
  std::string Find(const std::string& name) {
    std::string match;
    return posix::FindNameIgnoringCase(dir_, name, &match) ? match : "(none)";
  }
  std::string dir_;
};

TEST_F(CaseIndexTest, AnswersAsAScanOfTheDirectoryWouldNow) {
  Touch("Setup.LOG");
  ::mkdir(P("Data").c_str(), 0755);
  EXPECT_EQ(Find("setup.log"), "Setup.LOG");
  EXPECT_EQ(Find("DATA"), "Data");
  EXPECT_EQ(Find("other"), "(none)");
  EXPECT_EQ(posix::ResolveCase(P("data/setup.log")), P("Data/setup.log"));  // the missing name as written
  EXPECT_EQ(posix::ResolveCase(P("SETUP.log")), P("Setup.LOG"));

  // Changes behind the index's back, the clock having ticked in between.
  Touch("New.txt");
  Tick(1000);
  EXPECT_EQ(Find("NEW.TXT"), "New.txt");
  ::unlink(P("Setup.LOG").c_str());
  Tick(2000);
  EXPECT_EQ(Find("setup.log"), "(none)");
  // Gone within the same tick: the name found is checked before it is given.
  const std::string before = Find("new.txt");
  ::unlink(P("New.txt").c_str());
  Tick(2000);
  EXPECT_EQ(before, "New.txt");
  EXPECT_EQ(Find("new.txt"), "(none)");
}

TEST_F(CaseIndexTest, ChangesMadeHereKeepTheIndexTrue) {
  Files& files = Service<Files>();
  // Filling a directory of 2,000 files through the backend lists it about
  // once, not once a file: the lookup that used to scan the whole directory
  // for every new name made unpacking into one directory quadratic.
  const uint64_t listed = posix::CaseIndexListingsForTesting();
  for (int i = 0; i < 2000; ++i) {
    std::FILE* f = files.OpenStream(W("f" + std::to_string(i) + ".bin"), "wb");
    ASSERT_NE(f, nullptr) << i;
    std::fclose(f);
  }
  EXPECT_LE(posix::CaseIndexListingsForTesting() - listed, 2u);
  // The new names, a rename of the case and a removal are all seen at once.
  std::FILE* f = files.OpenStream(W("F1999.BIN"), "rb");
  ASSERT_NE(f, nullptr);
  std::fclose(f);
  ASSERT_TRUE(files.MovePath(W("f7.bin"), W("F7.Bin"), 0));
  EXPECT_EQ(Find("f7.BIN"), "F7.Bin");
  ASSERT_TRUE(files.DeleteOneFile(W("f8.bin")));
  EXPECT_EQ(Find("F8.BIN"), "(none)");
  ASSERT_EQ(files.MakeDirectoryTree(W("Sub/Deeper")), 0);
  EXPECT_EQ(Find("sub"), "Sub");
  EXPECT_LE(posix::CaseIndexListingsForTesting() - listed, 3u);
}

// An archive's items come back to the same few hundred directories again
// and again (a file in each package, then the next file in each): each
// directory is listed once, not on every visit.
TEST_F(CaseIndexTest, DirectoriesVisitedInTurnAreListedOnceEach) {
  Files& files = Service<Files>();
  constexpr int kDirs = 300, kVisits = 5;
  for (int d = 0; d < kDirs; ++d) ASSERT_EQ(files.MakeDirectoryTree(W("pkg" + std::to_string(d))), 0);
  const uint64_t listed = posix::CaseIndexListingsForTesting();
  for (int v = 0; v < kVisits; ++v) {
    for (int d = 0; d < kDirs; ++d) {
      std::FILE* f = files.OpenStream(W("pkg" + std::to_string(d) + "/f" + std::to_string(v)), "wb");
      ASSERT_NE(f, nullptr);
      std::fclose(f);
    }
  }
  EXPECT_LE(posix::CaseIndexListingsForTesting() - listed, static_cast<uint64_t>(kDirs));
  EXPECT_EQ(Find("PKG7"), "pkg7");
}

}  // namespace
}  // namespace platform
