// A process ended by SIGKILL, its end seen through a pidfd, which becomes
// readable once the process is gone (a zombie not yet collected by its
// parent counts as ended, as an ended Windows process does).
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix_translation.h"
#include "platform/processes/process_end.h"

namespace platform {
namespace {

constexpr uint32_t kErrorTimeout = 1460;

class PosixProcessEnd final : public ProcessEnd {
 public:
  uint32_t EndProcessById(uint32_t pid, uint32_t /*exitCode*/, uint32_t timeoutMs) override {
    if (pid == 0) return kErrorInvalidParameter;
    const int fd = static_cast<int>(::syscall(SYS_pidfd_open, static_cast<pid_t>(pid), 0));
    if (fd < 0) return errno == ESRCH ? kErrorInvalidParameter : kErrorAccessDenied;
    uint32_t result = 0;
    if (::syscall(SYS_pidfd_send_signal, fd, SIGKILL, nullptr, 0) != 0 && errno != ESRCH) {
      result = kErrorAccessDenied;
    } else {
      pollfd wait{fd, POLLIN, 0};
      int rc;
      do {
        rc = ::poll(&wait, 1, static_cast<int>(timeoutMs > 0x7fffffffu ? 0x7fffffffu : timeoutMs));
      } while (rc < 0 && errno == EINTR);
      if (rc == 0) result = kErrorTimeout;
      if (rc < 0) result = posix::MapErrno(errno);
    }
    ::close(fd);
    return result;
  }
};

}  // namespace

template <>
ProcessEnd& NativeService<ProcessEnd>() {
  static PosixProcessEnd end;
  return end;
}

}  // namespace platform
