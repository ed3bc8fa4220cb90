// File handles on Linux: a handle owns one file descriptor. Paths come in
// Windows form and are resolved as the other file calls resolve them.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "platform/files/file_handles.h"
#include "platform/files/posix_case_index.h"
#include "platform/posix_translation.h"
#include "platform/service.h"

namespace platform {
namespace {

using posix::MapErrno;
using posix::SetError;

struct PosixFile {
  int fd;
};

PosixFile* FromHandle(Handle h) {
  if (h == nullptr || h == InvalidFileHandle()) return nullptr;
  return static_cast<PosixFile*>(h);
}

// Days from 1601-01-01 to the given civil date (proleptic Gregorian).
int64_t DaysFrom1601(int64_t y, int64_t m, int64_t d) {
  // Days from 1970-01-01 first, by the usual era arithmetic.
  y -= m <= 2 ? 1 : 0;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468 + 134774;
}

constexpr uint64_t kTicksPerSecond = 10000000ull;
constexpr uint64_t kUnixEpochTicks = 116444736000000000ull;

bool ToTimespec(const FileTime* t, struct timespec* out) {
  if (t == nullptr) {
    out->tv_sec = 0;
    out->tv_nsec = UTIME_OMIT;
    return true;
  }
  const uint64_t v = FileTimeValue(*t);
  const int64_t rel = static_cast<int64_t>(v) - static_cast<int64_t>(kUnixEpochTicks);
  int64_t sec = rel / static_cast<int64_t>(kTicksPerSecond);
  int64_t rem = rel % static_cast<int64_t>(kTicksPerSecond);
  if (rem < 0) {
    rem += kTicksPerSecond;
    --sec;
  }
  out->tv_sec = static_cast<time_t>(sec);
  out->tv_nsec = static_cast<long>(rem * 100);
  return true;
}

class PosixFileHandles final : public FileHandles {
 public:
  Handle CreateFileHandle(const std::u16string& path, uint32_t access, uint32_t share, uint32_t disposition,
                    uint32_t attributes) override {
    std::string p;
    if (!posix::ResolvePath(path, &p)) return InvalidFileHandle();
    int flags = O_CLOEXEC;
    const bool read = (access & kGenericRead) != 0, write = (access & kGenericWrite) != 0;
    flags |= read && write ? O_RDWR : write ? O_WRONLY : O_RDONLY;
    const mode_t mode = (attributes & kFileAttributeReadOnly) != 0 ? 0444 : 0666;
    bool existed = false;
    int fd = -1;
    if (disposition == kCreateAlways) {
      // A new file costs one call; an existing one is looked at first.
      fd = ::open(p.c_str(), flags | O_CREAT | O_EXCL, mode);
      if (fd < 0 && errno == EEXIST) {
        existed = true;
        struct stat st;
        if (::stat(p.c_str(), &st) == 0 && (S_ISDIR(st.st_mode) || (st.st_mode & 0222) == 0)) {
          // A directory, or a read-only file, is not replaced, as on Windows.
          SetError(kErrorAccessDenied);
          return InvalidFileHandle();
        }
        fd = ::open(p.c_str(), flags | O_CREAT | O_TRUNC, mode);
      }
    } else if (disposition == kCreateNew) {
      fd = ::open(p.c_str(), flags | O_CREAT | O_EXCL, mode);
      if (fd < 0 && errno == EEXIST) {
        SetError(kErrorFileExists);
        return InvalidFileHandle();
      }
    } else if (disposition == kOpenExisting) {
      fd = ::open(p.c_str(), flags);
      struct stat st;
      if (fd >= 0 && ::fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
        ::close(fd);
        SetError(kErrorAccessDenied);
        return InvalidFileHandle();
      }
    } else {
      SetError(kErrorInvalidParameter);
      return InvalidFileHandle();
    }
    if (fd < 0) {
      SetError(MapErrno(errno, p));
      return InvalidFileHandle();
    }
    if (disposition != kOpenExisting && !existed) posix::NoteNameAdded(p);
    SetError(existed ? kErrorAlreadyExists : kErrorSuccess);
    return new PosixFile{fd};
  }

  bool ReadFile(Handle file, void* buffer, uint32_t bytes, uint32_t* read) override {
    *read = 0;
    PosixFile* f = FromHandle(file);
    if (f == nullptr) {
      SetError(kErrorInvalidHandle);
      return false;
    }
    for (;;) {
      const ssize_t n = ::read(f->fd, buffer, bytes);
      if (n >= 0) {
        *read = static_cast<uint32_t>(n);
        return true;
      }
      if (errno == EINTR) continue;
      SetError(MapErrno(errno));
      return false;
    }
  }

