// The Linux backends against real files, real processes and real kernel
// objects, each test in its own temporary directory and object namespace.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "platform/error_codes.h"
#include "platform/files/files.h"
#include "platform/processes/processes.h"
#include "platform/system/clock.h"
#include "platform/text/unicode.h"

namespace platform {
namespace {

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void WriteFile(const std::string& path, const std::string& text, mode_t mode = 0644) {
  std::ofstream(path, std::ios::binary) << text;
  ::chmod(path.c_str(), mode);
}

// Runs `body` in a forked child and returns its exit status.
template <class Body>
int InChild(Body body) {
  const pid_t pid = ::fork();
  if (pid == 0) ::_exit(body());
  int status = 0;
  ::waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 100 + WTERMSIG(status);
}

class PosixBackendsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/orvane-posix-test-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    dir_ = pattern;
    ::setenv("ORVANE_OBJECT_NAMESPACE", (dir_ + "/objects").c_str(), 1);
  }
  void TearDown() override {
    ::unsetenv("ORVANE_OBJECT_NAMESPACE");
    EXPECT_EQ(std::system(("chmod -R u+w '" + dir_ + "' && rm -rf '" + dir_ + "'").c_str()), 0);
  }
  std::string P(const std::string& rel) const { return dir_ + "/" + rel; }
  // The same path in the Windows form the core speaks.
  std::u16string WP(const std::string& rel) const {
    std::u16string w = Utf8ToUtf16(P(rel));
    for (char16_t& c : w) c = c == u'/' ? u'\\' : c;
    return w;
  }
  void MakeDir(const std::string& rel) { ASSERT_EQ(::mkdir(P(rel).c_str(), 0755), 0) << rel; }

  Files& files_ = NativeService<Files>();
  Processes& processes_ = NativeService<Processes>();
  Clock& clock_ = NativeService<Clock>();
  std::string dir_;
};

TEST_F(PosixBackendsTest, TranslatesPathsAndResolvesLetterCase) {
  MakeDir("Data");
  MakeDir("Data/Sub");
  WriteFile(P("Data/Sub/File.TXT"), "content");
  EXPECT_TRUE(files_.PathIsDir(WP("DATA\\sub")));
  EXPECT_EQ(files_.GetAttributes(WP("data\\SUB\\file.txt")), kFileAttributeNormal);
  // A new file goes into the existing directories under the case it was given.
  std::fclose(files_.OpenStream(WP("DATA\\SUB\\New.Log"), "wb"));
  EXPECT_EQ(::access(P("Data/Sub/New.Log").c_str(), F_OK), 0);
  // Only a miss costs a scan: an exact name in the same directory still wins.
  WriteFile(P("Data/Sub/file.txt"), "exact");
  std::FILE* in = files_.OpenStream(WP("data\\sub\\file.txt"), "rb");
  ASSERT_NE(in, nullptr);
  char buffer[16] = {};
  EXPECT_EQ(std::string(buffer, std::fread(buffer, 1, sizeof(buffer), in)), "exact");
  std::fclose(in);
}

// The moves the launcher makes (without kMoveFileReplaceExisting, never by
// case alone). Sources starting with f are files, d directories; targets
// starting with g are existing files, e existing directories. An error of 0
// means success; movedTo is where the source's content must be afterwards.
TEST_F(PosixBackendsTest, MovePathKeepsWindowsSemantics) {
  const struct { const char *from, *to; uint32_t error; const char* movedTo; } rows[] = {
      {"f1.txt", "n1.txt", 0, "n1.txt"}, {"f2.txt", "g2.txt", kErrorAlreadyExists, "f2.txt"},
      {"d4", "n4", 0, "n4"}, {"d5", "e5", kErrorAlreadyExists, "d5"},
      {"none.txt", "g8.txt", kErrorFileNotFound, nullptr}, {"f9.txt", "nodir/g9.txt", kErrorPathNotFound, "f9.txt"},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    const auto& row = rows[i];
    const std::string from = row.from, to = row.to;
    if (from[0] == 'f') WriteFile(P(from), from);
    if (from[0] == 'd') MakeDir(from), WriteFile(P(from + "/mark"), from);
    if (to[0] == 'g') WriteFile(P(to), "old");
    if (to[0] == 'e') MakeDir(to);
    SetLastErrorCode(12345);
    EXPECT_EQ(files_.MovePath(WP(from), WP(to), 0), row.error == 0) << i << " " << from << " -> " << to;
    EXPECT_EQ(LastError(), row.error) << i;
    if (row.movedTo != nullptr) {
      EXPECT_EQ(ReadAll(P(std::string(row.movedTo) + (from[0] == 'd' ? "/mark" : ""))), from) << i;
    }
  }
}

