// The Linux backend against real files, real processes and real kernel
// objects, each test in its own temporary directory and object namespace.
#include <fcntl.h>
#include <mbedtls/pk.h>
#include <mbedtls/rsa.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "platform/platform.h"
#include "platform/unicode.h"

namespace platform {
namespace {

std::u16string W(const std::string& text) { return Utf8ToUtf16(text); }

// A POSIX path in the Windows form the core speaks.
std::u16string Win(const std::string& posixPath) {
  std::u16string w = W(posixPath);
  for (char16_t& c : w) {
    if (c == u'/') c = u'\\';
  }
  return w;
}

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

void WriteFile(const std::string& path, const std::string& text, mode_t mode = 0644) {
  std::ofstream(path, std::ios::binary) << text;
  ::chmod(path.c_str(), mode);
}

class PosixPlatformTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/orvane-posix-test-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    dir_ = pattern;
    ::setenv("ORVANE_OBJECT_NAMESPACE", (dir_ + "/objects").c_str(), 1);
  }
  void TearDown() override {
    ::unsetenv("ORVANE_OBJECT_NAMESPACE");
    const std::string command = "chmod -R u+w '" + dir_ + "' && rm -rf '" + dir_ + "'";
    EXPECT_EQ(std::system(command.c_str()), 0);
  }
  std::string P(const std::string& rel) const { return dir_ + "/" + rel; }
  std::u16string WP(const std::string& rel) const { return Win(P(rel)); }

  Platform& os_ = Native();
  std::string dir_;
};

TEST_F(PosixPlatformTest, ResolvesLetterCaseOfExistingComponentsAndKeepsNewNames) {
  ASSERT_EQ(::mkdir(P("Data").c_str(), 0755), 0);
  ASSERT_EQ(::mkdir(P("Data/Sub").c_str(), 0755), 0);
  WriteFile(P("Data/Sub/File.TXT"), "content");

  EXPECT_TRUE(os_.PathExists(WP("data\\SUB\\file.txt")));
  EXPECT_TRUE(os_.PathIsDir(WP("DATA\\sub")));
  EXPECT_FALSE(os_.PathIsDir(WP("data\\sub\\FILE.txt")));
  std::FILE* in = os_.OpenStream(WP("data\\sub\\file.txt"), "rb");
  ASSERT_NE(in, nullptr);
  char buffer[16] = {};
  EXPECT_EQ(std::fread(buffer, 1, sizeof(buffer), in), 7u);
  std::fclose(in);

  // A new file goes into the existing directories under the case it was given.
  std::FILE* out = os_.OpenStream(WP("DATA\\SUB\\New.Log"), "wb");
  ASSERT_NE(out, nullptr);
  std::fclose(out);
  EXPECT_EQ(::access(P("Data/Sub/New.Log").c_str(), F_OK), 0);

  // Only a miss costs a scan: an exact name in the same directory still wins.
  WriteFile(P("Data/Sub/file.txt"), "exact");
  EXPECT_EQ(os_.PathExists(WP("data\\sub\\file.txt")), true);
  EXPECT_EQ(ReadAll(P("Data/Sub/file.txt")), "exact");
}

TEST_F(PosixPlatformTest, DriveLetterPathsAreNotFound) {
  for (const char16_t* path : {u"C:\\Windows", u"c:\\x\\y.txt", u"Z:"}) {
    os_.SetLastErrorCode(0);
    EXPECT_FALSE(os_.PathExists(path)) << Utf16ToUtf8(path);
    EXPECT_EQ(os_.LastError(), kErrorPathNotFound) << Utf16ToUtf8(path);
  }
  ProcessInfo info;
  EXPECT_FALSE(os_.StartProcess(u"\"C:\\Program Files\\x.exe\" --a", u"", &info));
  EXPECT_EQ(os_.LastError(), kErrorPathNotFound);
}

