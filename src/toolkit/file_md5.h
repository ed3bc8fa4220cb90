// The MD5 digest of a file, as an installer checks a downloaded package
// against the digest it was given. The file is read in buffers of a fixed
// size, so a file of 2 GB costs no more memory than a small one.
#pragma once

#include <cstdint>
#include <string>

namespace Utils {

// The size of every read (the last one may be shorter).
constexpr uint32_t kMd5ReadBufferBytes = 64 * 1024;

// The digest of the file's bytes as 32 lower-case hexadecimal digits in
// `md5`. False, with `md5` empty and an error line in the log, when the file
// can't be opened (a directory, a missing file) or read, or a hashing step
// fails.
bool GetFileMd5(const std::u16string& path, std::u16string* md5);

}  // namespace Utils
