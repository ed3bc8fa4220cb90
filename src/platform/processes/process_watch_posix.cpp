// Waiting for the first of several processes and objects on Linux, as
// OpenProcess and WaitForMultipleObjects give it, over the backend's table of
// kernel objects.
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <vector>

#include "platform/posix_translation.h"
#include "platform/processes/posix_kernel_objects.h"
#include "platform/processes/process_watch.h"
#include "platform/processes/processes.h"

namespace platform {

namespace {

// Waiting for the first of several objects: each is tried without waiting,
// in order, then the watched processes' pidfds are polled for a short slice
// (an event or semaphore has nothing to poll, so a slice bounds how late it
// is seen) until one is signalled or the time is up.
class PosixProcessWatch final : public ProcessWatch {
 public:
  Handle OpenProcessHandle(uint32_t, uint32_t pid) override {
    if (pid == 0 || pid > static_cast<uint32_t>(INT32_MAX) ||
        (::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH)) {
      posix::SetError(kErrorInvalidParameter);
      return nullptr;
    }
    auto process = std::make_unique<posix::ProcessObject>();
    process->pid = static_cast<pid_t>(pid);
    process->foreign = true;
    process->pidfd = posix::OpenPidFd(process->pid);
    if (process->pidfd < 0 && errno == ESRCH) {
      posix::SetError(kErrorInvalidParameter);
      return nullptr;
    }
    Handle handle = posix::Register(std::move(process));
    posix::SetError(kErrorSuccess);
    return handle;
  }

  uint32_t WaitAny(const std::vector<Handle>& objects, uint32_t timeoutMs) override {
    constexpr uint32_t kSliceMs = 10;
    auto& processes = NativeService<Processes>();
    if (objects.empty()) {
      posix::SetError(kErrorInvalidParameter);
      return kWaitFailed;
    }
    const uint64_t deadline = posix::MonotonicNowNs() + static_cast<uint64_t>(timeoutMs) * 1000000u;
    while (true) {
      std::vector<struct pollfd> pidfds;
      for (size_t i = 0; i < objects.size(); ++i) {
        const uint32_t r = processes.WaitOne(objects[i], 0);
        if (r == kWaitObject0) return kWaitObject0 + static_cast<uint32_t>(i);
        if (r == kWaitFailed) return kWaitFailed;
        posix::KernelObject* o = posix::Lookup(objects[i]);
        if (o != nullptr && o->kind == posix::ObjectKind::kProcess) {
          const int fd = static_cast<posix::ProcessObject*>(o)->pidfd;
          if (fd >= 0) pidfds.push_back({fd, POLLIN, 0});
        }
      }
      uint32_t slice = kSliceMs;
      if (timeoutMs != kInfinite) {
        const uint64_t now = posix::MonotonicNowNs();
        if (now >= deadline) return kWaitTimeout;
        slice = static_cast<uint32_t>(std::min<uint64_t>(kSliceMs, (deadline - now + 999999) / 1000000));
      }
      if (pidfds.empty()) {
        ::usleep(slice * 1000u);
      } else {
        ::poll(pidfds.data(), pidfds.size(), static_cast<int>(slice));
      }
    }
  }
};

}  // namespace

template <>
ProcessWatch& NativeService<ProcessWatch>() {
  static PosixProcessWatch watch;
  return watch;
}

}  // namespace platform
