// Extraction speed of the toolkit against bsdtar on the same archive in the
// same run, and the peak resident memory of extracting a large and a ten
// times smaller archive. The archives are shaped like a packaged desktop
// application (a large main binary, a few large resource packs and
// libraries, thousands of small scripts, styles and locale files, mostly
// deflated) and are generated at run time below --work (kept between runs).
//
//   zip_extract_bench [--work=DIR] [--rounds=N] [--bsdtar=PATH] [--out=DIR] [--floor] [--before=PATH] [--verbose]
//
// Each round extracts the archive once with each contender, in turn, into a
// directory emptied just before; every ratio is taken within a round and the
// median of the rounds is printed with the lowest and highest. The trees go
// below --work unless --out names another place (a tmpfs shows the
// extractors' own costs without the file system's). Wall time is the child's from fork to exit, CPU its
// user and system time. --floor adds two contenders (bench/zip_floor_extract.h):
// the least an extractor with the toolkit's fixed costs can do, without and
// with the cost of Windows name rules on Linux. --before adds another build of
// this benchmark as a contender (its --extract-only runs that build's
// toolkit), to measure a change against the code before it in one run.
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
#include "zip_floor_extract.h"

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

struct Run {
  double wall = 0;  // seconds
  double cpu = 0;   // user and system seconds
  long peakKib = 0;
};

