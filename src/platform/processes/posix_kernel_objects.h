// The objects behind the Linux backend's handles: processes, threads, named
// mutexes (lock files) and named semaphores (POSIX semaphores with a lifetime
// lock). Internal to the backend.
#pragma once

#include <semaphore.h>
#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>

#include "platform/types.h"

namespace platform {
namespace posix {

enum class ObjectKind { kProcess, kThread, kMutex, kSemaphore };

struct KernelObject {
  explicit KernelObject(ObjectKind k) : kind(k) {}
  virtual ~KernelObject() = default;
  const ObjectKind kind;
};

struct ProcessObject : KernelObject {
  ProcessObject() : KernelObject(ObjectKind::kProcess) {}
  pid_t pid = 0;
  int pidfd = -1;         // -1 where the kernel has no pidfd_open
  bool reaped = false;    // waitpid has collected the status
  int status = 0;         // waitpid's status once reaped
  bool terminated = false;
  uint32_t terminateCode = 0;
  // Opened by identifier (ProcessWatch), not started here: never reaped
  // through this handle, its end seen through the pidfd.
  bool foreign = false;
};

// The primary thread of a started process. Waiting on it waits for the
// process to end; it never reaps.
struct ThreadObject : KernelObject {
  ThreadObject() : KernelObject(ObjectKind::kThread) {}
  pid_t pid = 0;
};

struct MutexObject : KernelObject {
  MutexObject() : KernelObject(ObjectKind::kMutex) {}
  int fd = -1;  // the lock file; -1 for an unnamed mutex
  bool owned = false;
  uint32_t recursion = 0;
};

struct SemaphoreObject : KernelObject {
  SemaphoreObject() : KernelObject(ObjectKind::kSemaphore) {}
  ~SemaphoreObject() override;
  sem_t* sem = nullptr;
  bool unnamed = false;   // sem is a process-local sem_init semaphore
  int lifeFd = -1;        // held shared while this handle is open
  int guardFd = -1;       // serialises create, open, release and close
  std::string semName;    // the name given to sem_open
  int32_t maximum = 0;
};

// The handle table: only handles in it are valid.
Handle Register(std::unique_ptr<KernelObject> object);
KernelObject* Lookup(Handle handle);
std::unique_ptr<KernelObject> Unregister(Handle handle);

// Named objects (named_objects_posix.cpp).
uint32_t WaitMutex(MutexObject* mutex, uint32_t timeoutMs);
uint32_t WaitSemaphore(SemaphoreObject* semaphore, uint32_t timeoutMs);
void CloseSemaphore(SemaphoreObject* semaphore);

// The monotonic clock, in nanoseconds.
uint64_t MonotonicNowNs();

// pidfd_open: a descriptor that is readable once the process has ended
// (close-on-exec); -1 with errno set when the system has none.
int OpenPidFd(pid_t pid);

}  // namespace posix
}  // namespace platform