TEST_F(PosixPlatformTest, FindEntriesMatchesPatternsWithoutRegardToCase) {
  ASSERT_EQ(::mkdir(P("links").c_str(), 0755), 0);
  ASSERT_EQ(::mkdir(P("links/Folder.lnk").c_str(), 0755), 0);
  WriteFile(P("links/b.LNK"), "");
  WriteFile(P("links/a.lnk"), "", 0444);
  WriteFile(P("links/c.lnk.txt"), "");
  WriteFile(P("links/d.ln"), "");

  struct Row {
    const char* pattern;
    std::vector<std::string> names;
  };
  const Row rows[] = {
      {"links\\*", {".", "..", "a.lnk", "b.LNK", "c.lnk.txt", "d.ln", "Folder.lnk"}},
      {"LINKS\\*.lnk", {"a.lnk", "b.LNK", "Folder.lnk"}},
      {"links\\?.ln?", {"a.lnk", "b.LNK"}},
      {"links\\*.*", {".", "..", "a.lnk", "b.LNK", "c.lnk.txt", "d.ln", "Folder.lnk"}},
  };
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    std::vector<DirEntry> entries;
    ASSERT_TRUE(os_.FindEntries(WP(rows[i].pattern), &entries)) << i << " " << rows[i].pattern;
    std::vector<std::string> names;
    for (const DirEntry& e : entries) names.push_back(Utf16ToUtf8(e.name));
    EXPECT_EQ(names, rows[i].names) << i << " " << rows[i].pattern;
  }

  std::vector<DirEntry> entries;
  ASSERT_TRUE(os_.FindEntries(WP("links\\*"), &entries));
  for (const DirEntry& e : entries) {
    const std::string name = Utf16ToUtf8(e.name);
    const uint32_t expected = name == "." || name == ".." || name == "Folder.lnk" ? kFileAttributeDirectory
                              : name == "a.lnk"                                 ? kFileAttributeReadOnly
                                                                                : kFileAttributeNormal;
    EXPECT_EQ(e.attributes, expected) << name;
  }

  entries.clear();
  EXPECT_FALSE(os_.FindEntries(WP("links\\*.exe"), &entries));
  EXPECT_EQ(os_.LastError(), kErrorFileNotFound);
  EXPECT_FALSE(os_.FindEntries(WP("missing\\*"), &entries));
  EXPECT_EQ(os_.LastError(), kErrorPathNotFound);
  EXPECT_TRUE(entries.empty());
}

TEST_F(PosixPlatformTest, MovePathKeepsWindowsSemantics) {
  struct Row {
    const char* name;
    const char* from;
    const char* to;
    uint32_t flags;
    bool ok;
    uint32_t error;
    const char* movedTo;  // where the source's content must be afterwards
  };
  const Row rows[] = {
      {"file to new name", "f1.txt", "n1.txt", 0, true, 0, "n1.txt"},
      {"file onto file", "f2.txt", "g2.txt", 0, false, kErrorAlreadyExists, "f2.txt"},
      {"file onto file, replace", "f3.txt", "g3.txt", kMoveFileReplaceExisting, true, 0, "g3.txt"},
      {"dir onto dir", "d4", "e4", 0, false, kErrorAlreadyExists, "d4"},
      {"dir onto dir, replace", "d5", "e5", kMoveFileReplaceExisting, false, kErrorAccessDenied, "d5"},
      {"case only", "f6.txt", "F6.TXT", 0, true, 0, "F6.TXT"},
      {"missing source", "none.txt", "g7.txt", 0, false, kErrorFileNotFound, nullptr},
      {"target dir missing", "f8.txt", "nodir/g8.txt", 0, false, kErrorPathNotFound, "f8.txt"},
  };
  for (const Row& row : rows) {
    const std::string from = row.from;
    if (from[0] == 'f') WriteFile(P(from), from);
    if (from[0] == 'd') {
      ASSERT_EQ(::mkdir(P(from).c_str(), 0755), 0);
      WriteFile(P(from + "/mark"), from);
    }
    const std::string to = row.to;
    if (to[0] == 'g') WriteFile(P(to), "old");
    if (to[0] == 'e') {
      ASSERT_EQ(::mkdir(P(to).c_str(), 0755), 0);
    }

    std::u16string winTo = WP(to);
    os_.SetLastErrorCode(12345);
    EXPECT_EQ(os_.MovePath(WP(from), winTo, row.flags), row.ok) << row.name;
    EXPECT_EQ(os_.LastError(), row.error) << row.name;
    if (row.movedTo != nullptr) {
      const std::string content = from[0] == 'd' ? ReadAll(P(std::string(row.movedTo) + "/mark"))
                                                 : ReadAll(P(row.movedTo));
      EXPECT_EQ(content, from) << row.name;
    }
  }
  // The case-only rename shows in a listing under the new case.
  std::vector<DirEntry> entries;
  ASSERT_TRUE(os_.FindEntries(WP("f6*"), &entries));
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].name, u"F6.TXT");
}

