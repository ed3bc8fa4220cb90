// The floor of the zip extraction benchmark: the least a program can do to
// extract an archive while keeping the toolkit's fixed costs (one item at a
// time, 16 KiB input and output buffers, a directory tree made for every
// item, the file's time set). Plain POSIX calls and zlib, no CRC-32, nothing
// else. With `windowsNames` it also pays for what the platform layer does to
// give Linux the name rules of Windows: the tree is looked at with an lstat
// and a stat, and a new file's name is looked up without regard to case (an
// lstat of the name, one of its directory, and a scan of that directory),
// for a new directory as for a new file.
//
// Linux only, for the benchmark: a malformed archive simply fails.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

namespace zip_floor {

inline uint32_t Get16(const uint8_t* p) { return p[0] | (p[1] << 8); }
inline uint32_t Get32(const uint8_t* p) { return Get16(p) | (Get16(p + 2) << 16); }

// What the platform layer does before creating a file that is not there yet.
inline void LookUpNewName(const std::string& path) {
  struct stat st;
  if (::lstat(path.c_str(), &st) == 0) return;
  const size_t slash = path.rfind('/');
  const std::string parent = path.substr(0, slash), name = path.substr(slash + 1);
  ::lstat(parent.c_str(), &st);
  if (DIR* d = ::opendir(parent.c_str())) {
    while (const dirent* e = ::readdir(d)) {
      if (::strcasecmp(e->d_name, name.c_str()) == 0) break;
    }
    ::closedir(d);
  }
}

// Makes every missing level of `dir` (no trailing slash).
inline void MakeTree(const std::string& dir, bool windowsNames) {
  struct stat st;
  if (windowsNames && ::lstat(dir.c_str(), &st) == 0 && ::stat(dir.c_str(), &st) == 0) return;
  if (!windowsNames && ::stat(dir.c_str(), &st) == 0) return;
  const size_t slash = dir.rfind('/');
  if (slash != std::string::npos && slash > 0) MakeTree(dir.substr(0, slash), windowsNames);
  if (windowsNames) LookUpNewName(dir);
  ::mkdir(dir.c_str(), 0777);
}

class Extractor {
 public:
  explicit Extractor(bool windowsNames) : windowsNames_(windowsNames) { inflateInit2(&z_, -15); }
  ~Extractor() {
    inflateEnd(&z_);
    if (fd_ >= 0) ::close(fd_);
  }

  bool Run(const char* zipPath, const std::string& outDir) {
    fd_ = ::open(zipPath, O_RDONLY | O_CLOEXEC);
    if (fd_ < 0) return false;
    const off_t size = ::lseek(fd_, 0, SEEK_END);
    const uint32_t block = static_cast<uint32_t>(size < 1028 ? size : 1028);
    uint8_t end[1028];
    if (::pread(fd_, end, block, size - block) != block) return false;
    int64_t at = static_cast<int64_t>(block) - 22;
    while (at >= 0 && Get32(end + at) != 0x06054B50u) --at;
    if (at < 0) return false;
    const uint32_t count = Get16(end + at + 10), cdSize = Get32(end + at + 12), cdOffset = Get32(end + at + 16);
    const uint64_t before = size - block + at - cdSize - cdOffset;
    uint64_t pos = before + cdOffset;
    ::mkdir(outDir.c_str(), 0777);
    for (uint32_t i = 0; i < count; ++i) {
      if (pos < cdPos_ || pos + 46 + 512 > cdPos_ + cdLength_) {
        const ssize_t got = ::pread(fd_, cd_, sizeof cd_, static_cast<off_t>(pos));
        if (got < 46) return false;
        cdPos_ = pos;
        cdLength_ = static_cast<uint32_t>(got);
      }
      const uint8_t* c = cd_ + (pos - cdPos_);
      const uint32_t nameLength = Get16(c + 28);
      const std::string name(reinterpret_cast<const char*>(c + 46), nameLength);
      if (!Item(before + Get32(c + 42), Get16(c + 10), Get32(c + 20), Get32(c + 24), Get32(c + 38) >> 16,
                outDir + "/" + name)) {
        return false;
      }
      pos += 46 + nameLength + Get16(c + 30) + Get16(c + 32);
    }
    return true;
  }

 private:
  bool Item(uint64_t local, uint32_t method, uint32_t comp, uint32_t unc, uint32_t mode, const std::string& path) {
    uint8_t h[30];
    if (::pread(fd_, h, 30, static_cast<off_t>(local)) != 30) return false;
    const uint32_t head = Get16(h + 26) + Get16(h + 28);
    const uint32_t first = method == 8 ? std::min<uint32_t>(comp, sizeof in_ - head) : 0;
    const ssize_t got = ::pread(fd_, in_, head + first, static_cast<off_t>(local + 30));
    if (got != static_cast<ssize_t>(head + first)) return false;
    int64_t mtime = 1700000000;
    const uint8_t* x = in_ + Get16(h + 26);
    for (uint32_t p = 0; p + 9 <= Get16(h + 28); p += 4 + Get16(x + p + 2)) {
      if (Get16(x + p) == 0x5455 && (x[p + 4] & 1)) mtime = static_cast<int32_t>(Get32(x + p + 5));
    }
    const size_t slash = path.rfind('/');
    if (path.back() == '/') {
      MakeTree(path.substr(0, path.size() - 1), windowsNames_);
      return true;
    }
    MakeTree(path.substr(0, slash), windowsNames_);
    if (windowsNames_) LookUpNewName(path);
    const int out = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, (mode & 0200) ? 0666 : 0444);
    if (out < 0) return false;
    off_t at = static_cast<off_t>(local + 30 + head + first);
    bool ok = true;
    if (method == 0) {
      for (uint32_t left = comp; left > 0 && ok;) {
        const uint32_t n = std::min<uint32_t>(left, sizeof out_);
        ok = ::pread(fd_, out_, n, at) == n && ::write(out, out_, n) == n;
        at += n;
        left -= n;
      }
    } else {
      inflateReset(&z_);
      z_.next_in = in_ + head;
      z_.avail_in = first;
      uint32_t left = comp - first, written = 0;
      int status = Z_OK;
      while (ok && status == Z_OK && written < unc) {
        // Each output buffer is filled before it is written.
        z_.next_out = out_;
        z_.avail_out = sizeof out_;
        while (ok && status == Z_OK && z_.avail_out > 0) {
          if (z_.avail_in == 0) {
            if (left == 0) break;
            const uint32_t n = std::min<uint32_t>(left, sizeof in_);
            ok = ::pread(fd_, in_, n, at) == n;
            at += n;
            left -= n;
            z_.next_in = in_;
            z_.avail_in = n;
          }
          status = inflate(&z_, Z_SYNC_FLUSH);
        }
        const uint32_t n = sizeof out_ - z_.avail_out;
        ok = ok && (status == Z_OK || status == Z_STREAM_END) && ::write(out, out_, n) == n;
        written += n;
        if (n == 0) break;
      }
    }
    const struct timespec times[2] = {{mtime, 0}, {mtime, 0}};
    ::futimens(out, times);
    ::close(out);
    return ok;
  }

  bool windowsNames_;
  int fd_ = -1;
  z_stream z_{};
  uint8_t cd_[16384];
  uint64_t cdPos_ = 0;
  uint32_t cdLength_ = 0;
  uint8_t in_[16384];
  uint8_t out_[16384];
};

}  // namespace zip_floor
