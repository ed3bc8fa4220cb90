// A normal start killed at each change it makes to the disk in turn, and then
// started again, must leave a working install: the new copy starts, whatever
// is still recognisably old is cleared, nothing outside the install root is
// touched, and no copy that was being deleted is ever started.
//
// Linux only: strace's fault injection kills the launcher just before the
// chosen system call, one call per round.
#ifndef _WIN32
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstdio>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "app/auto_launch_gate.h"
#include "e2e_support.h"
#include "gtest/gtest.h"

extern char** environ;

namespace e2e {
namespace {

// Every system call by which the launcher changes a file or a directory.
constexpr const char* kChangingCalls =
    "mkdir,mkdirat,rename,renameat,renameat2,unlink,unlinkat,rmdir,chmod,fchmod,fchmodat,truncate,ftruncate,write,"
    "pwrite64,writev,symlink,symlinkat,link,linkat";

constexpr int kOldCopyFiles = 200;  // per old copy, in three directories
constexpr int kNewCopyFiles = 20;

// Runs argv and waits: the raw wait status, or -1 when it cannot start.
int RunAndWait(const std::vector<std::string>& args) {
  std::vector<char*> argv;
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  pid_t pid = 0;
  if (::posix_spawnp(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0) return -1;
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0) {
  }
  return status;
}

// A copy of the application: the probe as Orvane.exe, version.txt, and small
// files spread over the directory and two sub-directories, `files` in all.
// Every file is a hard link to one in `programs`: a round makes its copies
// with one call per file.
void MakeCopy(const fs::path& dir, const fs::path& programs, int files, const std::string& version) {
  const fs::path payload = programs / ("version-" + version);
  if (!fs::exists(payload)) WriteFile(payload, version);
  fs::create_directories(dir / "resources" / "locales");
  fs::create_hard_link(programs / "Orvane.exe", dir / "Orvane.exe");
  fs::create_hard_link(payload, dir / "version.txt");
  for (int i = 2; i < files; ++i) {
    const fs::path sub = i % 3 == 0 ? fs::path() : i % 3 == 1 ? fs::path("resources") : fs::path("resources/locales");
    fs::create_hard_link(payload, dir / sub / ("f" + std::to_string(1000 + i) + ".bin"));
  }
}

// The rounds' whole sandbox (install root, profile, records, the tree
// outside the root) lies on a memory file system when there is one, since
// each round writes and deletes some 450 files: ORVANE_E2E_TMP names the
// scratch directory while the sandbox is made.
std::unique_ptr<Sandbox> SandboxInMemory(fs::path* scratch) {
  std::error_code ec;
  const char* before = std::getenv("ORVANE_E2E_TMP");
  const std::string kept = before != nullptr ? before : "";
  if (fs::is_directory("/dev/shm", ec) && ::access("/dev/shm", W_OK) == 0) {
    *scratch = fs::path("/dev/shm") /
               ("orvane-crash-" + std::to_string(platform::Service<platform::Environment>().ProcessId()));
    ::setenv("ORVANE_E2E_TMP", scratch->c_str(), 1);
  }
  auto box = std::make_unique<Sandbox>("CrashConsistency");
  before != nullptr ? ::setenv("ORVANE_E2E_TMP", kept.c_str(), 1) : ::unsetenv("ORVANE_E2E_TMP");
  return box;
}

class CrashConsistency : public ::testing::Test {
 protected:
  CrashConsistency() : box_(SandboxInMemory(&scratch_)) {
    // The programs lie beside the root, on the same file system, so that
    // each round links them in instead of copying.
    programs_ = box_->base() / "programs";
    fs::create_directories(programs_);
    fs::copy_file(ProbeProgram(), programs_ / "Orvane.exe", fs::copy_options::overwrite_existing);
    program_ = programs_ / LauncherProgram().filename();
    fs::copy_file(LauncherProgram(), program_, fs::copy_options::overwrite_existing);
    outside_ = box_->base() / "outside";
  }
  ~CrashConsistency() override {
    box_.reset();
    std::error_code ec;
    if (!scratch_.empty()) fs::remove_all(scratch_, ec);
  }

  // The install root before the start: the old copy in "app" and an older
  // one in "1.0" (holding a link to a directory outside the root), the new
  // copy in "2.0", which Orvane.ini names.
  void MakeRoot() {
    tag_ = "--round=" + std::to_string(++rounds_);
    std::error_code ec;
    fs::remove_all(box_->root(), ec);
    fs::remove_all(outside_, ec);
    fs::remove_all(box_->base() / "local" / "Orvane", ec);
    fs::remove(box_->base() / "probe-records.jsonl", ec);
    fs::create_directories(box_->root());
    fs::create_hard_link(program_, launcher());
    MakeCopy(box_->root() / "app", programs_, kOldCopyFiles, "1.1");
    MakeCopy(box_->root() / "1.0", programs_, kOldCopyFiles, "1.0");
    MakeCopy(box_->root() / "2.0", programs_, kNewCopyFiles, "2.0");
    WriteFile(box_->IniPath(), "2.0");
    fs::create_directories(outside_ / "sub");
    for (const char* name : {"a.txt", "b.txt", "sub/c.txt"}) WriteFile(outside_ / name, name);
    fs::create_directory_symlink(outside_, box_->root() / "1.0" / "resources" / "shared");
  }

  fs::path launcher() const { return box_->root() / program_.filename(); }

