// Fuzz target of the zip reader: the input is opened as an archive, every
// item is listed and extracted below a temporary base directory. Besides the
// sanitizers' findings it stops on a file written outside the base
// directory, and on a name below it that the reader refuses to write (a
// device name, a ":").
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "base/text.h"
#include "fuzz_support.h"
#include "toolkit/zip_reader.h"

namespace fs = std::filesystem;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const fs::path sandbox = [] {
    const fs::path dir = fuzz::ScratchDir() / "zip";
    fs::create_directories(dir);
    return dir;
  }();
  const fs::path input = sandbox / "input.zip";
  const fs::path base = sandbox / "base";
  {
    std::ofstream out(input, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  ZipHandle zip = OpenZip(fuzz::CorePath(input), "fuzz");
  if (zip != nullptr) {
    SetUnzipBaseDir(zip, fuzz::CorePath(base));
    ZipEntry entry;
    if (GetZipItem(zip, -1, &entry) == ZR_OK) {
      const int32_t count = entry.index;
      for (int32_t i = 0; i < count; ++i) {
        if (GetZipItem(zip, i, &entry) == ZR_OK) UnzipItem(zip, i, entry.name);
      }
      GetZipItem(zip, count, &entry);
    }
    char16_t text[64];
    FormatZipResult(ZR_RECENT, text, 64);
    ReleaseZip(zip);
  }
  // Nothing but the input and the base directory may exist in the sandbox.
  for (const fs::directory_entry& e : fs::directory_iterator(sandbox)) {
    if (e.path() != input && e.path() != base) {
      std::fprintf(stderr, "written outside the base directory: %s\n", e.path().c_str());
      std::abort();
    }
  }
  std::error_code ignored;
  for (auto it = fs::recursive_directory_iterator(base, ignored); it != fs::recursive_directory_iterator();
       it.increment(ignored)) {
    if (IsRefusedZipName(Utf8ToWide(it->path().filename().string()))) {
      std::fprintf(stderr, "written under a refused name: %s\n", it->path().c_str());
      std::abort();
    }
  }
  fs::remove_all(base, ignored);
  return 0;
}