TEST_F(PosixPlatformTest, FileOperationsReportWindowsErrorCodes) {
  ASSERT_EQ(::mkdir(P("full").c_str(), 0755), 0);
  WriteFile(P("full/x"), "");
  WriteFile(P("plain"), "");

  EXPECT_FALSE(os_.DeleteOneFile(WP("absent")));
  EXPECT_EQ(os_.LastError(), kErrorFileNotFound);
  EXPECT_FALSE(os_.DeleteOneFile(WP("nodir\\absent")));
  EXPECT_EQ(os_.LastError(), kErrorPathNotFound);
  EXPECT_FALSE(os_.DeleteOneFile(WP("full")));
  EXPECT_EQ(os_.LastError(), kErrorAccessDenied);
  EXPECT_FALSE(os_.RemoveOneDirectory(WP("full")));
  EXPECT_EQ(os_.LastError(), kErrorDirNotEmpty);
  EXPECT_EQ(os_.GetAttributes(WP("nodir\\x")), 0xFFFFFFFFu);
  EXPECT_EQ(os_.LastError(), kErrorPathNotFound);
  EXPECT_EQ(os_.OpenStream(WP("nodir\\x"), "rb"), nullptr);
  EXPECT_EQ(os_.LastError(), kErrorPathNotFound);

  EXPECT_EQ(os_.MakeDirectoryTree(WP("a\\b\\c")), 0);
  EXPECT_TRUE(os_.PathIsDir(WP("A\\B\\C")));
  EXPECT_EQ(os_.MakeDirectoryTree(WP("A\\b")), static_cast<int32_t>(kErrorAlreadyExists));
  EXPECT_EQ(os_.MakeDirectoryTree(WP("plain\\sub")), static_cast<int32_t>(kErrorPathNotFound));

  EXPECT_TRUE(os_.DeleteOneFile(WP("FULL\\X")));
  EXPECT_TRUE(os_.RemoveOneDirectory(WP("Full")));
  EXPECT_EQ(os_.LastError(), kErrorSuccess);
}

