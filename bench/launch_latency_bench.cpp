// Launch latency: the time from starting the launcher to the moment the
// application (the probe) starts, against a bare program that does nothing
// but start the same probe. Both are measured in the same run, alternating
// round by round, from the monotonic time just before StartProcess to the
// probe's own first reading of the same clock.
//
//   launch_latency_bench [--rounds=N] [<launcher> <probe> <bare-start>]
//
// Then the whole normal start: from the start of the launcher to the end of
// its process, follow-ups included, with 5 old version directories of 300
// files each to clear away (made anew before every round, outside the
// timing), against the bare start's process from start to end; and the
// clean-up's own time against rm -rf (under Windows rmdir /s /q) of identical
// trees in the same rounds, whose target is 1.3 or less.
//
// Without paths the programs of this build are used (or ORVANE_LAUNCHER,
// ORVANE_PROBE, ORVANE_BARE_START). Prints the medians and the ratio
// launcher / bare start; the target natively is 1.5 or better.
#ifndef _WIN32
#include <sys/resource.h>
#endif

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "bench_sandbox.h"


namespace {

std::string FromEnv(const char* name, const char* fallback) {
  const char* value = std::getenv(name);
  return value != nullptr && *value != '\0' ? value : fallback;
}

// Starts the command line, waits for the process to end, then for the
// probe's record number `count`: the latency in milliseconds, or -1.
double TimeOneStart(const bench::Sandbox& box, const std::u16string& commandLine, size_t count) {
  platform::Platform& p = platform::Get();
  platform::ProcessInfo info;
  const uint64_t t0 = p.MonotonicNs();
  if (!p.StartProcess(commandLine, u"", &info)) return -1;
  if (p.WaitOne(info.process, 30000) != platform::kWaitObject0) p.Terminate(info.process, 1);
  p.CloseObject(info.process);
  if (info.thread != nullptr) p.CloseObject(info.thread);
  const uint64_t started = box.WaitForStartNs(count, 30000);
  if (started == 0 || started < t0) return -1;
  return static_cast<double>(started - t0) / 1e6;
}

// Starts the command line and waits for its process to end: milliseconds,
// or -1.
double TimeToExit(const std::u16string& commandLine) {
  platform::Platform& p = platform::Get();
  platform::ProcessInfo info;
  const uint64_t t0 = p.MonotonicNs();
  if (!p.StartProcess(commandLine, u"", &info)) return -1;
  const bool ended = p.WaitOne(info.process, 60000) == platform::kWaitObject0;
  const uint64_t t1 = p.MonotonicNs();
  if (!ended) p.Terminate(info.process, 1);
  p.CloseObject(info.process);
  if (info.thread != nullptr) p.CloseObject(info.thread);
  return ended ? static_cast<double>(t1 - t0) / 1e6 : -1;
}

// Five old copies of the application beside the current one, 300 files each.
void MakeOldVersions(const bench::fs::path& root) {
  const std::string bytes(2048, 'x');
  for (int v = 0; v < 5; ++v) {
    const bench::fs::path dir = root / ("1.0." + std::to_string(v));
    bench::fs::create_directories(dir / "resources");
    std::ofstream(dir / "Orvane.exe", std::ios::binary) << "MZ";
    for (int f = 1; f < 300; ++f) {
      std::ofstream(dir / (f % 2 == 0 ? bench::fs::path("resources") : bench::fs::path()) /
                        ("file" + std::to_string(f) + ".bin"),
                    std::ios::binary)
          << bytes;
    }
  }
}

// CPU time (user and system) of the children waited for so far, in ms;
// natively only (0 elsewhere).
double ChildrenCpuMs() {
#ifdef _WIN32
  return 0;
#else
  struct rusage usage {};
  ::getrusage(RUSAGE_CHILDREN, &usage);
  const auto ms = [](const timeval& t) { return static_cast<double>(t.tv_sec) * 1e3 + t.tv_usec / 1e3; };
  return ms(usage.ru_utime) + ms(usage.ru_stime);
#endif
}

// TimeToExit, and the process's CPU time in `cpuMs` (natively).
double TimeToExitWithCpu(const std::u16string& commandLine, double* cpuMs) {
  const double before = ChildrenCpuMs();
  const double wall = TimeToExit(commandLine);
  *cpuMs = ChildrenCpuMs() - before;
  return wall;
}

// The platform's own removal of a whole tree: rm -rf natively, cmd's
// rmdir /s /q under Windows.
std::u16string RemovalLine(const bench::fs::path& dir) {
#ifdef _WIN32
  return u"cmd.exe /c rmdir /s /q \"" + bench::WinForm16(dir) + u"\"";
#else
  return u"/bin/rm -rf \"" + bench::WinForm16(dir) + u"\"";
#endif
}

// Lowest and highest of the values.
std::pair<double, double> Spread(const std::vector<double>& values) {
  const auto [lo, hi] = std::minmax_element(values.begin(), values.end());
  return values.empty() ? std::make_pair(0.0, 0.0) : std::make_pair(*lo, *hi);
}

// The clean-up's own time against the platform's removal of identical trees,
// measured in the same rounds. Each round makes the five old copies beside the
// launcher and the same five under a scratch directory (outside the timing),
// then times four processes: the launcher with the copies to clear and again
// with nothing to clear, the removal of the scratch copies and the removal of
// a path that does not exist. Own time is the first of each pair minus the
// second, so process start-up cancels out. The pairs alternate in order from
// round to round. Prints the medians, the ratio of the median own times and
// the spread of the per-round ratios; false when a round fails.
bool CleanUpAgainstRemoval(const bench::Sandbox& box, const std::u16string& launcherLine, int rounds) {
  const bench::fs::path root = box.launcher().parent_path();
  const bench::fs::path scratch = root.parent_path() / "removal";
  // Per process: wall and CPU times of the launcher with copies and with
  // none, of the removal of the copies and of nothing.
  std::vector<double> wall[4], cpu[4], wallRatio, cpuRatio;
  for (int i = 0; i < rounds; ++i) {
    MakeOldVersions(root);
    MakeOldVersions(scratch);
    double w[4] = {}, c[4] = {};
    const bool launcherFirst = i % 2 == 0;
    for (int half = 0; half < 2; ++half) {
      if ((half == 0) == launcherFirst) {
        w[0] = TimeToExitWithCpu(launcherLine, &c[0]);
        w[1] = TimeToExitWithCpu(launcherLine, &c[1]);
      } else {
        w[2] = TimeToExitWithCpu(RemovalLine(scratch), &c[2]);
        w[3] = TimeToExitWithCpu(RemovalLine(scratch / "none"), &c[3]);
      }
    }
    if (w[0] < 0 || w[1] < 0 || w[2] < 0 || w[3] < 0 || bench::fs::exists(root / "1.0.0") ||
        bench::fs::exists(scratch)) {
      std::fprintf(stderr, "launch_latency_bench: clean-up round %d failed or left old copies (%.3f %.3f %.3f %.3f)\n",
                   i, w[0], w[1], w[2], w[3]);
      return false;
    }
    for (int k = 0; k < 4; ++k) wall[k].push_back(w[k]), cpu[k].push_back(c[k]);
    if (w[2] > w[3]) wallRatio.push_back((w[0] - w[1]) / (w[2] - w[3]));
    if (c[2] > c[3]) cpuRatio.push_back((c[0] - c[1]) / (c[2] - c[3]));
  }
#ifdef _WIN32
  const char* removalName = "rmdir /s /q";
#else
  const char* removalName = "rm -rf";
#endif
  std::printf("clean-up's own time against %s of identical trees, %d alternating rounds (medians):\n", removalName,
              rounds);
  const auto report = [&](const char* what, const std::vector<double>* t, const std::vector<double>& ratios) {
    const double cleanUp = bench::Median(t[0]) - bench::Median(t[1]);
    const double removal = bench::Median(t[2]) - bench::Median(t[3]);
    const auto [lo, hi] = Spread(ratios);
    std::printf("  %s: launcher with 5 old copies %.3f ms, with none %.3f ms: clean-up %.3f ms\n", what,
                bench::Median(t[0]), bench::Median(t[1]), cleanUp);
    std::printf("  %s: %s of the trees %.3f ms, of nothing %.3f ms: removal %.3f ms\n", what, removalName,
                bench::Median(t[2]), bench::Median(t[3]), removal);
    std::printf("  %s: ratio clean-up/%s %.2f (per round %.2f to %.2f, median %.2f)\n", what, removalName,
                removal > 0 ? cleanUp / removal : 0.0, lo, hi, bench::Median(ratios));
  };
  report("wall", wall, wallRatio);
#ifndef _WIN32
  report("CPU ", cpu, cpuRatio);
#endif
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  int rounds = 40;
  std::vector<std::string> paths;
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--rounds=", 9) == 0) {
      rounds = std::atoi(argv[i] + 9);
    } else {
      paths.push_back(argv[i]);
    }
  }
  if (!paths.empty() && paths.size() != 3) {
    std::fprintf(stderr, "usage: launch_latency_bench [--rounds=N] [<launcher> <probe> <bare-start>]\n");
    return 2;
  }
  const bench::fs::path launcher =
      bench::ProgramPath(paths.empty() ? FromEnv("ORVANE_LAUNCHER", ORVANE_BENCH_LAUNCHER) : paths[0]);
  const bench::fs::path probe = bench::ProgramPath(paths.empty() ? FromEnv("ORVANE_PROBE", ORVANE_BENCH_PROBE) : paths[1]);
  const bench::fs::path bareStart =
      bench::ProgramPath(paths.empty() ? FromEnv("ORVANE_BARE_START", ORVANE_BENCH_BARE_START) : paths[2]);
  if (rounds < 1 || launcher.empty() || probe.empty() || bareStart.empty()) {
    std::fprintf(stderr, "launch_latency_bench: missing program paths or rounds\n");
    return 2;
  }

  bench::Sandbox box(launcher, probe, "orvane-latency-bench");
  const std::u16string launcherLine = u"\"" + bench::WinForm16(box.launcher()) + u"\"";
  const std::u16string bareLine =
      u"\"" + bench::WinForm16(bareStart) + u"\" \"" + bench::WinForm16(box.appExe()) + u"\"";

  // One start of each first: the launcher's first start renames nothing here
  // but writes Orvane.ini and creates the log; both warm the file cache.
  size_t count = 0;
  const int warmUp = 2;
  std::vector<double> viaLauncher, viaBare;
  for (int i = 0; i < rounds + warmUp; ++i) {
    const double a = TimeOneStart(box, launcherLine, ++count);
    const double b = TimeOneStart(box, bareLine, ++count);
    if (a < 0 || b < 0) {
      std::fprintf(stderr, "launch_latency_bench: round %d failed (launcher %.3f, bare start %.3f)\n", i, a, b);
      return 1;
    }
    if (i >= warmUp) {
      viaLauncher.push_back(a);
      viaBare.push_back(b);
    }
  }
  const double launcherMs = bench::Median(viaLauncher);
  const double bareMs = bench::Median(viaBare);
  std::printf("launch latency, %d alternating rounds (median, start to application start):\n", rounds);
  std::printf("  launcher    %8.3f ms\n", launcherMs);
  std::printf("  bare start  %8.3f ms\n", bareMs);
  std::printf("  ratio launcher/bare start: %.2f\n", bareMs > 0 ? launcherMs / bareMs : 0.0);

  const int wholeRounds = rounds < 10 ? rounds : 10;
  std::vector<double> whole, bareWhole;
  for (int i = 0; i < wholeRounds; ++i) {
    MakeOldVersions(box.launcher().parent_path());
    const double a = TimeToExit(launcherLine);
    const double b = TimeToExit(bareLine);
    if (a < 0 || b < 0 || bench::fs::exists(box.launcher().parent_path() / "1.0.0")) {
      std::fprintf(stderr, "launch_latency_bench: whole start round %d failed or left old copies\n", i);
      return 1;
    }
    whole.push_back(a);
    bareWhole.push_back(b);
  }
  const double wholeMs = bench::Median(whole);
  const double bareWholeMs = bench::Median(bareWhole);
  std::printf("whole normal start, %d rounds (median, start to process end, 5 old copies of 300 files cleared):\n",
              wholeRounds);
  std::printf("  launcher    %8.3f ms\n", wholeMs);
  std::printf("  bare start  %8.3f ms\n", bareWholeMs);
  std::printf("  ratio launcher/bare start: %.2f\n", bareWholeMs > 0 ? wholeMs / bareWholeMs : 0.0);
  return CleanUpAgainstRemoval(box, launcherLine, rounds < 15 ? rounds : 15) ? 0 : 1;
}
