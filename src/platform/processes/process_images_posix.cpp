// Processes looked into through /proc. A handle remembers the identifier;
// the image path is read from /proc/<pid>/exe each time, as Windows reads it
// from the live process.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <set>
#include <string>

#include "platform/posix_translation.h"
#include "platform/processes/process_images.h"

namespace platform {
namespace {

struct OpenedProcess {
  uint32_t pid;
};

// The image of a live process, " (deleted)" dropped; false with errno set.
bool ReadImage(uint32_t pid, std::string* path) {
  char target[4096];
  const std::string link = "/proc/" + std::to_string(pid) + "/exe";
  const ssize_t n = ::readlink(link.c_str(), target, sizeof(target) - 1);
  if (n <= 0) return false;
  path->assign(target, static_cast<size_t>(n));
  const std::string deleted = " (deleted)";
  if (path->size() > deleted.size() && path->compare(path->size() - deleted.size(), deleted.size(), deleted) == 0)
    path->resize(path->size() - deleted.size());
  return true;
}

class PosixProcessImages final : public ProcessImages {
 public:
  Handle OpenProcessById(uint32_t, uint32_t pid) override {
    struct stat st;
    const std::string dir = "/proc/" + std::to_string(pid);
    if (pid == 0 || ::stat(dir.c_str(), &st) != 0) {
      posix::SetError(kErrorInvalidParameter);  // as for an identifier no process has
      return nullptr;
    }
    std::string image;
    if (!ReadImage(pid, &image)) {
      posix::SetError(errno == ENOENT ? kErrorInvalidParameter : kErrorAccessDenied);
      return nullptr;
    }
    auto* opened = new OpenedProcess{pid};
    std::lock_guard<std::mutex> lock(mutex_);
    open_.insert(opened);
    posix::SetError(kErrorSuccess);
    return opened;
  }

  uint32_t ModuleFileName(Handle process, std::u16string* path) override { return Image(process, path); }
  // Linux paths are the only names there are; the device form is the same.
  uint32_t ImageFileName(Handle process, std::u16string* path) override { return Image(process, path); }

  bool CloseProcess(Handle process) override {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = open_.find(static_cast<OpenedProcess*>(process));
    if (it == open_.end()) {
      posix::SetError(kErrorInvalidHandle);
      return false;
    }
    delete *it;
    open_.erase(it);
    return true;
  }

  uint32_t LogicalDriveStrings(std::u16string* drives) override {
    drives->clear();
    posix::SetError(kErrorNotSupported);
    return 0;
  }

  uint32_t QueryDosDevice(const std::u16string&, std::u16string* target) override {
    target->clear();
    posix::SetError(kErrorFileNotFound);
    return 0;
  }

 private:
  uint32_t Image(Handle process, std::u16string* path) {
    path->clear();
    uint32_t pid = 0;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      const auto it = open_.find(static_cast<OpenedProcess*>(process));
      if (it == open_.end()) {
        posix::SetError(kErrorInvalidHandle);
        return 0;
      }
      pid = (*it)->pid;
    }
    std::string image;
    if (!ReadImage(pid, &image)) {
      posix::SetError(errno == ENOENT ? kErrorInvalidParameter : kErrorAccessDenied);
      return 0;
    }
    *path = posix::FromPosixPath(image).substr(0, 259);
    posix::SetError(kErrorSuccess);
    return static_cast<uint32_t>(path->size());
  }

  std::mutex mutex_;
  std::set<OpenedProcess*> open_;
};

}  // namespace

template <>
ProcessImages& NativeService<ProcessImages>() {
  static PosixProcessImages images;
  return images;
}

}  // namespace platform