TEST_F(PosixPlatformTest, EnvironmentTranslatesAbsolutePaths) {
  const std::u16string windowsValue = u"\\srv\\data";
  ASSERT_TRUE(os_.SetEnv(u"ORVANE_TEST_DIR", &windowsValue));
  EXPECT_STREQ(std::getenv("ORVANE_TEST_DIR"), "/srv/data");
  std::u16string value;
  ASSERT_TRUE(os_.GetEnv(u"orvane_test_dir", &value));
  EXPECT_EQ(value, u"\\srv\\data");
  ASSERT_TRUE(os_.SetEnv(u"ORVANE_TEST_DIR", nullptr));
  EXPECT_FALSE(os_.GetEnv(u"ORVANE_TEST_DIR", &value));
  EXPECT_EQ(os_.LastError(), 203u);

  const char* saved = std::getenv("LOCALAPPDATA");
  const std::string keep = saved != nullptr ? saved : "";
  const std::string home = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "";
  ::unsetenv("LOCALAPPDATA");
  ::setenv("XDG_DATA_HOME", "/xdg/data", 1);
  ASSERT_TRUE(os_.GetEnv(u"LOCALAPPDATA", &value));
  EXPECT_EQ(value, u"\\xdg\\data");
  ::unsetenv("XDG_DATA_HOME");
  ::setenv("HOME", "/home/someone", 1);
  ASSERT_TRUE(os_.GetEnv(u"LOCALAPPDATA", &value));
  EXPECT_EQ(value, u"\\home\\someone\\.local\\share");
  if (saved != nullptr) ::setenv("LOCALAPPDATA", keep.c_str(), 1);
  ::setenv("HOME", home.c_str(), 1);

  const std::u16string module = os_.ModuleFilePath();
  EXPECT_EQ(module.substr(0, 1), u"\\");
  EXPECT_TRUE(os_.PathExists(module));
}

// Starts /bin/sh with a command line written the Windows way and reads back
// the arguments the shell received.
TEST_F(PosixPlatformTest, StartProcessSplitsTheCommandLineByWindowsRules) {
  WriteFile(P("Script.SH"), "#!/bin/sh\nprintf '<%s>\\n' \"$@\" > args.txt; pwd > cwd.txt\n", 0755);
  const std::u16string line = u"\"" + WP("script.sh") + uR"(" "a b" c\\d "e\"f" "" tail\)";
  ProcessInfo info;
  ASSERT_TRUE(os_.StartProcess(line, WP(""), &info)) << os_.LastError();
  EXPECT_NE(info.pid, 0u);
  EXPECT_EQ(os_.WaitOne(info.process, 10000), kWaitObject0);
  uint32_t code = 1234;
  ASSERT_TRUE(os_.ExitCodeOf(info.process, &code));
  EXPECT_EQ(code, 0u);
  EXPECT_TRUE(os_.CloseObject(info.process));
  EXPECT_TRUE(os_.CloseObject(info.thread));
  EXPECT_EQ(ReadAll(P("args.txt")), "<a b>\n<c\\\\d>\n<e\"f>\n<>\n<tail\\>\n");
  EXPECT_EQ(ReadAll(P("cwd.txt")), dir_ + "\n");
}

TEST_F(PosixPlatformTest, StartProcessReportsFailuresAtOnce) {
  WriteFile(P("notexec"), "#!/bin/sh\n", 0644);
  WriteFile(P("garbage"), "\x01\x02\x03\x04 not a program", 0755);
  ASSERT_EQ(::mkdir(P("adir").c_str(), 0755), 0);
  struct Row {
    std::u16string line;
    std::u16string cwd;
    uint32_t error;
  };
  const Row rows[] = {
      {WP("missing") + u" x", u"", kErrorFileNotFound},
      {WP("nodir\\missing"), u"", kErrorPathNotFound},
      {WP("notexec"), u"", kErrorAccessDenied},
      {WP("adir"), u"", kErrorAccessDenied},
      {WP("garbage"), u"", kErrorBadExeFormat},
      {u"/bin/true", WP("nodir"), 267},
      {u"", u"", kErrorFileNotFound},
  };
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    ProcessInfo info;
    os_.SetLastErrorCode(0);
    EXPECT_FALSE(os_.StartProcess(rows[i].line, rows[i].cwd, &info)) << i;
    EXPECT_EQ(os_.LastError(), rows[i].error) << i;
    EXPECT_EQ(info.process, nullptr) << i;
  }
}