// Links are reported and removed as the entries they are, as Windows reports a
// junction or symbolic link and removes it without following: the listing and
// GetAttributes show the reparse point (with the directory bit for a link to a
// directory), RemoveOneDirectory and DeleteOneFile take the link away, and
// SetAttributes never changes what a link leads to.
TEST_F(PosixBackendsTest, LinksAreEntriesOfTheirOwn) {
  MakeDir("outside");
  WriteFile(P("outside/kept.txt"), "kept", 0444);
  MakeDir("in");
  const struct { const char* name; const char* target; uint32_t attributes; bool viaRemoveDirectory; } rows[] = {
      {"to-dir", "outside", kFileAttributeReparsePoint | kFileAttributeDirectory, true},
      {"to-file", "outside/kept.txt", kFileAttributeReparsePoint, false},
      {"nowhere", "no-such-thing", kFileAttributeReparsePoint, false},
  };
  for (const auto& row : rows) ASSERT_EQ(::symlink(P(row.target).c_str(), P(std::string("in/") + row.name).c_str()), 0);
  std::vector<DirEntry> entries;
  ASSERT_TRUE(files_.FindEntries(WP("in\\*"), &entries));
  for (size_t i = 0; i < std::size(rows); ++i) {
    const auto& row = rows[i];
    const std::u16string path = WP(std::string("in\\") + row.name);
    uint32_t listed = 0;
    for (const DirEntry& e : entries) listed = e.name == Utf8ToUtf16(row.name) ? e.attributes : listed;
    EXPECT_EQ(listed, row.attributes) << "row " << i;
    EXPECT_EQ(files_.GetAttributes(path), row.attributes) << "row " << i;
    EXPECT_TRUE(files_.SetAttributes(path, kFileAttributeNormal)) << "row " << i;
    // RemoveDirectoryW takes a directory link only; a file link is no directory.
    EXPECT_EQ(files_.RemoveOneDirectory(path), row.viaRemoveDirectory) << "row " << i;
    if (!row.viaRemoveDirectory) {
      EXPECT_EQ(LastError(), 267u) << "row " << i;  // ERROR_DIRECTORY
      EXPECT_TRUE(files_.DeleteOneFile(path)) << "row " << i;
    }
    struct stat st;
    EXPECT_NE(::lstat(P(std::string("in/") + row.name).c_str(), &st), 0) << "row " << i;
  }
  struct stat st;
  ASSERT_EQ(::stat(P("outside/kept.txt").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0444u);
  EXPECT_EQ(ReadAll(P("outside/kept.txt")), "kept");
}

// A listing answers for its entries until this process changes them: each row
// lists "w", then makes one change through the backend, then asks again. The
// answers must be the file system's, never the listing's memory.
TEST_F(PosixBackendsTest, ListingNeverOutlivesAChangeMadeHere) {
  const auto mode = [this](const std::string& rel) {
    struct stat st;
    return ::lstat(P(rel).c_str(), &st) == 0 ? st.st_mode & 0777 : 0u;
  };
  const struct { const char* change; std::vector<std::pair<std::string, uint32_t>> attributesAfter; } rows[] = {
      {"read-only f", {{"w\\f", kFileAttributeReadOnly}, {"w\\g", kFileAttributeNormal}}},
      {"delete f", {{"w\\f", 0xFFFFFFFFu}, {"w\\g", kFileAttributeNormal}}},
      {"remove d", {{"w\\d", 0xFFFFFFFFu}, {"w\\d\\x", 0xFFFFFFFFu}}},
      {"move d", {{"w\\d", 0xFFFFFFFFu}, {"w\\d\\x", 0xFFFFFFFFu}, {"w\\e\\x", kFileAttributeNormal}}},
      {"move w", {{"w\\f", 0xFFFFFFFFu}, {"v\\f", kFileAttributeNormal}}},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    const std::string change = rows[i].change;
    std::system(("rm -rf '" + P("w") + "' '" + P("v") + "'").c_str());
    MakeDir("w");
    MakeDir("w/d");
    WriteFile(P("w/f"), "f");
    WriteFile(P("w/g"), "g");
    if (change != "remove d") WriteFile(P("w/d/x"), "x");
    std::vector<DirEntry> entries;
    ASSERT_TRUE(files_.FindEntries(WP("w\\*"), &entries)) << i;
    ASSERT_TRUE(files_.FindEntries(WP("w\\d\\*"), &entries) || change == "remove d") << i;
    const bool changed = change == "read-only f" ? files_.SetAttributes(WP("w\\f"), kFileAttributeReadOnly)
                         : change == "delete f"  ? files_.DeleteOneFile(WP("w\\f"))
                         : change == "remove d"  ? files_.RemoveOneDirectory(WP("w\\d"))
                         : change == "move d"    ? files_.MovePath(WP("w\\d"), WP("w\\e"), 0)
                                                 : files_.MovePath(WP("w"), WP("v"), 0);
    EXPECT_TRUE(changed) << i;
    for (const auto& [rel, attributes] : rows[i].attributesAfter) {
      EXPECT_EQ(files_.GetAttributes(WP(rel)), attributes) << i << " " << change << ": " << rel;
    }
    if (change == "read-only f") {
      EXPECT_EQ(mode("w/f") & 0200, 0u) << i;
      EXPECT_TRUE(files_.SetAttributes(WP("w\\f"), kFileAttributeNormal)) << i;
      EXPECT_EQ(mode("w/f") & 0200, 0200u) << i;
    }
    // A directory made anew where a listed one was is listed as it is now.
    if (change == "remove d") {
      MakeDir("w/d");
      WriteFile(P("w/d/new"), "n");
      ASSERT_TRUE(files_.FindEntries(WP("w\\d\\*"), &entries)) << i;
      EXPECT_EQ(entries.back().name, u"new") << i;
    }
  }
}

// Splitting, working directory and exit code of a started process are proven
// by every end-to-end run; here the failures and their codes.
TEST_F(PosixBackendsTest, FailuresCarryTheWindowsErrorCodes) {
  MakeDir("full");
  WriteFile(P("full/x"), "");
  WriteFile(P("plain"), "");
  WriteFile(P("notexec"), "#!/bin/sh\n", 0644);
  WriteFile(P("garbage"), "\x01\x02\x03\x04 not a program", 0755);
  auto run = [&](auto call) {
    SetLastErrorCode(0);
    const bool ok = call();
    return std::make_pair(ok, LastError());
  };
  std::vector<DirEntry> entries;
  auto start = [&](const std::u16string& line, const std::u16string& dir = u"") {
    ProcessInfo none;
    const auto result = run([&] { return processes_.StartProcess(line, dir, &none); });
    EXPECT_EQ(none.process, nullptr) << Utf16ToUtf8(line);
    return result;
  };
  const std::pair<std::pair<bool, uint32_t>, uint32_t> rows[] = {
      {run([&] { return files_.PathExists(u"C:\\Windows"); }), kErrorPathNotFound},  // no drive letters here
      {run([&] { return files_.FindEntries(WP("full\\*.exe"), &entries); }), kErrorFileNotFound},
      {run([&] { return files_.FindEntries(WP("nodir\\*"), &entries); }), kErrorPathNotFound},
      {run([&] { return files_.DeleteOneFile(WP("absent")); }), kErrorFileNotFound},
      {run([&] { return files_.DeleteOneFile(WP("nodir\\absent")); }), kErrorPathNotFound},
      {run([&] { return files_.DeleteOneFile(WP("full")); }), kErrorAccessDenied},
      {run([&] { return files_.RemoveOneDirectory(WP("full")); }), kErrorDirNotEmpty},
      {run([&] { return files_.GetAttributes(WP("nodir\\x")) != 0xFFFFFFFFu; }), kErrorPathNotFound},
      {run([&] { return files_.OpenStream(WP("nodir\\x"), "rb") != nullptr; }), kErrorPathNotFound},
      {run([&] { return files_.MakeDirectoryTree(WP("FULL")) == 0; }), kErrorAlreadyExists},
      {run([&] { return files_.MakeDirectoryTree(WP("plain\\sub")) == 0; }), kErrorPathNotFound},
      {start(WP("missing") + u" x"), kErrorFileNotFound},
      {start(WP("nodir\\missing")), kErrorPathNotFound},
      {start(WP("notexec")), kErrorAccessDenied},
      {start(WP("garbage")), kErrorBadExeFormat},
      {start(u"\"C:\\x.exe\" --a"), kErrorPathNotFound},
      {start(u""), kErrorFileNotFound},
      {start(u"/bin/true", WP("nodir")), 267u},  // ERROR_DIRECTORY
  };
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    EXPECT_EQ(rows[i].first, std::make_pair(false, rows[i].second)) << "row " << i;
  }
}

