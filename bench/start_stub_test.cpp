// start-stub, the launch benchmark's floor, on this platform's real process
// start: it must hand the application its arguments whole and say when it
// could not start anything, or the floor measures something else.
#include <gtest/gtest.h>

#include "bench_sandbox.h"
#include "start_records.h"

namespace {

#ifndef ORVANE_BENCH_START_STUB
#define ORVANE_BENCH_START_STUB ""
#endif

TEST(StartStub, StartsTheApplicationWithItsArgumentsOrSaysWhyNot) {
  const bench::fs::path stub = bench::ProgramPath(ORVANE_BENCH_START_STUB);
  const bench::fs::path probe = bench::ProgramPath(ORVANE_BENCH_PROBE);
  ASSERT_FALSE(stub.empty());
  bench::Sandbox box(probe, probe, "orvane-start-stub-test");
  const std::u16string stubArg = u"\"" + bench::WinForm16(stub) + u"\"";
  const std::u16string app = u"\"" + bench::WinForm16(box.appExe()) + u"\"";
  const std::u16string missing = u"\"" + bench::WinForm16(box.appExe().parent_path() / "missing.exe") + u"\"";
  struct Row {
    std::u16string args;
    uint32_t exitCode;
    std::string tag, alsoRecorded;  // tag empty: no application starts
  };
  const Row rows[] = {
      {u"", 2, "", ""},
      {u" " + missing + u" --t=0", 1, "", ""},
      {u" " + app + u" --t=1", 0, "--t=1", ""},
      {u" " + app + u" --t=2 \"b c\" d", 0, "--t=2", "\"argv\":[\"--t=2\",\"b c\",\"d\"]"},
  };
  auto& processes = platform::Service<platform::Processes>();
  auto& clock = platform::Service<platform::Clock>();
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    platform::ProcessInfo info;
    ASSERT_TRUE(processes.StartProcess(stubArg + rows[i].args, u"", &info)) << "row " << i;
    ASSERT_EQ(processes.WaitOne(info.process, 30000), platform::kWaitObject0) << "row " << i;
    uint32_t code = 259;
    processes.ExitCodeOf(info.process, &code);
    processes.CloseObject(info.process);
    if (info.thread != nullptr) processes.CloseObject(info.thread);
    EXPECT_EQ(code, rows[i].exitCode) << "row " << i;
    if (rows[i].tag.empty()) continue;
    // The stub does not wait for the application: wait for its record.
    uint64_t ns = 0;
    std::string records;
    bench::RecordState state = bench::RecordState::kAbsent;
    const uint64_t deadline = clock.MonotonicNs() + uint64_t{30000} * 1000000;
    while (state == bench::RecordState::kAbsent && clock.MonotonicNs() < deadline) {
      std::ifstream in(box.record(), std::ios::binary);
      records.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
      state = bench::FindTaggedStart(records, rows[i].tag, &ns);
      if (state == bench::RecordState::kAbsent) clock.SleepMs(5);
    }
    EXPECT_EQ(state, bench::RecordState::kFound) << "row " << i << ": " << records;
    EXPECT_NE(records.find(rows[i].alsoRecorded), std::string::npos) << "row " << i << ": " << records;
  }
}

}  // namespace