  bool WriteFile(Handle file, const void* buffer, uint32_t bytes, uint32_t* written) override {
    *written = 0;
    PosixFile* f = FromHandle(file);
    if (f == nullptr) {
      SetError(kErrorInvalidHandle);
      return false;
    }
    const char* p = static_cast<const char*>(buffer);
    uint32_t done = 0;
    while (done < bytes) {
      const ssize_t n = ::write(f->fd, p + done, bytes - done);
      if (n < 0) {
        if (errno == EINTR) continue;
        SetError(MapErrno(errno));
        *written = done;
        return false;
      }
      done += static_cast<uint32_t>(n);
    }
    *written = done;
    return true;
  }

  uint32_t SetFilePointer(Handle file, int32_t distance, uint32_t method) override {
    PosixFile* f = FromHandle(file);
    if (f == nullptr) {
      SetError(kErrorInvalidHandle);
      return kInvalidSetFilePointer;
    }
    // Without a high half the distance is a signed 32-bit value, so a
    // position below the start fails with 131 whatever the method.
    if (method == kFileBegin && distance < 0) {
      SetError(kErrorNegativeSeek);
      return kInvalidSetFilePointer;
    }
    const int whence = method == kFileBegin ? SEEK_SET : method == kFileCurrent ? SEEK_CUR : SEEK_END;
    const off_t target = ::lseek(f->fd, distance, whence);
    if (target < 0) {
      SetError(errno == ESPIPE ? kErrorInvalidFunction : errno == EINVAL ? kErrorNegativeSeek : MapErrno(errno));
      return kInvalidSetFilePointer;
    }
    if (target >= static_cast<off_t>(0xFFFFFFFFll)) {
      SetError(kErrorInvalidParameter);
      return kInvalidSetFilePointer;
    }
    SetError(kErrorSuccess);
    return static_cast<uint32_t>(target);
  }

  bool CloseHandle(Handle file) override {
    PosixFile* f = FromHandle(file);
    if (f == nullptr) {
      SetError(kErrorInvalidHandle);
      return false;
    }
    const int rc = ::close(f->fd);
    delete f;
    return rc == 0;
  }

  bool SetFileTime(Handle file, const FileTime* creation, const FileTime* access, const FileTime* write) override {
    PosixFile* f = FromHandle(file);
    if (f == nullptr) {
      SetError(kErrorInvalidHandle);
      return false;
    }
    struct timespec ts[2];
    ToTimespec(access, &ts[0]);
    ToTimespec(write, &ts[1]);
    if (::futimens(f->fd, ts) != 0) {
      SetError(MapErrno(errno));
      return false;
    }
    return true;
  }

  bool CreateOneDirectory(const std::u16string& path) override {
    std::string p;
    bool exists = false;
    if (!posix::ResolvePath(path, &p, &exists)) return false;
    // Something of that name is there already: the answer mkdir would give
    // (CreateDirectoryW's 183), without asking again.
    if (exists) {
      SetError(kErrorAlreadyExists);
      return false;
    }
    if (::mkdir(p.c_str(), 0777) != 0) {
      SetError(MapErrno(errno, p, true));
      return false;
    }
    posix::NoteNameAdded(p);
    return true;
  }

  bool SystemTimeToFileTime(const SystemTime& t, FileTime* out) override {
    static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (t.wYear % 4 == 0 && t.wYear % 100 != 0) || t.wYear % 400 == 0;
    if (t.wYear < 1601 || t.wYear > 30827 || t.wMonth < 1 || t.wMonth > 12 || t.wDay < 1 ||
        t.wDay > kDays[t.wMonth - 1] + (t.wMonth == 2 && leap ? 1 : 0) || t.wHour > 23 || t.wMinute > 59 ||
        t.wSecond > 59 || t.wMilliseconds > 999) {
      SetError(kErrorInvalidParameter);
      return false;
    }
    const int64_t days = DaysFrom1601(t.wYear, t.wMonth, t.wDay);
    const int64_t secs = days * 86400 + t.wHour * 3600 + t.wMinute * 60 + t.wSecond;
    *out = MakeFileTime(static_cast<uint64_t>(secs) * kTicksPerSecond + t.wMilliseconds * 10000ull);
    return true;
  }

  bool LocalFileTimeToFileTime(const FileTime& local, FileTime* out) override {
    // The zone's bias now, not at the given date, as Windows applies it.
    const time_t now = ::time(nullptr);
    struct tm parts;
    long bias = 0;
    if (::localtime_r(&now, &parts) != nullptr) bias = parts.tm_gmtoff;
    *out = MakeFileTime(FileTimeValue(local) - static_cast<int64_t>(bias) * static_cast<int64_t>(kTicksPerSecond));
    return true;
  }
};

}  // namespace

template <>
FileHandles& NativeService<FileHandles>() {
  static PosixFileHandles service;
  return service;
}

}  // namespace platform