TEST_F(PosixPlatformTest, ProcessHandlesWaitExitAndTerminate) {
  ProcessInfo quick;
  ASSERT_TRUE(os_.StartProcess(u"/bin/sh -c \"exit 7\"", u"", &quick));
  ProcessInfo slow;
  ASSERT_TRUE(os_.StartProcess(u"/bin/sleep 30", u"", &slow));

  EXPECT_EQ(os_.WaitOne(quick.process, kInfinite), kWaitObject0);
  uint32_t code = 0;
  ASSERT_TRUE(os_.ExitCodeOf(quick.process, &code));
  EXPECT_EQ(code, 7u);

  EXPECT_EQ(os_.WaitOne(slow.process, 50), kWaitTimeout);
  EXPECT_EQ(os_.WaitOne(slow.thread, 0), kWaitTimeout);
  ASSERT_TRUE(os_.ExitCodeOf(slow.process, &code));
  EXPECT_EQ(code, 259u);
  ASSERT_TRUE(os_.Terminate(slow.process, 42));
  EXPECT_EQ(os_.WaitOne(slow.process, 10000), kWaitObject0);
  ASSERT_TRUE(os_.ExitCodeOf(slow.process, &code));
  EXPECT_EQ(code, 42u);
  EXPECT_FALSE(os_.Terminate(slow.process, 1));
  EXPECT_EQ(os_.LastError(), kErrorAccessDenied);

  // A snapshot lists the running test and the child's parent.
  ProcessInfo again;
  ASSERT_TRUE(os_.StartProcess(u"/bin/sleep 30", u"", &again));
  std::vector<ProcessEntry> list;
  ASSERT_TRUE(os_.SnapshotProcesses(&list));
  bool self = false, child = false;
  for (const ProcessEntry& e : list) {
    if (e.pid == static_cast<uint32_t>(::getpid())) self = e.exeFile == u"platform_tests";
    if (e.pid == again.pid) child = e.exeFile == u"sleep" && e.parentPid == static_cast<uint32_t>(::getpid());
  }
  EXPECT_TRUE(self);
  EXPECT_TRUE(child);

  // An ended process that nobody has reaped yet is not listed.
  const pid_t zombie = ::fork();
  if (zombie == 0) ::_exit(0);
  siginfo_t ended;
  ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(zombie), &ended, WEXITED | WNOWAIT), 0);
  ASSERT_TRUE(os_.SnapshotProcesses(&list));
  for (const ProcessEntry& e : list) EXPECT_NE(e.pid, static_cast<uint32_t>(zombie));
  ::waitpid(zombie, nullptr, 0);

  // Closing the handle of a running child leaves no zombie once it ends.
  const pid_t pid = static_cast<pid_t>(again.pid);
  EXPECT_TRUE(os_.CloseObject(again.process));
  ::kill(pid, SIGTERM);
  bool gone = false;
  for (int i = 0; i < 200 && !gone; ++i) {
    ::usleep(10000);
    gone = ::kill(pid, 0) != 0;
  }
  EXPECT_TRUE(gone) << "still a zombie";

  for (Handle h : {quick.process, quick.thread, slow.process, slow.thread, again.thread}) EXPECT_TRUE(os_.CloseObject(h));
  EXPECT_FALSE(os_.CloseObject(quick.process));
  EXPECT_EQ(os_.LastError(), kErrorInvalidHandle);
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