  // strace reports the killed start's death when its first thread ends; a
  // thread of it may still be ending and hold its single-instance mutex, and
  // a start now would meet it as another launcher (-16). Waits until the
  // mutex is free.
  void WaitForTheKilledStartToEnd() {
    ASSERT_TRUE(PollFor(10000, [] {
      platform::Handle mutex = platform::Service<platform::Processes>().NewMutex(kSingleInstanceMutexName, true);
      const bool free = mutex != nullptr && platform::LastError() != platform::kErrorAlreadyExists;
      if (mutex != nullptr) platform::Service<platform::Processes>().CloseObject(mutex);
      return free;
    })) << "a killed start did not end";
  }

  // What the next start must find after a start that was killed.
  void CheckRecovery(const std::string& round) {
    SCOPED_TRACE(round);
    const RunResult run = box_->Run(launcher(), "--after-crash " + tag_);
    ASSERT_TRUE(EndedWith(run, 0)) << run.stderrText;
    // The records of this round's two starts; an application started in an
    // earlier round may still be writing its own.
    const auto has = [](const ProbeRecord& r, const std::string& arg) {
      return std::find(r.argv.begin(), r.argv.end(), arg) != r.argv.end();
    };
    std::vector<ProbeRecord> records;
    const uint64_t deadline = platform::Service<platform::Clock>().MonotonicNs() + 10000000000ull;
    while (true) {
      records = box_->Records();
      records.erase(std::remove_if(records.begin(), records.end(), [&](const ProbeRecord& r) { return !has(r, tag_); }),
                    records.end());
      if (std::any_of(records.begin(), records.end(), [&](const ProbeRecord& r) { return has(r, "--after-crash"); })) {
        break;
      }
      ASSERT_LT(platform::Service<platform::Clock>().MonotonicNs(), deadline) << "the application was not started";
      platform::Service<platform::Clock>().SleepMs(1);
    }
    const std::string R = box_->RootText();
    for (const ProbeRecord& r : records) {
      const bool second = has(r, "--after-crash");
      // The killed start may have started the new copy from either name;
      // the start after it finds it in app.
      EXPECT_TRUE(r.exe == R + "app\\Orvane.exe" || (!second && r.exe == R + "2.0\\Orvane.exe")) << r.exe;
    }
    EXPECT_EQ(ReadFile(box_->root() / "app" / "version.txt"), "2.0");
    size_t newFiles = 0;
    for (const auto& e : fs::recursive_directory_iterator(box_->root() / "app")) newFiles += e.is_regular_file();
    EXPECT_EQ(newFiles, static_cast<size_t>(kNewCopyFiles));

    for (const char* name : {"a.txt", "b.txt", "sub/c.txt"}) EXPECT_EQ(ReadFile(outside_ / name), name);

    // Only the launcher, its ini and the new copy stay, besides half-deleted
    // copies that lost their main executable: foreign now, and never empty.
    const std::string launcherName = launcher().filename().string();
    for (const std::string& name : box_->RootEntries()) {
      if (name == launcherName || name == "Orvane.ini" || name == "app") continue;
      EXPECT_NE(name.find(".todelete-"), std::string::npos) << name;
      EXPECT_FALSE(fs::exists(box_->root() / name / "Orvane.exe")) << name;
      EXPECT_FALSE(fs::is_empty(box_->root() / name)) << name;
    }
  }

  fs::path scratch_;
  std::unique_ptr<Sandbox> box_;
  int rounds_ = 0;
  std::string tag_;  // handed to both starts of a round, so that its records are known
  fs::path programs_, program_, outside_;
};

TEST_F(CrashConsistency, KilledAtEachChangeTheNextStartRecovers) {
  // One undisturbed start first (it makes what only a first start makes, the
  // global object directory), then one under strace counts the changing
  // calls by name.
  MakeRoot();
  CheckRecovery("first start");
  MakeRoot();
  const fs::path trace = box_->base() / "trace.txt";
  ASSERT_EQ(RunAndWait({"strace", "-qq", "-o", trace.string(), "-e", std::string("trace=") + kChangingCalls,
                        launcher().string(), tag_}),
            0)
      << "an undisturbed start under strace failed (scripts/setup installs strace)";
  std::map<std::string, int> counts;
  std::istringstream lines(ReadFile(trace));
  for (std::string line; std::getline(lines, line);) {
    const size_t paren = line.find('(');
    if (paren != std::string::npos && line[0] != '+' && line[0] != '-') ++counts[line.substr(0, paren)];
  }
  int total = 0;
  for (const auto& [call, count] : counts) total += count;
  // Two old copies cleared file by file, so hundreds of rounds.
  ASSERT_GE(counts["unlink"] + counts["unlinkat"], 2 * kOldCopyFiles) << ReadFile(trace).substr(0, 2000);
  CheckRecovery("undisturbed");

  int killed = 0;
  for (const auto& [call, count] : counts) {
    for (int n = 1; n <= count; ++n) {
      const std::string round = call + " #" + std::to_string(n) + " of " + std::to_string(count);
      MakeRoot();
      const int status = RunAndWait({"strace", "-qq", "-o", "/dev/null", "-e", "trace=" + call, "-e",
                                     "inject=" + call + ":signal=SIGKILL:when=" + std::to_string(n),
                                     launcher().string(), tag_});
      EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << round << ": not killed, status " << status;
      killed += WIFSIGNALED(status) ? 1 : 0;
      WaitForTheKilledStartToEnd();
      CheckRecovery(round);
      if (HasFatalFailure() || HasFailure()) return;
    }
  }
  EXPECT_EQ(killed, total);
  std::printf("killed the launcher at %d changing calls; every next start recovered\n", killed);
}

}  // namespace
}  // namespace e2e
#endif  // !_WIN32