// A snapshot lists this process by its bare file name, and leaves out an
// ended process that nobody has reaped yet.
TEST_F(PosixBackendsTest, SnapshotListsLiveProcessesOnly) {
  const pid_t zombie = ::fork();
  if (zombie == 0) ::_exit(0);
  siginfo_t ended;
  ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(zombie), &ended, WEXITED | WNOWAIT), 0);
  std::vector<ProcessEntry> list;
  ASSERT_TRUE(processes_.SnapshotProcesses(&list));
  std::u16string self;
  for (const ProcessEntry& e : list) {
    EXPECT_NE(e.pid, static_cast<uint32_t>(zombie));
    if (e.pid == static_cast<uint32_t>(::getpid())) self = e.exeFile;
  }
  EXPECT_EQ(self, u"platform_tests");
  ::waitpid(zombie, nullptr, 0);
}

TEST_F(PosixBackendsTest, NamedMutexIsNotInheritedAndDiesWithItsHolder) {
  const std::u16string name = u"{EEABAECE-A354-44D6-9B0E-819BFB3D66D9}";
  Handle mine = processes_.NewMutex(name, true);
  ASSERT_NE(mine, nullptr);
  EXPECT_EQ(LastError(), kErrorSuccess);

  // A process started while we hold it does not inherit the lock: once our
  // handle is closed the name is free although that process lives on.
  ProcessInfo sleeper;
  ASSERT_TRUE(processes_.StartProcess(u"/bin/sleep 30", u"", &sleeper));
  // The start returns once the new program is loaded, but the kernel closes
  // the descriptors marked close-on-exec a moment later, and until then the
  // child shares our lock: wait for that.
  const std::string fds = "/proc/" + std::to_string(sleeper.pid) + "/fd";
  for (bool shared = true; shared; ::usleep(1000)) {
    shared = false;
    std::error_code ec;
    for (const auto& fd : std::filesystem::directory_iterator(fds, ec)) {
      shared = shared || std::filesystem::read_symlink(fd.path(), ec).string().find(".mutex") != std::string::npos;
    }
  }
  ASSERT_TRUE(processes_.CloseObject(mine));
  EXPECT_EQ(InChild([&] {
              return NativeService<Processes>().NewMutex(name, true) != nullptr &&
                             NativeService<ErrorCodes>().LastError() == 0
                         ? 0
                         : 1;
            }),
            0);
  EXPECT_TRUE(processes_.Terminate(sleeper.process, 0));
  EXPECT_EQ(processes_.WaitOne(sleeper.process, 10000), kWaitObject0);
  EXPECT_TRUE(processes_.CloseObject(sleeper.process));
  EXPECT_TRUE(processes_.CloseObject(sleeper.thread));

  // The child took it and ended without closing: ownership died with it.
  mine = processes_.NewMutex(name, true);
  EXPECT_EQ(LastError(), kErrorSuccess);
  EXPECT_TRUE(processes_.CloseObject(mine));
}