TEST_F(PosixPlatformTest, NamedMutexIsOwnedByOneProcessAtATime) {
  const std::u16string name = u"{EEABAECE-A354-44D6-9B0E-819BFB3D66D9}";
  Handle mine = os_.NewMutex(name, true);
  ASSERT_NE(mine, nullptr);
  EXPECT_EQ(os_.LastError(), kErrorSuccess);

  // Held here: another process gets a handle with 183; a global name is
  // another object.
  EXPECT_EQ(InChild([&] {
              Handle h = Native().NewMutex(name, true);
              if (h == nullptr || Native().LastError() != kErrorAlreadyExists) return 1;
              if (Native().WaitOne(h, 30) != kWaitTimeout) return 2;
              Handle g = Native().NewMutex(u"Global\\" + name, true);
              return g != nullptr && Native().LastError() == kErrorSuccess ? 0 : 3;
            }),
            0);

  // A process started while we hold it does not inherit the lock: once our
  // handle is closed the name is free although that process lives on.
  ProcessInfo sleeper;
  ASSERT_TRUE(os_.StartProcess(u"/bin/sleep 30", u"", &sleeper));
  ASSERT_TRUE(os_.CloseObject(mine));
  EXPECT_EQ(InChild([&] { return Native().NewMutex(name, true) != nullptr && Native().LastError() == 0 ? 0 : 1; }),
            0);
  EXPECT_TRUE(os_.Terminate(sleeper.process, 0));
  EXPECT_EQ(os_.WaitOne(sleeper.process, 10000), kWaitObject0);
  EXPECT_TRUE(os_.CloseObject(sleeper.process));
  EXPECT_TRUE(os_.CloseObject(sleeper.thread));

  // The child took it and ended without closing: ownership died with it.
  mine = os_.NewMutex(name, true);
  EXPECT_EQ(os_.LastError(), kErrorSuccess);
  EXPECT_TRUE(os_.CloseObject(mine));
}

TEST_F(PosixPlatformTest, NamedSemaphoreWakesAWaiterInAnotherProcess) {
  const std::u16string name = u"{D2803213-8F84-47FD-8B7A-5E01ECF1CE7F}";
  EXPECT_EQ(os_.OpenSemaphoreByName(2, name), nullptr);
  EXPECT_EQ(os_.LastError(), kErrorFileNotFound);

  Handle sem = os_.NewSemaphore(name, 0, 1);
  ASSERT_NE(sem, nullptr);
  EXPECT_EQ(os_.LastError(), kErrorSuccess);
  EXPECT_EQ(InChild([&] {
              Handle h = Native().OpenSemaphoreByName(2, name);
              if (h == nullptr) return 1;
              int32_t previous = -1;
              if (!Native().ReleaseSem(h, 1, &previous) || previous != 0) return 2;
              // The maximum is 1: a second release fails and changes nothing.
              if (Native().ReleaseSem(h, 1, &previous) || Native().LastError() != kErrorTooManyPosts) return 3;
              Handle again = Native().NewSemaphore(name, 0, 5);
              return again != nullptr && Native().LastError() == kErrorAlreadyExists ? 0 : 4;
            }),
            0);
  EXPECT_EQ(os_.WaitOne(sem, 5000), kWaitObject0);
  EXPECT_EQ(os_.WaitOne(sem, 20), kWaitTimeout);
  EXPECT_EQ(os_.WaitOne(sem, 0), kWaitTimeout);

  // The semaphore exists only while some handle is open.
  ASSERT_TRUE(os_.CloseObject(sem));
  EXPECT_EQ(os_.OpenSemaphoreByName(2, name), nullptr);
  EXPECT_EQ(os_.LastError(), kErrorFileNotFound);
}

TEST_F(PosixPlatformTest, SemaphoreLeftByADeadProcessIsStale) {
  const std::u16string name = u"wake-line";
  // The child creates it with a count of 1 and dies without closing.
  EXPECT_EQ(InChild([&] { return Native().NewSemaphore(name, 1, 1) != nullptr ? 0 : 1; }), 0);
  EXPECT_EQ(os_.OpenSemaphoreByName(2, name), nullptr);
  Handle sem = os_.NewSemaphore(name, 0, 2);
  ASSERT_NE(sem, nullptr);
  EXPECT_EQ(os_.LastError(), kErrorSuccess);
  EXPECT_EQ(os_.WaitOne(sem, 0), kWaitTimeout);  // the old count is gone

  int32_t previous = -1;
  EXPECT_FALSE(os_.ReleaseSem(sem, 3, &previous));
  EXPECT_EQ(os_.LastError(), kErrorTooManyPosts);
  EXPECT_TRUE(os_.ReleaseSem(sem, 2, &previous));
  EXPECT_EQ(previous, 0);
  EXPECT_EQ(os_.WaitOne(sem, 0), kWaitObject0);
  EXPECT_EQ(os_.WaitOne(sem, 0), kWaitObject0);
  EXPECT_EQ(os_.WaitOne(sem, 0), kWaitTimeout);
  EXPECT_EQ(os_.NewSemaphore(name, 2, 1), nullptr);
  EXPECT_EQ(os_.LastError(), kErrorInvalidParameter);
  EXPECT_TRUE(os_.CloseObject(sem));
}

