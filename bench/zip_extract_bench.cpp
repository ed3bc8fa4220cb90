// Extraction speed of the toolkit against bsdtar on the same archive in the
// same run, and the peak resident memory of extracting a large and a ten
// times smaller archive. The archives are shaped like a packaged desktop
// application (a large main binary, a few large resource packs and
// libraries, thousands of small scripts, styles and locale files, mostly
// deflated) and are generated at run time below --work (kept between runs).
//
//   zip_extract_bench [--work=DIR] [--rounds=N] [--bsdtar=PATH]
//
// Linux only: the memory is read with wait4.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "toolkit/zip_builder_for_tests.h"
#include "toolkit/zip_extract.h"

namespace fs = std::filesystem;

namespace {

constexpr int kShapeVersion = 1;

struct Shape {
  std::string name;
  uint64_t bytes;
};

// Content that deflates about as well as the kind of file it stands for.
std::string Content(const std::string& name, size_t size, std::mt19937* random) {
  std::string out(size, '\0');
  const bool binary = name.find(".node") != std::string::npos || name.find(".so") != std::string::npos ||
                      name.find("app-bin") != std::string::npos || name.find(".pak") != std::string::npos ||
                      name.find(".dat") != std::string::npos;
  static const char* const kWords[] = {"function", "return", "const", "this", "module", "exports", "require",
                                       "=>",       "{",      "}",     "(",    ")",      ";",       "var",
                                       "if",       "else",   "null",  "true", "false",  "\n  "};
  size_t i = 0;
  while (i < size) {
    if (binary && (*random)() % 3 == 0) {
      // Runs of incompressible bytes between structured ones.
      const size_t run = std::min<size_t>(size - i, 64 + (*random)() % 512);
      for (size_t k = 0; k < run; ++k) out[i + k] = static_cast<char>((*random)());
      i += run;
    } else {
      const char* word = kWords[(*random)() % (sizeof kWords / sizeof kWords[0])];
      const size_t n = std::min(size - i, std::strlen(word));
      std::memcpy(&out[i], word, n);
      i += n;
      if (i < size && (*random)() % 4 == 0) out[i++] = ' ';
      if (i < size && (*random)() % 9 == 0) out[i++] = static_cast<char>('a' + (*random)() % 26);
    }
  }
  return out;
}

// The files of the application, `scale` 1.0 for about 250 MB in about 3,000
// files.
std::vector<Shape> Layout(double scale, std::mt19937* random) {
  std::vector<Shape> files;
  auto add = [&](const std::string& name, double mb) {
    files.push_back({name, static_cast<uint64_t>(mb * scale * 1024 * 1024)});
  };
  add("app-bin", 120);
  add("resources/app.pak", 30);
  add("resources/extra.pak", 12);
  add("icudtl.dat", 10);
  add("libgfx.so", 14);
  add("libffmpeg.so", 3);
  add("libvk.so", 5);
  for (int i = 0; i < 6; ++i) add("resources/native/mod" + std::to_string(i) + ".node", 1.5);
  for (int i = 0; i < 55; ++i) add("locales/l" + std::to_string(i) + ".pak", 0.35);
  const int small = static_cast<int>(2900 * scale);
  for (int i = 0; i < small; ++i) {
    const std::string dir = "resources/app/node_modules/pkg" + std::to_string(i % 180) + "/lib/" +
                            (i % 3 == 0 ? "sub/" : "");
    const char* ext = i % 5 == 0 ? ".json" : i % 7 == 0 ? ".css" : ".js";
    const double kb = i % 10 == 0 ? 0 : static_cast<double>((*random)() % 24000) / 1024;
    files.push_back({dir + "f" + std::to_string(i) + ext, static_cast<uint64_t>(kb * 1024 * 1024 / 1024)});
  }
  return files;
}

// Writes the archive item by item, so that memory stays small.
void WriteArchive(const fs::path& path, double scale) {
  std::mt19937 random(42);
  const std::vector<Shape> files = Layout(scale, &random);
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  std::string central;
  uint32_t offset = 0, count = 0;
  for (const Shape& file : files) {
    const std::string data = Content(file.name, file.bytes, &random);
    const bool store = file.name.find(".pak") != std::string::npos && file.name.find("locales") == std::string::npos;
    const uint16_t method = store ? 0 : 8;
    const std::string body = method == 8 ? zip_test::RawDeflate(data) : data;
    const uint32_t crc = crc32(0, reinterpret_cast<const Bytef*>(data.data()), static_cast<uInt>(data.size()));
    const std::string extra = zip_test::UtExtra(1, {1700000000u});
    std::string header;
    zip_test::Put32(&header, 0x04034B50);
    zip_test::Put16(&header, 20);
    zip_test::Put16(&header, 0);
    zip_test::Put16(&header, method);
    zip_test::Put32(&header, 0x5A2F6000);
    zip_test::Put32(&header, crc);
    zip_test::Put32(&header, static_cast<uint32_t>(body.size()));
    zip_test::Put32(&header, static_cast<uint32_t>(data.size()));
    zip_test::Put16(&header, static_cast<uint32_t>(file.name.size()));
    zip_test::Put16(&header, static_cast<uint32_t>(extra.size()));
    header += file.name + extra;
    out.write(header.data(), static_cast<std::streamsize>(header.size()));
    out.write(body.data(), static_cast<std::streamsize>(body.size()));

    zip_test::Put32(&central, 0x02014B50);
    zip_test::Put16(&central, 0x031E);
    zip_test::Put16(&central, 20);
    zip_test::Put16(&central, 0);
    zip_test::Put16(&central, method);
    zip_test::Put32(&central, 0x5A2F6000);
    zip_test::Put32(&central, crc);
    zip_test::Put32(&central, static_cast<uint32_t>(body.size()));
    zip_test::Put32(&central, static_cast<uint32_t>(data.size()));
    zip_test::Put16(&central, static_cast<uint32_t>(file.name.size()));
    for (int k = 0; k < 4; ++k) zip_test::Put16(&central, 0);
    zip_test::Put32(&central, (file.name == "app-bin" ? 0100755u : 0100644u) << 16);
    zip_test::Put32(&central, offset);
    central += file.name;
    offset += static_cast<uint32_t>(header.size() + body.size());
    ++count;
  }
  std::string end;
  zip_test::Put32(&end, 0x06054B50);
  zip_test::Put32(&end, 0);
  zip_test::Put16(&end, count);
  zip_test::Put16(&end, count);
  zip_test::Put32(&end, static_cast<uint32_t>(central.size()));
  zip_test::Put32(&end, offset);
  zip_test::Put16(&end, 0);
  out.write(central.data(), static_cast<std::streamsize>(central.size()));
  out.write(end.data(), static_cast<std::streamsize>(end.size()));
}

fs::path EnsureArchive(const fs::path& work, const std::string& name, double scale) {
  const fs::path path = work / (name + "-v" + std::to_string(kShapeVersion) + ".zip");
  if (!fs::exists(path)) {
    std::printf("generating %s ...\n", path.c_str());
    std::fflush(stdout);
    WriteArchive(path.string() + ".part", scale);
    fs::rename(path.string() + ".part", path);
  }
  return path;
}

std::u16string Core(const fs::path& path) {
  std::u16string text = path.u16string();
  for (char16_t& c : text) c = c == u'/' ? u'\\' : c;
  return text;
}

// The child's part: extract, then write its own high-water mark of resident
// memory (VmHWM, in KiB) to `report`. wait4's figure would also count pages
// of the parent from before exec.
int ExtractOnly(const char* zip, const char* dir, const char* report) {
  const bool ok = ExtractZipFile(Core(zip), Core(dir), nullptr, 0, 100);
  std::ifstream status("/proc/self/status");
  std::string line;
  long hwm = -1;
  while (std::getline(status, line)) {
    if (line.rfind("VmHWM:", 0) == 0) hwm = std::atol(line.c_str() + 6);
  }
  std::ofstream(report) << hwm << "\n";
  return ok ? 0 : 1;
}

long ReadReport(const fs::path& report) {
  long kib = -1;
  std::ifstream(report) >> kib;
  return kib;
}

// Runs argv in a child; its wall time in seconds and peak resident set in KiB.
bool RunChild(const std::vector<std::string>& args, double* seconds, long* peakKib) {
  std::vector<char*> argv;
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  const auto start = std::chrono::steady_clock::now();
  const pid_t pid = fork();
  if (pid == 0) {
    execv(argv[0], argv.data());
    _exit(127);
  }
  int status = 0;
  struct rusage usage {};
  if (wait4(pid, &status, 0, &usage) != pid) return false;
  *seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  *peakKib = usage.ru_maxrss;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

uint64_t TreeBytes(const fs::path& dir, size_t* files) {
  uint64_t total = 0;
  *files = 0;
  for (const auto& e : fs::recursive_directory_iterator(dir)) {
    if (e.is_regular_file()) {
      total += e.file_size();
      ++*files;
    }
  }
  return total;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 5 && std::strcmp(argv[1], "--extract-only") == 0) return ExtractOnly(argv[2], argv[3], argv[4]);
  fs::path work = "build/bench-zip";
  int rounds = 3;
  std::string bsdtar = "/usr/bin/bsdtar";
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a.rfind("--work=", 0) == 0) work = a.substr(7);
    if (a.rfind("--rounds=", 0) == 0) rounds = std::max(1, std::atoi(a.c_str() + 9));
    if (a.rfind("--bsdtar=", 0) == 0) bsdtar = a.substr(9);
  }
  fs::create_directories(work);
  work = fs::absolute(work);
  const std::string self = fs::canonical("/proc/self/exe").string();
  const fs::path big = EnsureArchive(work, "app-full", 1.0);
  const fs::path small = EnsureArchive(work, "app-tenth", 0.1);
  const fs::path outOurs = work / "out-ours", outTar = work / "out-bsdtar", report = work / "hwm.txt";

  size_t files = 0;
  std::vector<double> ours, tar;
  long peakBig = 0, peakTar = 0;
  for (int r = 0; r < rounds; ++r) {
    double s = 0;
    long kib = 0;
    fs::remove_all(outOurs);
    if (!RunChild({self, "--extract-only", big.string(), outOurs.string(), report.string()}, &s, &kib)) {
      std::fprintf(stderr, "extraction failed\n");
      return 1;
    }
    ours.push_back(s);
    peakBig = std::max(peakBig, ReadReport(report));
    fs::remove_all(outTar);
    fs::create_directories(outTar);
    if (!RunChild({bsdtar, "-xf", big.string(), "-C", outTar.string()}, &s, &kib)) {
      std::fprintf(stderr, "bsdtar failed (is libarchive-tools installed?)\n");
      return 1;
    }
    tar.push_back(s);
    peakTar = std::max(peakTar, kib);
  }
  const uint64_t bytes = TreeBytes(outOurs, &files);
  size_t tarFiles = 0;
  const uint64_t tarBytes = TreeBytes(outTar, &tarFiles);
  std::sort(ours.begin(), ours.end());
  std::sort(tar.begin(), tar.end());
  const double oursMedian = ours[ours.size() / 2], tarMedian = tar[tar.size() / 2];

  double s = 0;
  long peakSmall = 0;
  fs::remove_all(outOurs);
  long unused = 0;
  RunChild({self, "--extract-only", small.string(), outOurs.string(), report.string()}, &s, &unused);
  peakSmall = ReadReport(report);
  size_t smallFiles = 0;
  const uint64_t smallBytes = TreeBytes(outOurs, &smallFiles);
  fs::remove_all(outOurs);
  fs::remove_all(outTar);

  std::printf("archive: %s, %.1f MB unpacked in %zu files (bsdtar: %.1f MB, %zu files)\n", big.filename().c_str(),
              bytes / 1048576.0, files, tarBytes / 1048576.0, tarFiles);
  std::printf("extraction, median of %d: toolkit %.3f s, bsdtar %.3f s, speed ratio (bsdtar / toolkit) %.2f\n", rounds,
              oursMedian, tarMedian, tarMedian / oursMedian);
  std::printf("peak resident memory (VmHWM): toolkit %ld KiB for %.1f MB, %ld KiB for %.1f MB (%zu files); bsdtar %ld KiB (ru_maxrss)\n",
              peakBig, bytes / 1048576.0, peakSmall, smallBytes / 1048576.0, smallFiles, peakTar);
  return 0;
}
