// Processes on Linux with the contracts of CreateProcessW and its companions:
// the command line is read back into whole arguments (SplitPosixLaunchLine),
// the executable is found as CreateProcessW's first try finds it (no PATH search), spawn failures come
// back at once with the Windows code, and handles can be waited on.
//
// Exit codes: a process that exits reports its exit status; one killed by a
// signal reports 128 + the signal number, as a shell does, except after our
// own Terminate, which reports the code Terminate was given.
#include "platform/processes/processes_posix.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <mutex>
#include <set>
#include <thread>

#include "platform/posix_translation.h"
#include "platform/processes/argv_rules.h"
#include "platform/processes/posix_kernel_objects.h"
#include "platform/text/unicode.h"

extern char** environ;

namespace platform {

template <>
Processes& NativeService<Processes>() {
  static PosixProcesses instance;
  return instance;
}

namespace posix {
namespace {

constexpr uint32_t kStillActive = 259;

std::mutex& TableLock() {
  static std::mutex lock;
  return lock;
}

std::set<KernelObject*>& Table() {
  static std::set<KernelObject*> table;
  return table;
}

// Collects the process's status if it has ended. True once reaped.
bool TryReap(ProcessObject* p) {
  if (p->reaped) return true;
  int status = 0;
  pid_t r;
  do {
    r = ::waitpid(p->pid, &status, WNOHANG);
  } while (r < 0 && errno == EINTR);
  if (r == p->pid) {
    p->reaped = true;
    p->status = status;
  } else if (r < 0 && errno == ECHILD) {
    p->reaped = true;  // collected elsewhere; the status is lost
    p->status = 0;
  }
  return p->reaped;
}

// Polls `fd` for readability (a pidfd is readable once its process ended).
// kWaitObject0, kWaitTimeout or kWaitFailed.
uint32_t PollUntil(int fd, uint32_t timeoutMs) {
  const uint64_t deadline = MonotonicNowNs() + static_cast<uint64_t>(timeoutMs) * 1000000u;
  while (true) {
    int waitMs = -1;
    if (timeoutMs != kInfinite) {
      const uint64_t now = MonotonicNowNs();
      const uint64_t left = deadline > now ? deadline - now : 0;
      waitMs = static_cast<int>(std::min<uint64_t>((left + 999999) / 1000000, 1u << 30));
    }
    struct pollfd pfd = {fd, POLLIN, 0};
    const int rc = ::poll(&pfd, 1, waitMs);
    if (rc > 0) return kWaitObject0;
    if (rc < 0 && errno != EINTR) {
      SetError(MapErrno(errno));
      return kWaitFailed;
    }
    if (rc == 0 && timeoutMs != kInfinite && MonotonicNowNs() >= deadline) return kWaitTimeout;
  }
}

// Whether a process opened by identifier has ended.
bool ForeignEnded(const ProcessObject* p) {
  if (p->pidfd >= 0) {
    struct pollfd pfd = {p->pidfd, POLLIN, 0};
    return ::poll(&pfd, 1, 0) > 0;
  }
  return ::kill(p->pid, 0) != 0 && errno == ESRCH;
}

// The exit code of an ended process opened by identifier: readable, without
// collecting it, only while it is a child of ours that nobody collected.
bool ForeignExitCode(const ProcessObject* p, uint32_t* code) {
  siginfo_t info{};
  if (::waitid(P_PID, static_cast<id_t>(p->pid), &info, WEXITED | WNOWAIT | WNOHANG) != 0 || info.si_pid != p->pid) {
    SetError(kErrorAccessDenied);
    return false;
  }
  *code = info.si_code == CLD_EXITED ? static_cast<uint32_t>(info.si_status) : 128u + static_cast<uint32_t>(info.si_status);
  return true;
}

// Asks `done` with a growing pause until it answers yes or the time is up.
template <class Done>
uint32_t PollWithGrowingPause(uint32_t timeoutMs, Done done) {
  const uint64_t deadline = MonotonicNowNs() + static_cast<uint64_t>(timeoutMs) * 1000000u;
  useconds_t pause = 200;
  while (!done()) {
    if (timeoutMs != kInfinite && MonotonicNowNs() >= deadline) return kWaitTimeout;
    ::usleep(pause);
    pause = std::min<useconds_t>(pause * 2, 10000);
  }
  return kWaitObject0;
}

uint32_t WaitProcess(ProcessObject* p, uint32_t timeoutMs) {
  if (p->foreign) {
    return p->pidfd >= 0 ? PollUntil(p->pidfd, timeoutMs)
                         : PollWithGrowingPause(timeoutMs, [p] { return ForeignEnded(p); });
  }
  if (TryReap(p)) return kWaitObject0;
  if (timeoutMs == 0) return kWaitTimeout;
  if (p->pidfd >= 0) {
    const uint32_t r = PollUntil(p->pidfd, timeoutMs);
    if (r != kWaitObject0) return r;
    while (!TryReap(p)) ::usleep(100);  // readable: the status is there or about to be
    return kWaitObject0;
  }
  // No pidfd: poll the status.
  return PollWithGrowingPause(timeoutMs, [p] { return TryReap(p); });
}

uint32_t WaitThread(ThreadObject* t, uint32_t timeoutMs) {
  const int fd = OpenPidFd(t->pid);
  if (fd < 0) {
    if (errno == ESRCH) return kWaitObject0;  // long gone
    SetError(MapErrno(errno));
    return kWaitFailed;
  }
  const uint32_t r = PollUntil(fd, timeoutMs);
  ::close(fd);
  return r;
}

// Lets go of a process handle. A process still running is left to a small
// thread that collects its status when it ends, so it never stays a zombie.
void ReleaseProcess(ProcessObject* p) {
  if (p->pidfd >= 0) ::close(p->pidfd);
  p->pidfd = -1;
  if (p->foreign) return;  // not ours to collect
  if (TryReap(p)) return;
  const pid_t pid = p->pid;
  std::thread([pid] {
    int status;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
  }).detach();
}

// The executable named by the first token, in POSIX form, absolute.
bool ExecutablePath(const std::u16string& token, std::string* out) {
  std::string path;
  if (!ToPosixPath(token, &path)) return false;
  if (path.empty()) {
    SetError(kErrorFileNotFound);
    return false;
  }
  if (path[0] != '/') {
    // Relative names are taken from our current directory, not PATH, and
    // made absolute before the child changes its directory.
    char cwd[4096];
    if (::getcwd(cwd, sizeof(cwd)) == nullptr) {
      SetError(MapErrno(errno));
      return false;
    }
    path = std::string(cwd) + "/" + path;
  }
  *out = ResolveCase(path);
  return true;
}

}  // namespace

int OpenPidFd(pid_t pid) {
#ifdef SYS_pidfd_open
  return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));  // always close-on-exec
#else
  errno = ENOSYS;
  return -1;
#endif
}