// Encrypts with the public key through the seam, step by step as the log
// encoder does, and decrypts with the development private key.
TEST_F(PosixPlatformTest, RawRsaWithThePublicKeyDecryptsWithThePrivateKey) {
  const std::string pem = ReadAll(std::string(ORVANE_SOURCE_DIR) + "/src/resources/dev_log_public.pem");
  uint32_t derSize = 0;
  ASSERT_TRUE(os_.PemToDer(pem.c_str(), nullptr, &derSize));
  std::vector<uint8_t> der(derSize);
  uint32_t small = derSize - 1;
  EXPECT_FALSE(os_.PemToDer(pem.c_str(), der.data(), &small));
  EXPECT_EQ(os_.LastError(), kErrorMoreData);
  ASSERT_TRUE(os_.PemToDer(pem.c_str(), der.data(), &derSize));

  uint32_t blobSize = 0;
  ASSERT_TRUE(os_.DecodeRsaPublicKey(der.data(), derSize, nullptr, &blobSize));
  std::vector<uint8_t> blob(blobSize);
  ASSERT_TRUE(os_.DecodeRsaPublicKey(der.data(), derSize, blob.data(), &blobSize));
  const std::vector<uint8_t> header = {'R', 'S', 'A', '1', 0, 2, 0, 0, 1, 0, 0, 0, 64, 0, 0, 0,
                                       0,   0,   0,   0,   0, 0, 0, 0};
  EXPECT_EQ(std::vector<uint8_t>(blob.begin(), blob.begin() + 24), header);
  EXPECT_EQ(blobSize, 24u + 1u + 64u);
  EXPECT_FALSE(os_.DecodeRsaPublicKey(der.data() + 1, derSize - 1, nullptr, &blobSize));

  CryptoHandle provider = nullptr, key = nullptr;
  ASSERT_EQ(os_.OpenRsaProvider(&provider), 0);
  ASSERT_EQ(os_.ImportRsaPublicKey(provider, blob.data(), static_cast<uint32_t>(blob.size()), &key), 0);
  uint32_t result = 0;
  const uint8_t text[] = "C:\\Users\\someone\\AppData";
  ASSERT_EQ(os_.RsaEncrypt(key, text, sizeof(text), nullptr, 0, &result, kBcryptPadPkcs1), 0);
  EXPECT_EQ(result, 64u);

  std::vector<uint8_t> block(64, 0);
  std::copy(text, text + sizeof(text), block.begin());
  std::vector<uint8_t> cipher(128, 0);
  ASSERT_EQ(os_.RsaEncrypt(key, block.data(), 64, cipher.data(), 128, &result, kBcryptPadNone), 0);
  EXPECT_EQ(result, 64u);

  struct Bad {
    std::vector<uint8_t> input;
    uint32_t outputSize;
    uint32_t status;
  };
  const Bad bad[] = {
      {std::vector<uint8_t>(64, 0xFF), 64, kStatusInvalidParameter},  // not below the modulus
      {std::vector<uint8_t>(63, 0x01), 64, kStatusInvalidParameter},  // not one block
      {std::vector<uint8_t>(64, 0x01), 63, kStatusBufferTooSmall},
  };
  for (size_t i = 0; i < 3; ++i) {
    std::vector<uint8_t> out(64);
    EXPECT_EQ(static_cast<uint32_t>(os_.RsaEncrypt(key, bad[i].input.data(), static_cast<uint32_t>(bad[i].input.size()),
                                                   out.data(), bad[i].outputSize, &result, kBcryptPadNone)),
              bad[i].status)
        << i;
  }
  EXPECT_EQ(os_.DestroyKey(key), 0);
  EXPECT_EQ(os_.CloseProvider(provider), 0);

  mbedtls_pk_context pk;
  mbedtls_pk_init(&pk);
  const std::string privatePath = std::string(ORVANE_TEST_KEYS_DIR) + "/dev_log_private.pem";
  ASSERT_EQ(mbedtls_pk_parse_keyfile(&pk, privatePath.c_str(), nullptr), 0);
  std::vector<uint8_t> plain(64);
  ASSERT_EQ(mbedtls_rsa_private(mbedtls_pk_rsa(pk), nullptr, nullptr, cipher.data(), plain.data()), 0);
  EXPECT_EQ(plain, block);
  mbedtls_pk_free(&pk);
}

