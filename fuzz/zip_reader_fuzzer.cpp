// Fuzz target of the zip reader: the input is opened as an archive, every
// item is listed and extracted below a temporary base directory. Besides the
// sanitizers' findings it stops on a file written outside the base
// directory.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "toolkit/zip_reader.h"

namespace fs = std::filesystem;

namespace {

struct Sandbox {
  Sandbox() {
    root = fs::temp_directory_path() / ("zip_reader_fuzz_" + std::to_string(::getpid()));
    fs::create_directories(root);
  }
  ~Sandbox() {
    std::error_code ignored;
    fs::remove_all(root, ignored);
  }
  fs::path root;
};

std::u16string CorePath(const fs::path& path) {
  std::u16string text = path.u16string();
  for (char16_t& c : text) c = c == u'/' ? u'\\' : c;
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Sandbox sandbox;
  const fs::path input = sandbox.root / "input.zip";
  const fs::path base = sandbox.root / "base";
  {
    std::ofstream out(input, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  ZipHandle zip = OpenZip(CorePath(input), "fuzz");
  if (zip != nullptr) {
    SetUnzipBaseDir(zip, CorePath(base));
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
  for (const fs::directory_entry& e : fs::directory_iterator(sandbox.root)) {
    if (e.path() != input && e.path() != base) {
      std::fprintf(stderr, "written outside the base directory: %s\n", e.path().c_str());
      std::abort();
    }
  }
  std::error_code ignored;
  fs::permissions(base, fs::perms::owner_all, fs::perm_options::add, ignored);
  fs::remove_all(base, ignored);
  return 0;
}
