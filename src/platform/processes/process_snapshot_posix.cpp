// The process snapshot on Linux, as CreateToolhelp32Snapshot and
// Process32FirstW / Process32NextW give it: every live process of /proc with
// its id, its parent's id and the file name of its executable.
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/posix_translation.h"
#include "platform/processes/processes_posix.h"
#include "platform/text/unicode.h"

namespace platform {

using posix::MapErrno;
using posix::SetError;

bool PosixProcesses::SnapshotProcesses(std::vector<ProcessEntry>* entries) {
  DIR* proc = ::opendir("/proc");
  if (proc == nullptr) {
    SetError(MapErrno(errno));
    return false;
  }
  std::vector<ProcessEntry> list;
  while (const dirent* entry = ::readdir(proc)) {
    char* end = nullptr;
    const unsigned long pid = std::strtoul(entry->d_name, &end, 10);
    if (end == entry->d_name || *end != 0 || pid == 0) continue;
    const std::string base = std::string("/proc/") + entry->d_name;

    ProcessEntry item;
    item.pid = static_cast<uint32_t>(pid);
    // stat: "pid (comm) state ppid ..."; comm may hold blanks and parentheses.
    std::string stat, comm;
    if (int fd = ::open((base + "/stat").c_str(), O_RDONLY | O_CLOEXEC); fd >= 0) {
      char buffer[1024];
      const ssize_t n = ::read(fd, buffer, sizeof(buffer) - 1);
      ::close(fd);
      if (n > 0) stat.assign(buffer, static_cast<size_t>(n));
    }
    const size_t open = stat.find('(');
    const size_t close = stat.rfind(')');
    if (open == std::string::npos || close == std::string::npos || close < open) continue;  // gone
    comm = stat.substr(open + 1, close - open - 1);
    // A zombie has ended; only its status waits to be collected. Windows
    // lists no ended process, and a parent that never reaps (an init that
    // does not, in a container) must not make one look alive.
    if (close + 2 < stat.size() && (stat[close + 2] == 'Z' || stat[close + 2] == 'X')) continue;
    // After ") " come the state letter and a blank, then the parent's id.
    if (close + 4 < stat.size()) item.parentPid = static_cast<uint32_t>(std::strtoul(&stat[close + 4], nullptr, 10));

    std::string name;
    char target[4096];
    const ssize_t n = ::readlink((base + "/exe").c_str(), target, sizeof(target) - 1);
    if (n > 0) {
      std::string path(target, static_cast<size_t>(n));
      const std::string deleted = " (deleted)";
      if (path.size() > deleted.size() && path.compare(path.size() - deleted.size(), deleted.size(), deleted) == 0)
        path.resize(path.size() - deleted.size());
      name = path.substr(path.rfind('/') + 1);
    }
    if (name.empty()) {
      // Another user's process: the first word of its command line.
      if (int fd = ::open((base + "/cmdline").c_str(), O_RDONLY | O_CLOEXEC); fd >= 0) {
        char buffer[4096];
        const ssize_t m = ::read(fd, buffer, sizeof(buffer) - 1);
        ::close(fd);
        if (m > 0) {
          buffer[m] = 0;
          std::string first = buffer;  // up to the first NUL
          first = first.substr(0, first.find(' '));
          name = first.substr(first.rfind('/') + 1);
        }
      }
    }
    if (name.empty()) name = comm;  // kernel threads
    item.exeFile = Utf8ToUtf16(name);
    list.push_back(std::move(item));
  }
  ::closedir(proc);
  *entries = std::move(list);
  SetError(kErrorSuccess);
  return true;
}

}  // namespace platform
