// Named mutexes and semaphores on Linux with the contracts of CreateMutexW,
// CreateSemaphoreW, OpenSemaphoreW and ReleaseSemaphore.
//
// Names live in a namespace directory: the user's own, or the machine-wide
// one for names that begin with "Global\". A mutex is a lock file held with
// flock: the ownership dies with the process, as an abandoned Windows mutex
// stops blocking anyone. A semaphore is a named POSIX semaphore beside a
// lifetime lock file that every open handle holds shared, so the semaphore
// exists only while some process holds a handle: a creator that finds no
// holder treats any semaphore left under the name as stale and makes a new
// one, an opener that finds no holder fails with 2, and the last handle to
// close unlinks it. A guard lock file serialises these steps between
// processes, and the maximum count lives in the lifetime file.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>

#include "platform/posix_translation.h"
#include "platform/processes/posix_kernel_objects.h"
#include "platform/processes/processes_posix.h"
#include "platform/text/unicode.h"

namespace platform {
namespace posix {
namespace {

struct ObjectName {
  bool global = false;
  std::string dir;        // the namespace directory
  std::string fileStem;   // the name, escaped for a file name
};

bool StartsWith(const std::u16string& text, const std::u16string& prefix) {
  if (text.size() < prefix.size()) return false;
  for (size_t i = 0; i < prefix.size(); ++i) {
    if (FoldAscii(text[i]) != FoldAscii(prefix[i])) return false;
  }
  return true;
}

uint64_t Fnv1a(const std::string& text) {
  uint64_t hash = 1469598103934665603ull;
  for (unsigned char c : text) {
    hash ^= c;
    hash *= 1099511628211ull;
  }
  return hash;
}

std::string Hex64(uint64_t value) {
  char buffer[17];
  std::snprintf(buffer, sizeof(buffer), "%016llx", static_cast<unsigned long long>(value));
  return buffer;
}

// Letters, digits and a few marks stay; every other byte becomes %XX. Very
// long names are cut and carry a hash of the whole.
std::string EscapeName(const std::string& name) {
  std::string out;
  for (unsigned char c : name) {
    const bool plain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
                       c == '_' || c == '{' || c == '}' || (c == '.' && !out.empty());
    if (plain) {
      out.push_back(static_cast<char>(c));
    } else {
      char buffer[4];
      std::snprintf(buffer, sizeof(buffer), "%%%02X", c);
      out += buffer;
    }
  }
  if (out.size() > 180) out = out.substr(0, 160) + "~" + Hex64(Fnv1a(name));
  return out;
}

// Creates `dir` and its parents. The machine-wide directory is open to all
// users with the sticky bit, as /tmp is; a user's own must be the user's.
bool EnsureDirectory(const std::string& dir, bool global) {
  for (size_t pos = 1; pos <= dir.size(); ++pos) {
    if (pos != dir.size() && dir[pos] != '/') continue;
    const std::string prefix = dir.substr(0, pos);
    const bool last = pos == dir.size();
    if (::mkdir(prefix.c_str(), last && !global ? 0700 : 0777) == 0 && last && global) {
      ::chmod(prefix.c_str(), 01777);
    }
  }
  struct stat st;
  if (::stat(dir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
    SetError(kErrorPathNotFound);
    return false;
  }
  if (!global && st.st_uid != ::getuid()) {
    SetError(kErrorAccessDenied);
    return false;
  }
  return true;
}

bool ResolveName(const std::u16string& name, ObjectName* out) {
  std::u16string bare = name;
  if (StartsWith(name, u"Global\\")) {
    out->global = true;
    bare = name.substr(7);
  } else if (StartsWith(name, u"Local\\")) {
    bare = name.substr(6);
  }
  const char* custom = std::getenv("ORVANE_OBJECT_NAMESPACE");
  if (custom != nullptr && custom[0] != 0) {
    out->dir = out->global ? std::string(custom) + "/global" : std::string(custom);
  } else if (out->global) {
    out->dir = "/tmp/orvane-objects-global";
  } else if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime != nullptr && runtime[0] == '/') {
    out->dir = std::string(runtime) + "/orvane-objects";
  } else {
    out->dir = "/tmp/orvane-objects-" + std::to_string(::getuid());
  }
  out->fileStem = EscapeName(Utf16ToUtf8(bare));
  return EnsureDirectory(out->dir, out->global);
}

int OpenLockFile(const std::string& path, bool global) {
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, global ? 0666 : 0600);
  if (fd < 0) {
    SetError(MapErrno(errno, path));
    return -1;
  }
  if (global) ::fchmod(fd, 0666);  // past the umask, so other users can lock it too
  return fd;
}

int Flock(int fd, int operation) {
  int rc;
  do {
    rc = ::flock(fd, operation);
  } while (rc != 0 && errno == EINTR);
  return rc;
}

// Threads of this process take this before the guard file, since flock does
// not exclude two users of one open file.
std::mutex& ProcessGuard() {
  static std::mutex guard;
  return guard;
}

class GuardSection {
 public:
  explicit GuardSection(int fd) : lock_(ProcessGuard()), fd_(fd) {
    if (fd_ >= 0) Flock(fd_, LOCK_EX);
  }
  ~GuardSection() {
    if (fd_ >= 0) Flock(fd_, LOCK_UN);
  }