TEST_F(PosixBackendsTest, NamedSemaphoreWakesAWaiterInAnotherProcess) {
  const std::u16string name = u"{D2803213-8F84-47FD-8B7A-5E01ECF1CE7F}";
  // One left by a dead process is stale: its count is gone.
  EXPECT_EQ(InChild([&] { return NativeService<Processes>().NewSemaphore(name, 1, 1) != nullptr ? 0 : 1; }), 0);
  EXPECT_EQ(processes_.OpenSemaphoreByName(2, name), nullptr);
  EXPECT_EQ(LastError(), kErrorFileNotFound);

  Handle sem = processes_.NewSemaphore(name, 0, 1);
  ASSERT_NE(sem, nullptr);
  EXPECT_EQ(LastError(), kErrorSuccess);
  EXPECT_EQ(processes_.WaitOne(sem, 0), kWaitTimeout);
  EXPECT_EQ(InChild([&] {
              Handle h = NativeService<Processes>().OpenSemaphoreByName(2, name);
              if (h == nullptr) return 1;
              int32_t previous = -1;
              if (!NativeService<Processes>().ReleaseSem(h, 1, &previous) || previous != 0) return 2;
              // The maximum is 1: a second release fails and changes nothing.
              if (NativeService<Processes>().ReleaseSem(h, 1, &previous) ||
                  NativeService<ErrorCodes>().LastError() != kErrorTooManyPosts)
                return 3;
              Handle again = NativeService<Processes>().NewSemaphore(name, 0, 5);
              return again != nullptr && NativeService<ErrorCodes>().LastError() == kErrorAlreadyExists ? 0 : 4;
            }),
            0);
  EXPECT_EQ(processes_.WaitOne(sem, 5000), kWaitObject0);
  const uint64_t before = clock_.MonotonicNs();
  EXPECT_EQ(processes_.WaitOne(sem, 20), kWaitTimeout);
  EXPECT_GE(clock_.MonotonicNs() - before, 20000000u) << "a time-out waits its time";

  // The semaphore exists only while some handle is open.
  ASSERT_TRUE(processes_.CloseObject(sem));
  EXPECT_EQ(processes_.OpenSemaphoreByName(2, name), nullptr);
  EXPECT_EQ(LastError(), kErrorFileNotFound);
}

}  // namespace
}  // namespace platform
