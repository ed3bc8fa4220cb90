// Files of an install root that anyone who can write there controls:
// manifest.json, Orvane.ini and the names of version directories. The input
// is split at its first NUL into the manifest and the ini; the whole input,
// as wide text split at '|', gives version names to compare.
#include <cstdint>
#include <fstream>
#include <string>

#include "base/product_config.h"
#include "fuzz_support.h"
#include "layout/launcher_ini.h"
#include "layout/version_dirs.h"

namespace {

void WriteBytes(const std::filesystem::path& path, const uint8_t* data, size_t size) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::filesystem::path root = fuzz::ScratchDir() / "root";
  static const bool made = [&] {
    std::filesystem::create_directories(root / "app");
    std::ofstream(root / "app" / "Runner.exe") << "x";
    return true;
  }();
  (void)made;

  size_t split = 0;
  while (split < size && data[split] != 0) ++split;
  WriteBytes(root / "app" / "manifest.json", data, split);
  const size_t iniStart = split < size ? split + 1 : size;
  WriteBytes(root / "Orvane.ini", data + iniStart, size - iniStart);

  CProductConfig config;
  config.exe_file_name = u"Orvane.exe";
  config.version_dir_name = u"app";
  const std::u16string rootPath = fuzz::CorePath(root) + u"\\";
  std::u16string name, exe;
  bool fromManifest = false;
  FindMainExe(config, rootPath, &name, &exe, &fromManifest);
  ReadManifestLaunchName(rootPath + u"app", &exe, &name);
  ReadLauncherIni(rootPath);

  const std::u16string text = fuzz::WideFromBytes(data, size);
  const size_t bar = text.find(u'|');
  const std::u16string a = text.substr(0, bar);
  const std::u16string b = bar == std::u16string::npos ? std::u16string() : text.substr(bar + 1);
  CompareVersionDirNames(a, b);
  CompareVersions(a, b);
  return 0;
}