uint64_t MonotonicNowNs() {
  struct timespec ts;
  ::clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<uint64_t>(ts.tv_sec) * 1000000000u + static_cast<uint64_t>(ts.tv_nsec);
}

Handle Register(std::unique_ptr<KernelObject> object) {
  std::lock_guard<std::mutex> guard(TableLock());
  KernelObject* raw = object.release();
  Table().insert(raw);
  return raw;
}

KernelObject* Lookup(Handle handle) {
  std::lock_guard<std::mutex> guard(TableLock());
  auto it = Table().find(static_cast<KernelObject*>(handle));
  return it == Table().end() ? nullptr : *it;
}

std::unique_ptr<KernelObject> Unregister(Handle handle) {
  std::lock_guard<std::mutex> guard(TableLock());
  auto it = Table().find(static_cast<KernelObject*>(handle));
  if (it == Table().end()) return nullptr;
  std::unique_ptr<KernelObject> object(*it);
  Table().erase(it);
  return object;
}

}  // namespace posix

using posix::Lookup;
using posix::MapErrno;
using posix::SetError;

bool PosixProcesses::StartProcess(const std::u16string& applicationName, const std::u16string& commandLine,
                                  const std::u16string& currentDirectory, ProcessInfo* info) {
  std::vector<std::u16string> args = SplitPosixLaunchLine(commandLine);
  if (args.empty() && applicationName.empty()) {
    SetError(kErrorFileNotFound);
    return false;
  }
  // A given application name is the very file started, with no case lookup.
  std::string exe;
  if (!applicationName.empty() ? !posix::ToPosixPath(applicationName, &exe) : !posix::ExecutablePath(args[0], &exe)) {
    return false;
  }
  if (args.empty()) args.push_back(applicationName);
  std::string dir;
  if (!currentDirectory.empty()) {
    if (!posix::ResolvePath(currentDirectory, &dir)) return false;
    struct stat st;
    if (::stat(dir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
      SetError(posix::kErrorDirectory);
      return false;
    }
  }

  std::vector<std::string> narrow;
  narrow.reserve(args.size());
  narrow.push_back(exe);
  for (size_t i = 1; i < args.size(); ++i) narrow.push_back(Utf16ToUtf8(args[i]));
  std::vector<char*> argv;
  for (std::string& a : narrow) argv.push_back(&a[0]);
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  if (!dir.empty()) ::posix_spawn_file_actions_addchdir_np(&actions, dir.c_str());
  // The child starts with no blocked signals and default handlers, as a
  // fresh Windows process would.
  posix_spawnattr_t attr;
  ::posix_spawnattr_init(&attr);
  sigset_t none, all;
  sigemptyset(&none);
  sigfillset(&all);
  ::posix_spawnattr_setsigmask(&attr, &none);
  ::posix_spawnattr_setsigdefault(&attr, &all);
  ::posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

  pid_t pid = 0;
  const int rc = ::posix_spawn(&pid, exe.c_str(), &actions, &attr, argv.data(), environ);
  ::posix_spawnattr_destroy(&attr);
  ::posix_spawn_file_actions_destroy(&actions);
  if (rc != 0) {
    SetError(MapErrno(rc, exe));
    return false;
  }

  auto process = std::make_unique<posix::ProcessObject>();
  process->pid = pid;
  process->pidfd = posix::OpenPidFd(pid);
  auto thread = std::make_unique<posix::ThreadObject>();
  thread->pid = pid;
  info->process = posix::Register(std::move(process));
  info->thread = posix::Register(std::move(thread));
  info->pid = static_cast<uint32_t>(pid);
  info->tid = static_cast<uint32_t>(pid);  // the primary thread's id is the pid
  SetError(kErrorSuccess);
  return true;
}

uint32_t PosixProcesses::WaitOne(Handle object, uint32_t timeoutMs) {
  posix::KernelObject* o = Lookup(object);
  if (o == nullptr) {
    SetError(kErrorInvalidHandle);
    return kWaitFailed;
  }
  switch (o->kind) {
    case posix::ObjectKind::kProcess:
      return posix::WaitProcess(static_cast<posix::ProcessObject*>(o), timeoutMs);
    case posix::ObjectKind::kThread:
      return posix::WaitThread(static_cast<posix::ThreadObject*>(o), timeoutMs);
    case posix::ObjectKind::kMutex:
      return posix::WaitMutex(static_cast<posix::MutexObject*>(o), timeoutMs);
    case posix::ObjectKind::kSemaphore:
      return posix::WaitSemaphore(static_cast<posix::SemaphoreObject*>(o), timeoutMs);
  }
  SetError(kErrorInvalidHandle);
  return kWaitFailed;
}

bool PosixProcesses::CloseObject(Handle object) {
  std::unique_ptr<posix::KernelObject> o = posix::Unregister(object);
  if (o == nullptr) {
    SetError(kErrorInvalidHandle);
    return false;
  }
  switch (o->kind) {
    case posix::ObjectKind::kProcess:
      posix::ReleaseProcess(static_cast<posix::ProcessObject*>(o.get()));
      break;
    case posix::ObjectKind::kThread:
      break;
    case posix::ObjectKind::kMutex: {
      auto* m = static_cast<posix::MutexObject*>(o.get());
      if (m->fd >= 0) ::close(m->fd);  // lets go of the lock
      break;
    }
    case posix::ObjectKind::kSemaphore:
      posix::CloseSemaphore(static_cast<posix::SemaphoreObject*>(o.get()));
      break;
  }
  SetError(kErrorSuccess);
  return true;
}

bool PosixProcesses::ExitCodeOf(Handle process, uint32_t* code) {
  posix::KernelObject* o = Lookup(process);
  if (o == nullptr || o->kind != posix::ObjectKind::kProcess) {
    SetError(kErrorInvalidHandle);
    return false;
  }
  auto* p = static_cast<posix::ProcessObject*>(o);
  if (p->foreign) {
    if (!posix::ForeignEnded(p)) {
      *code = posix::kStillActive;
    } else if (!posix::ForeignExitCode(p, code)) {
      return false;
    }
    SetError(kErrorSuccess);
    return true;
  }
  if (!posix::TryReap(p)) {
    *code = posix::kStillActive;
  } else if (WIFSIGNALED(p->status)) {
    const int sig = WTERMSIG(p->status);
    *code = p->terminated && sig == SIGKILL ? p->terminateCode : 128u + static_cast<uint32_t>(sig);
  } else {
    *code = static_cast<uint32_t>(WEXITSTATUS(p->status));
  }
  SetError(kErrorSuccess);
  return true;
}

bool PosixProcesses::Terminate(Handle process, uint32_t exitCode) {
  posix::KernelObject* o = Lookup(process);
  if (o == nullptr || o->kind != posix::ObjectKind::kProcess) {
    SetError(kErrorInvalidHandle);
    return false;
  }
  auto* p = static_cast<posix::ProcessObject*>(o);
  // An ended process cannot be terminated: Windows answers 5. A zombie that
  // is not reaped yet still takes the signal without harm. A watched process
  // was not opened for termination.
  if (p->reaped || p->foreign) {
    SetError(kErrorAccessDenied);
    return false;
  }
  if (::kill(p->pid, SIGKILL) != 0) {
    SetError(MapErrno(errno));
    return false;
  }
  if (!p->terminated) {
    p->terminated = true;
    p->terminateCode = exitCode;
  }
  SetError(kErrorSuccess);
  return true;
}

}  // namespace platform
