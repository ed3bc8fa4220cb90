// Launch latency: the time from starting the launcher to the moment the
// application (the probe) starts, against a bare program that does nothing
// but start the same probe. Both are measured in the same run, alternating
// round by round, from the monotonic time just before StartProcess to the
// probe's own first reading of the same clock.
//
//   launch_latency_bench [--rounds=N] [<launcher> <probe> <bare-start>]
//
// Without paths the programs of this build are used (or ORVANE_LAUNCHER,
// ORVANE_PROBE, ORVANE_BARE_START). Prints the medians and the ratio
// launcher / bare start; the target natively is 1.5 or better.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
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
  return 0;
}