 private:
  std::lock_guard<std::mutex> lock_;
  int fd_;
};

void WriteMaximum(int fd, int32_t maximum) {
  const ssize_t n = ::pwrite(fd, &maximum, sizeof(maximum), 0);
  (void)n;
}

int32_t ReadMaximum(int fd) {
  int32_t maximum = 0;
  if (::pread(fd, &maximum, sizeof(maximum), 0) != static_cast<ssize_t>(sizeof(maximum)) || maximum <= 0) {
    return 0x7FFFFFFF;
  }
  return maximum;
}

// Opens the lifetime and guard files of a named semaphore.
std::unique_ptr<SemaphoreObject> PrepareSemaphore(const std::u16string& name) {
  ObjectName resolved;
  if (!ResolveName(name, &resolved)) return nullptr;
  auto object = std::make_unique<SemaphoreObject>();
  const std::string base = resolved.dir + "/" + resolved.fileStem;
  object->semName = "/orvane-" + Hex64(Fnv1a(base));
  object->lifeFd = OpenLockFile(base + ".sem", resolved.global);
  if (object->lifeFd < 0) return nullptr;
  object->guardFd = OpenLockFile(base + ".semguard", resolved.global);
  if (object->guardFd < 0) return nullptr;
  return object;
}

bool SemaphoreWaitUntil(sem_t* sem, const struct timespec& deadline) {
  while (::sem_clockwait(sem, CLOCK_MONOTONIC, &deadline) != 0) {
    if (errno != EINTR) return false;
  }
  return true;
}

}  // namespace

SemaphoreObject::~SemaphoreObject() {
  if (lifeFd >= 0) ::close(lifeFd);
  if (guardFd >= 0) ::close(guardFd);
}

uint32_t WaitMutex(MutexObject* mutex, uint32_t timeoutMs) {
  if (mutex->owned || mutex->fd < 0) {
    // Ownership is recursive; an unnamed mutex has no other user.
    mutex->owned = true;
    ++mutex->recursion;
    return kWaitObject0;
  }
  const uint64_t deadline = MonotonicNowNs() + static_cast<uint64_t>(timeoutMs) * 1000000u;
  useconds_t pause = 200;
  while (Flock(mutex->fd, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK) {
      SetError(MapErrno(errno));
      return kWaitFailed;
    }
    if (timeoutMs != kInfinite && MonotonicNowNs() >= deadline) return kWaitTimeout;
    ::usleep(pause);
    pause = pause < 10000 ? pause * 2 : pause;
  }
  mutex->owned = true;
  mutex->recursion = 1;
  return kWaitObject0;
}

uint32_t WaitSemaphore(SemaphoreObject* semaphore, uint32_t timeoutMs) {
  sem_t* sem = semaphore->sem;
  int rc;
  if (timeoutMs == 0) {
    rc = ::sem_trywait(sem);
    if (rc != 0 && errno == EAGAIN) return kWaitTimeout;
  } else if (timeoutMs == kInfinite) {
    while ((rc = ::sem_wait(sem)) != 0 && errno == EINTR) {
    }
  } else {
    struct timespec deadline;
    ::clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += static_cast<time_t>(timeoutMs / 1000);
    deadline.tv_nsec += static_cast<long>(timeoutMs % 1000) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L) {
      deadline.tv_nsec -= 1000000000L;
      ++deadline.tv_sec;
    }
    rc = SemaphoreWaitUntil(sem, deadline) ? 0 : -1;
    if (rc != 0 && errno == ETIMEDOUT) return kWaitTimeout;
  }
  if (rc != 0) {
    SetError(MapErrno(errno));
    return kWaitFailed;
  }
  return kWaitObject0;
}

