// Launch latency: the time from starting the launcher to the moment the
// application (the probe) starts, against two baselines measured in the same
// run: start-stub, the floor of any launcher (a C program that only starts
// the probe), and bare-start, the platform seam's process start in a program
// of this build. Round by round each of the three starts the probe once, in
// an order that turns every round, timed the same way: from the monotonic
// time just before StartProcess to the probe's own first reading of the same
// clock. Every start carries its own tag, which the probe records, so a start
// that fails cannot be mistaken for another's record; a round with a failed
// start says which start failed and why and is run once more.
//
//   launch_latency_bench [--rounds=N] [<launcher> <probe> <bare-start> [<start-stub>]]
//
// Then the whole normal start: from the start of the launcher to the end of
// its process, follow-ups included, with 5 old version directories of 300
// files each to clear away (made anew before every round, outside the
// timing), against the bare start's process from start to end; and the
// clean-up's own time against rm -rf (under Windows rmdir /s /q) of identical
// trees in the same rounds, whose target is 1.3 or less.
//
// Without paths the programs of this build are used (or ORVANE_LAUNCHER,
// ORVANE_PROBE, ORVANE_BARE_START, ORVANE_START_STUB). Prints the medians,
// the quartiles and the ratios launcher / start-stub and launcher /
// bare-start; the target natively is 1.5 or less against start-stub.
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
#include "start_records.h"

#ifndef ORVANE_BENCH_START_STUB
#define ORVANE_BENCH_START_STUB ""
#endif


