// Shared pieces of the fuzz targets: the input as wide text, and a scratch
// directory per process in which a target writes the input as a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include <unistd.h>

namespace fuzz {

// The bytes as UTF-16 code units, two bytes to a unit (an odd last byte is
// a unit of its own), as a wide text reaches the launcher from Windows.
inline std::u16string WideFromBytes(const uint8_t* data, size_t size) {
  std::u16string text;
  text.reserve(size / 2 + 1);
  for (size_t i = 0; i < size; i += 2) {
    text.push_back(static_cast<char16_t>(data[i] | (i + 1 < size ? data[i + 1] << 8 : 0)));
  }
  return text;
}

// A directory of this process's own under the system's temporary directory.
inline const std::filesystem::path& ScratchDir() {
  static const std::filesystem::path dir = [] {
    std::filesystem::path d = std::filesystem::temp_directory_path() /
                              ("orvane-fuzz-" + std::to_string(static_cast<unsigned long>(::getpid())));
    std::filesystem::create_directories(d);
    return d;
  }();
  return dir;
}

// The path in the Windows form the core speaks.
inline std::u16string CorePath(const std::filesystem::path& path) {
  std::u16string out;
  for (char c : path.string()) out.push_back(c == '/' ? u'\\' : static_cast<char16_t>(static_cast<unsigned char>(c)));
  return out;
}

}  // namespace fuzz