void CloseSemaphore(SemaphoreObject* semaphore) {
  if (semaphore->unnamed) {
    ::sem_destroy(semaphore->sem);
    delete semaphore->sem;
    semaphore->sem = nullptr;
    return;
  }
  GuardSection guard(semaphore->guardFd);
  ::sem_close(semaphore->sem);
  semaphore->sem = nullptr;
  // Our shared lock turns exclusive only when no other handle is open
  // anywhere: then this was the last one and the name goes.
  if (Flock(semaphore->lifeFd, LOCK_EX | LOCK_NB) == 0) ::sem_unlink(semaphore->semName.c_str());
  ::close(semaphore->lifeFd);
  semaphore->lifeFd = -1;
}

}  // namespace posix

using posix::SetError;

Handle PosixProcesses::NewMutex(const std::u16string& name, bool initialOwner) {
  auto mutex = std::make_unique<posix::MutexObject>();
  if (name.empty()) {
    mutex->owned = initialOwner;
    mutex->recursion = initialOwner ? 1 : 0;
    SetError(kErrorSuccess);
    return posix::Register(std::move(mutex));
  }
  posix::ObjectName resolved;
  if (!posix::ResolveName(name, &resolved)) return nullptr;
  mutex->fd = posix::OpenLockFile(resolved.dir + "/" + resolved.fileStem + ".mutex", resolved.global);
  if (mutex->fd < 0) return nullptr;
  uint32_t error = kErrorSuccess;
  if (posix::Flock(mutex->fd, LOCK_EX | LOCK_NB) == 0) {
    if (initialOwner) {
      mutex->owned = true;
      mutex->recursion = 1;
    } else {
      // Created without an owner: a shared lock keeps it in existence, so
      // others see it exists and cannot take it while we hold it shared.
      posix::Flock(mutex->fd, LOCK_SH);
    }
  } else if (errno == EWOULDBLOCK) {
    error = kErrorAlreadyExists;  // held elsewhere: a handle that does not own it
  } else {
    SetError(posix::MapErrno(errno));
    ::close(mutex->fd);
    return nullptr;
  }
  Handle handle = posix::Register(std::move(mutex));
  SetError(error);
  return handle;
}

