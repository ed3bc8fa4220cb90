// Peak resident memory of a native normal start against a bare start of the
// same application, for the launcher process itself (the started application
// is not counted on either side), with start-stub's beside them: the floor of
// a program that only starts the application. Linux only.
//
// wait4's ru_maxrss carries the high-water mark of the memory the process had
// before its execve, which for a child of this benchmark is the benchmark's
// own (posix_spawn shares it, fork copies it): every small program would then
// measure as large as the benchmark. So the child is traced and stopped at
// its exit, and VmHWM of its own image is read from /proc then; ru_maxrss is
// printed beside it for comparison.
//
//   peak_memory_bench [--rounds=N] [--exe=<Orvane.exe>] [<launcher> <probe> <bare-start>]
//
// With --exe (or a Windows build beside this one) it also prints the size in
// bytes of the Windows executable.
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench_sandbox.h"

#ifndef ORVANE_BENCH_START_STUB
#define ORVANE_BENCH_START_STUB ""
#endif
#ifndef ORVANE_BENCH_WINDOWS_EXE
#define ORVANE_BENCH_WINDOWS_EXE ""
#endif

namespace {

struct Peak {
  long hwmKib = -1;     // VmHWM at exit
  long maxrssKib = -1;  // wait4's ru_maxrss
};

long ReadVmHwm(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmHWM:", 0) == 0) return std::strtol(line.c_str() + 6, nullptr, 10);
  }
  return -1;
}

// Runs the program to its end under trace, stopped once at its exit.
Peak Measure(const std::vector<std::string>& args) {
  std::vector<char*> argv;
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  Peak peak;
  const pid_t pid = fork();
  if (pid < 0) return peak;
  if (pid == 0) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }
  int status = 0;
  struct rusage usage {};
  // The first stop is the exec's SIGTRAP; from there on, stop at the exit.
  if (waitpid(pid, &status, 0) != pid || !WIFSTOPPED(status)) return peak;
  ptrace(PTRACE_SETOPTIONS, pid, nullptr, reinterpret_cast<void*>(PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL));
  ptrace(PTRACE_CONT, pid, nullptr, nullptr);
  for (;;) {
    if (wait4(pid, &status, 0, &usage) != pid) return peak;
    if (WIFEXITED(status) || WIFSIGNALED(status)) break;
    if (WIFSTOPPED(status) && (status >> 8) == (SIGTRAP | (PTRACE_EVENT_EXIT << 8))) {
      peak.hwmKib = ReadVmHwm(pid);
      ptrace(PTRACE_CONT, pid, nullptr, nullptr);
    } else if (WIFSTOPPED(status)) {
      // Hand any other signal on as it came.
      const int signal = WSTOPSIG(status) == SIGTRAP ? 0 : WSTOPSIG(status);
      ptrace(PTRACE_CONT, pid, nullptr, reinterpret_cast<void*>(static_cast<long>(signal)));
    }
  }
  peak.maxrssKib = usage.ru_maxrss;
  return peak;
}

}  // namespace

int main(int argc, char** argv) {
  int rounds = 10;
  std::string exe = ORVANE_BENCH_WINDOWS_EXE;
  std::vector<std::string> paths;
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--rounds=", 9) == 0) {
      rounds = std::atoi(argv[i] + 9);
    } else if (std::strncmp(argv[i], "--exe=", 6) == 0) {
      exe = argv[i] + 6;
    } else {
      paths.push_back(argv[i]);
    }
  }
  if ((!paths.empty() && paths.size() != 3) || rounds < 1) {
    std::fprintf(stderr, "usage: peak_memory_bench [--rounds=N] [--exe=<Orvane.exe>] [<launcher> <probe> <bare-start>]\n");
    return 2;
  }
  const std::string launcher = paths.empty() ? ORVANE_BENCH_LAUNCHER : paths[0];
  const std::string probe = paths.empty() ? ORVANE_BENCH_PROBE : paths[1];
  const std::string bareStart = paths.empty() ? ORVANE_BENCH_BARE_START : paths[2];
  const std::string startStub = ORVANE_BENCH_START_STUB;
  if (startStub.empty()) {
    std::fprintf(stderr, "peak_memory_bench: this build names no start-stub\n");
    return 2;
  }

  bench::Sandbox box(launcher, probe, "orvane-memory-bench");
  std::vector<double> launcherHwm, bareHwm, launcherMaxrss, bareMaxrss, stubHwm;
  size_t count = 0;
  for (int i = 0; i < rounds; ++i) {
    const Peak a = Measure({box.launcher().string()});
    box.WaitForStartNs(++count, 10000);  // the application has started before the next round
    const Peak b = Measure({bareStart, box.appExe().string()});
    box.WaitForStartNs(++count, 10000);
    const Peak c = Measure({startStub, box.appExe().string()});
    box.WaitForStartNs(++count, 10000);
    if (a.hwmKib < 0 || b.hwmKib < 0 || c.hwmKib < 0) {
      std::fprintf(stderr, "peak_memory_bench: round %d failed (is ptrace allowed here?)\n", i);
      return 1;
    }
    launcherHwm.push_back(static_cast<double>(a.hwmKib));
    bareHwm.push_back(static_cast<double>(b.hwmKib));
    launcherMaxrss.push_back(static_cast<double>(a.maxrssKib));
    bareMaxrss.push_back(static_cast<double>(b.maxrssKib));
    stubHwm.push_back(static_cast<double>(c.hwmKib));
  }
  const double launcherKib = bench::Median(launcherHwm);
  const double bareKib = bench::Median(bareHwm);
  std::printf("peak resident memory, %d rounds (median; VmHWM at exit, ru_maxrss in brackets):\n", rounds);
  std::printf("  launcher    %8.0f KiB  [%.0f]\n", launcherKib, bench::Median(launcherMaxrss));
  std::printf("  bare start  %8.0f KiB  [%.0f]\n", bareKib, bench::Median(bareMaxrss));
  std::printf("  start-stub  %8.0f KiB\n", bench::Median(stubHwm));
  std::printf("  ratio launcher/bare start: %.2f\n", bareKib > 0 ? launcherKib / bareKib : 0.0);
  const double stubKib = bench::Median(stubHwm);
  std::printf("  ratio launcher/start-stub: %.2f\n", stubKib > 0 ? launcherKib / stubKib : 0.0);
  std::error_code ec;
  if (!exe.empty() && bench::fs::exists(exe, ec)) {
    std::printf("  size of %s: %llu bytes\n", exe.c_str(),
                static_cast<unsigned long long>(bench::fs::file_size(exe, ec)));
  }
  return 0;
}