// Runs argv in a child; its times and peak resident set (ru_maxrss).
bool RunChild(const std::vector<std::string>& args, Run* run) {
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
  run->wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  run->cpu = usage.ru_utime.tv_sec + usage.ru_utime.tv_usec / 1e6 + usage.ru_stime.tv_sec + usage.ru_stime.tv_usec / 1e6;
  run->peakKib = usage.ru_maxrss;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Median, lowest and highest of the values.
struct Spread {
  double median, low, high;
};
Spread SpreadOf(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  const size_t n = v.size();
  const double median = n % 2 == 1 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
  return {median, v.front(), v.back()};
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

struct Contender {
  std::string name;
  std::vector<std::string> args;
  fs::path out;
  std::vector<Run> runs;
};

void PrintRatio(const char* what, const Contender& a, const Contender& b) {
  std::vector<double> wall, cpu;
  for (size_t r = 0; r < a.runs.size(); ++r) {
    wall.push_back(a.runs[r].wall / b.runs[r].wall);
    cpu.push_back(a.runs[r].cpu / b.runs[r].cpu);
  }
  const Spread w = SpreadOf(wall), c = SpreadOf(cpu);
  std::printf("  %-34s wall %.3f (%.3f to %.3f), CPU %.3f (%.3f to %.3f)\n", what, w.median, w.low, w.high, c.median,
              c.low, c.high);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 5 && std::strcmp(argv[1], "--extract-only") == 0) return ExtractOnly(argv[2], argv[3], argv[4]);
  if (argc == 4 && std::strncmp(argv[1], "--floor-only", 12) == 0) {
    return zip_floor::Extractor(std::strcmp(argv[1], "--floor-only-windows-names") == 0).Run(argv[2], argv[3]) ? 0 : 1;
  }
  fs::path work = "build/bench-zip";
  int rounds = 9;
  std::string bsdtar = "/usr/bin/bsdtar";
  bool floor = false, verbose = false;
  fs::path outDir;
  std::string before;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a.rfind("--work=", 0) == 0) work = a.substr(7);
    if (a.rfind("--rounds=", 0) == 0) rounds = std::max(1, std::atoi(a.c_str() + 9));
    if (a.rfind("--bsdtar=", 0) == 0) bsdtar = a.substr(9);
    if (a == "--floor") floor = true;
    if (a == "--verbose") verbose = true;
    if (a.rfind("--out=", 0) == 0) outDir = a.substr(6);
    if (a.rfind("--before=", 0) == 0) before = fs::absolute(a.substr(9)).string();
  }
  fs::create_directories(work);
  work = fs::absolute(work);
  const std::string self = fs::canonical("/proc/self/exe").string();
  const fs::path big = EnsureArchive(work, "app-full", 1.0);
  const fs::path small = EnsureArchive(work, "app-tenth", 0.1);
  const fs::path report = work / "hwm.txt";
  const fs::path out = outDir.empty() ? work : fs::absolute(outDir);
  fs::create_directories(out);

  std::vector<Contender> all;
  all.push_back({"toolkit", {self, "--extract-only", big.string(), (out / "out-ours").string(), report.string()},
                 out / "out-ours", {}});
  all.push_back({"bsdtar", {bsdtar, "-xf", big.string(), "-C", (out / "out-bsdtar").string()}, out / "out-bsdtar", {}});
  if (floor) {
    all.push_back({"floor", {self, "--floor-only", big.string(), (out / "out-floor").string()}, out / "out-floor", {}});
    all.push_back({"floor with Windows names",
                   {self, "--floor-only-windows-names", big.string(), (out / "out-floor-names").string()},
                   out / "out-floor-names", {}});
  }
  if (!before.empty()) {
    all.push_back({"toolkit before",
                   {before, "--extract-only", big.string(), (out / "out-before").string(), (work / "hwm-before.txt").string()},
                   out / "out-before", {}});
  }
  long peakBig = 0;
  for (int r = 0; r < rounds; ++r) {
    // Each contender deletes its own tree of the round before right before it
    // runs, always in the same turn: a file system makes files more slowly
    // just after many were deleted (ext4 passes over recently freed inodes),
    // and so every contender meets the same history.
    for (Contender& c : all) {
      fs::remove_all(c.out);
      fs::create_directories(c.out);
      Run run;
      if (!RunChild(c.args, &run)) {
        std::fprintf(stderr, "%s failed in round %d%s\n", c.name.c_str(), r + 1,
                     c.name == "bsdtar" ? " (is libarchive-tools installed?)" : "");
        return 1;
      }
      c.runs.push_back(run);
      if (verbose) std::printf("round %d: %-26s wall %.3f s, CPU %.3f s\n", r + 1, c.name.c_str(), run.wall, run.cpu);
      if (c.name == "toolkit") peakBig = std::max(peakBig, ReadReport(report));
    }
  }
  size_t files = 0, tarFiles = 0;
  const uint64_t bytes = TreeBytes(all[0].out, &files);
  const uint64_t tarBytes = TreeBytes(all[1].out, &tarFiles);

  Run smallRun;
  fs::remove_all(all[0].out);
  RunChild({self, "--extract-only", small.string(), all[0].out.string(), report.string()}, &smallRun);
  const long peakSmall = ReadReport(report);
  size_t smallFiles = 0;
  const uint64_t smallBytes = TreeBytes(all[0].out, &smallFiles);
  long peakTar = 0;
  for (const Run& run : all[1].runs) peakTar = std::max(peakTar, run.peakKib);
  for (const Contender& c : all) fs::remove_all(c.out);

  std::printf("archive: %s, %.1f MB unpacked in %zu files (bsdtar: %.1f MB, %zu files)\n", big.filename().c_str(),
              bytes / 1048576.0, files, tarBytes / 1048576.0, tarFiles);
  std::printf("extraction, %d rounds, median (lowest to highest) of the ratio within each round:\n", rounds);
  for (const Contender& c : all) {
    std::vector<double> wall, cpu;
    for (const Run& run : c.runs) {
      wall.push_back(run.wall);
      cpu.push_back(run.cpu);
    }
    std::printf("  %-34s wall %.3f s, CPU %.3f s (medians)\n", c.name.c_str(), SpreadOf(wall).median,
                SpreadOf(cpu).median);
  }
  PrintRatio("speed, bsdtar / toolkit", all[1], all[0]);
  PrintRatio("time, toolkit / bsdtar", all[0], all[1]);
  if (floor) {
    PrintRatio("time, floor / bsdtar", all[2], all[1]);
    PrintRatio("time, toolkit / floor", all[0], all[2]);
    PrintRatio("time, toolkit / floor, Windows names", all[0], all[3]);
  }
  if (!before.empty()) {
    PrintRatio("time, toolkit / toolkit before", all[0], all.back());
    PrintRatio("time, toolkit before / bsdtar", all.back(), all[1]);
  }
  std::printf("peak resident memory (VmHWM): toolkit %ld KiB for %.1f MB, %ld KiB for %.1f MB (%zu files); bsdtar %ld KiB (ru_maxrss)\n",
              peakBig, bytes / 1048576.0, peakSmall, smallBytes / 1048576.0, smallFiles, peakTar);
  return 0;
}