Handle PosixProcesses::NewSemaphore(const std::u16string& name, int32_t initial, int32_t maximum) {
  if (maximum <= 0 || initial < 0 || initial > maximum) {
    SetError(kErrorInvalidParameter);
    return nullptr;
  }
  if (name.empty()) {
    auto object = std::make_unique<posix::SemaphoreObject>();
    object->unnamed = true;
    object->maximum = maximum;
    object->sem = new sem_t;
    ::sem_init(object->sem, 0, static_cast<unsigned>(initial));
    SetError(kErrorSuccess);
    return posix::Register(std::move(object));
  }
  std::unique_ptr<posix::SemaphoreObject> object = posix::PrepareSemaphore(name);
  if (object == nullptr) return nullptr;
  uint32_t error = kErrorSuccess;
  {
    posix::GuardSection guard(object->guardFd);
    if (posix::Flock(object->lifeFd, LOCK_EX | LOCK_NB) == 0) {
      // Nobody holds a handle: whatever is left under the name is stale.
      ::sem_unlink(object->semName.c_str());
      object->sem = ::sem_open(object->semName.c_str(), O_CREAT | O_EXCL, 0600, static_cast<unsigned>(initial));
      if (object->sem == SEM_FAILED) {
        object->sem = nullptr;
        SetError(posix::MapErrno(errno));
        posix::Flock(object->lifeFd, LOCK_UN);
        return nullptr;
      }
      posix::WriteMaximum(object->lifeFd, maximum);
      object->maximum = maximum;
      posix::Flock(object->lifeFd, LOCK_SH);
    } else {
      // Live holders exist: open theirs; the arguments are ignored.
      posix::Flock(object->lifeFd, LOCK_SH);
      object->sem = ::sem_open(object->semName.c_str(), 0);
      if (object->sem == SEM_FAILED) {
        object->sem = nullptr;
        SetError(posix::MapErrno(errno));
        posix::Flock(object->lifeFd, LOCK_UN);
        return nullptr;
      }
      object->maximum = posix::ReadMaximum(object->lifeFd);
      error = kErrorAlreadyExists;
    }
  }
  Handle handle = posix::Register(std::move(object));
  SetError(error);
  return handle;
}

Handle PosixProcesses::OpenSemaphoreByName(uint32_t, const std::u16string& name) {
  if (name.empty()) {
    SetError(kErrorFileNotFound);
    return nullptr;
  }
  std::unique_ptr<posix::SemaphoreObject> object = posix::PrepareSemaphore(name);
  if (object == nullptr) return nullptr;
  {
    posix::GuardSection guard(object->guardFd);
    if (posix::Flock(object->lifeFd, LOCK_EX | LOCK_NB) == 0) {
      posix::Flock(object->lifeFd, LOCK_UN);
      SetError(kErrorFileNotFound);  // no live holder: the semaphore does not exist
      return nullptr;
    }
    posix::Flock(object->lifeFd, LOCK_SH);
    object->sem = ::sem_open(object->semName.c_str(), 0);
    if (object->sem == SEM_FAILED) {
      object->sem = nullptr;
      SetError(errno == ENOENT ? kErrorFileNotFound : posix::MapErrno(errno));
      posix::Flock(object->lifeFd, LOCK_UN);
      return nullptr;
    }
    object->maximum = posix::ReadMaximum(object->lifeFd);
  }
  Handle handle = posix::Register(std::move(object));
  SetError(kErrorSuccess);
  return handle;
}

bool PosixProcesses::ReleaseSem(Handle semaphore, int32_t count, int32_t* previous) {
  posix::KernelObject* o = posix::Lookup(semaphore);
  if (o == nullptr || o->kind != posix::ObjectKind::kSemaphore) {
    SetError(kErrorInvalidHandle);
    return false;
  }
  auto* s = static_cast<posix::SemaphoreObject*>(o);
  if (count <= 0) {
    SetError(kErrorInvalidParameter);
    return false;
  }
  // Under the guard no other release can run; waiters only lower the value,
  // so the check cannot be overtaken past the maximum.
  posix::GuardSection guard(s->unnamed ? -1 : s->guardFd);
  int value = 0;
  ::sem_getvalue(s->sem, &value);
  if (value < 0) value = 0;
  if (static_cast<int64_t>(value) + count > s->maximum) {
    SetError(kErrorTooManyPosts);
    return false;
  }
  for (int32_t i = 0; i < count; ++i) ::sem_post(s->sem);
  if (previous != nullptr) *previous = value;
  SetError(kErrorSuccess);
  return true;
}

}  // namespace platform