namespace {

std::string FromEnv(const char* name, const char* fallback) {
  const char* value = std::getenv(name);
  return value != nullptr && *value != '\0' ? value : fallback;
}

// One timed start: the latency in milliseconds, or why there is none.
struct StartOutcome {
  double ms = -1;
  std::string why;
};

std::string ReadWholeFile(const bench::fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Starts the command line with the argument `tag` added, waits for the
// process to end, then for the probe's record of that tag.
StartOutcome TimeTaggedStart(const bench::Sandbox& box, const std::u16string& commandLine, const std::string& tag) {
  auto& clock = platform::Service<platform::Clock>();
  auto& processes = platform::Service<platform::Processes>();
  platform::ProcessInfo info;
  StartOutcome out;
  const std::u16string line = commandLine + u" " + platform::Utf8ToUtf16(tag);
  const uint64_t t0 = clock.MonotonicNs();
  if (!processes.StartProcess(line, u"", &info)) {
    out.why = "StartProcess failed, error=" + std::to_string(platform::LastError());
    return out;
  }
  uint32_t exitCode = 259;
  const bool ended = processes.WaitOne(info.process, 30000) == platform::kWaitObject0;
  if (!ended) processes.Terminate(info.process, 1);
  processes.ExitCodeOf(info.process, &exitCode);
  processes.CloseObject(info.process);
  if (info.thread != nullptr) processes.CloseObject(info.thread);
  if (!ended) {
    out.why = "the process did not end within 30 s";
    return out;
  }
  const uint64_t deadline = clock.MonotonicNs() + uint64_t{30000} * 1000000;
  uint64_t started = 0;
  bench::RecordState state = bench::RecordState::kAbsent;
  while ((state = bench::FindTaggedStart(ReadWholeFile(box.record()), tag, &started)) == bench::RecordState::kAbsent &&
         clock.MonotonicNs() < deadline) {
    clock.SleepMs(1);
  }
  const std::string exited = " (the process ended with exit code " + std::to_string(static_cast<int32_t>(exitCode)) + ")";
  if (state == bench::RecordState::kAbsent) {
    out.why = "the application recorded no start within 30 s" + exited;
  } else if (state == bench::RecordState::kMalformed) {
    out.why = "the application's record has no start time" + exited;
  } else if (started < t0) {
    out.why = "the application's start time lies before the start was asked for";
  } else {
    out.ms = static_cast<double>(started - t0) / 1e6;
  }
  return out;
}

struct TimedStart {
  const char* name;
  std::u16string commandLine;
  std::vector<double> ms;
};

// One round: each start once, the first of them turning with the round. On a
// failure, says which start failed and why; the round's times are kept only
// when all of them succeeded.
bool RunRound(const bench::Sandbox& box, std::vector<TimedStart>& starts, int round, int attempt, bool keep) {
  std::vector<double> times(starts.size(), -1);
  for (size_t k = 0; k < starts.size(); ++k) {
    const size_t which = (static_cast<size_t>(round) + k) % starts.size();
    const std::string tag = "--bench_start=" + std::to_string(round) + "." + std::to_string(attempt) + "." + starts[which].name;
    const StartOutcome out = TimeTaggedStart(box, starts[which].commandLine, tag);
    if (out.ms < 0) {
      std::fprintf(stderr, "launch_latency_bench: round %d%s: the %s start failed: %s\n", round,
                   attempt > 0 ? " (retried)" : "", starts[which].name, out.why.c_str());
      return false;
    }
    times[which] = out.ms;
  }
  if (keep) {
    for (size_t k = 0; k < starts.size(); ++k) starts[k].ms.push_back(times[k]);
  }
  return true;
}

void PrintRatio(const char* label, const std::vector<double>& a, const std::vector<double>& b) {
  const bench::Spread paired = bench::Describe(bench::PairedRatios(a, b));
  const double medianB = bench::Describe(b).median;
  std::printf("  ratio %s: %.2f (round by round: median %.2f, quartiles %.2f .. %.2f)\n", label,
              medianB > 0 ? bench::Describe(a).median / medianB : 0.0, paired.median, paired.p25, paired.p75);
}

// The launch latency figure: the launcher against start-stub and bare-start.
// 0, or 1 when a round failed twice.
int RunStartLatency(const bench::Sandbox& box, const std::u16string& launcherLine, const std::u16string& stubLine,
                    const std::u16string& bareLine, int rounds) {
  std::vector<TimedStart> starts = {{"launcher", launcherLine, {}}, {"start-stub", stubLine, {}}, {"bare-start", bareLine, {}}};
  // Warm-up rounds first: the launcher's first start writes Orvane.ini and
  // creates the log; all of them warm the file cache.
  const int warmUp = 2;
  int retried = 0;
  for (int i = 0; i < rounds + warmUp; ++i) {
    if (RunRound(box, starts, i, 0, i >= warmUp)) continue;
    ++retried;
    if (!RunRound(box, starts, i, 1, i >= warmUp)) {
      std::fprintf(stderr, "launch_latency_bench: round %d failed twice; stopping\n", i);
      return 1;
    }
  }
  std::printf("launch latency, %d rounds of three starts in turn (start to the application's first clock reading):\n",
              rounds);
  std::printf("                   median     quartiles          min .. max (ms)\n");
  for (const TimedStart& s : starts) {
    const bench::Spread d = bench::Describe(s.ms);
    std::printf("  %-12s %9.3f  %7.3f .. %-7.3f  %7.3f .. %.3f\n", s.name, d.median, d.p25, d.p75, d.min, d.max);
  }
  PrintRatio("launcher/start-stub", starts[0].ms, starts[1].ms);
  PrintRatio("launcher/bare-start", starts[0].ms, starts[2].ms);
  std::printf("  rounds retried: %d\n", retried);
  return 0;
}

// Starts the command line and waits for its process to end: milliseconds,
// or -1.
double TimeToExit(const std::u16string& commandLine) {
  auto& clock = platform::Service<platform::Clock>();
  auto& processes = platform::Service<platform::Processes>();
  platform::ProcessInfo info;
  const uint64_t t0 = clock.MonotonicNs();
  if (!processes.StartProcess(commandLine, u"", &info)) return -1;
  const bool ended = processes.WaitOne(info.process, 60000) == platform::kWaitObject0;
  const uint64_t t1 = clock.MonotonicNs();
  if (!ended) processes.Terminate(info.process, 1);
  processes.CloseObject(info.process);
  if (info.thread != nullptr) processes.CloseObject(info.thread);
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
  if (!paths.empty() && paths.size() != 3 && paths.size() != 4) {
    std::fprintf(stderr,
                 "usage: launch_latency_bench [--rounds=N] [<launcher> <probe> <bare-start> [<start-stub>]]\n");
    return 2;
  }
  const bench::fs::path launcher =
      bench::ProgramPath(paths.empty() ? FromEnv("ORVANE_LAUNCHER", ORVANE_BENCH_LAUNCHER) : paths[0]);
  const bench::fs::path probe = bench::ProgramPath(paths.empty() ? FromEnv("ORVANE_PROBE", ORVANE_BENCH_PROBE) : paths[1]);
  const bench::fs::path bareStart =
      bench::ProgramPath(paths.empty() ? FromEnv("ORVANE_BARE_START", ORVANE_BENCH_BARE_START) : paths[2]);
  const bench::fs::path startStub = bench::ProgramPath(
      paths.size() == 4 ? paths[3] : FromEnv("ORVANE_START_STUB", ORVANE_BENCH_START_STUB));
  if (rounds < 1 || launcher.empty() || probe.empty() || bareStart.empty() || startStub.empty()) {
    std::fprintf(stderr, "launch_latency_bench: missing program paths or rounds\n");
    return 2;
  }

  bench::Sandbox box(launcher, probe, "orvane-latency-bench");
  const std::u16string launcherLine = u"\"" + bench::WinForm16(box.launcher()) + u"\"";
  const std::u16string bareLine =
      u"\"" + bench::WinForm16(bareStart) + u"\" \"" + bench::WinForm16(box.appExe()) + u"\"";
  const std::u16string stubLine =
      u"\"" + bench::WinForm16(startStub) + u"\" \"" + bench::WinForm16(box.appExe()) + u"\"";
  if (const int status = RunStartLatency(box, launcherLine, stubLine, bareLine, rounds)) return status;

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