TEST_F(PosixPlatformTest, ResourcesLanguageAndCodePages) {
  const uint8_t* data = nullptr;
  EXPECT_GT(os_.ReadResource(104, u"bin", &data), 0);
  EXPECT_EQ(os_.ReadResource(999, u"BIN", &data), 0);
  EXPECT_EQ(os_.LastError(), kErrorResourceNameNotFound);
  EXPECT_EQ(os_.ReadResource(104, u"ICON", &data), 0);
  EXPECT_EQ(os_.LastError(), kErrorResourceTypeNotFound);

  struct Row {
    const char* lcAll;
    const char* lang;
    uint16_t id;
  };
  const Row rows[] = {
      {"", "zh_CN.UTF-8", 0x0804}, {"zh_TW.UTF-8", "en_US", 0x0404}, {"", "zh_HK", 0x0C04},
      {"", "ja_JP.UTF-8", 0x0411}, {"de_AT@euro", "", 0x0407},      {"", "fr_FR", 0x040C},
      {"", "en_GB.UTF-8", 0x0809}, {"", "dev", 0x0409},              {"", "", 0x0409},
  };
  const char* saved[3] = {std::getenv("LC_ALL"), std::getenv("LC_MESSAGES"), std::getenv("LANG")};
  const std::string keep[3] = {saved[0] ? saved[0] : "", saved[1] ? saved[1] : "", saved[2] ? saved[2] : ""};
  ::unsetenv("LC_MESSAGES");
  for (const Row& row : rows) {
    ::setenv("LC_ALL", row.lcAll, 1);
    ::setenv("LANG", row.lang, 1);
    EXPECT_EQ(os_.UserDefaultUILanguage(), row.id) << row.lcAll << "/" << row.lang;
  }
  const char* names[3] = {"LC_ALL", "LC_MESSAGES", "LANG"};
  for (int i = 0; i < 3; ++i) {
    if (saved[i] != nullptr) ::setenv(names[i], keep[i].c_str(), 1); else ::unsetenv(names[i]);
  }

  EXPECT_EQ(os_.CodePageToWide("caf\xE9", 0), u"caf\u00E9");
  EXPECT_EQ(os_.WideToCodePage(u"caf\u00E9 \u4E2D \U0001F600", 0), "caf\xE9 ? ?");
  EXPECT_EQ(os_.WideToCodePage(u"\u4E2D", 65001), "\xE4\xB8\xAD");
  std::u16string text;
  ASSERT_TRUE(os_.SystemErrorText(2, &text));
  EXPECT_EQ(text, u"The system cannot find the file specified.\r\n");
  EXPECT_FALSE(os_.SystemErrorText(0x12345, &text));
}

}  // namespace
}  // namespace platform
