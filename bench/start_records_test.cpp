#include "start_records.h"

#include <gtest/gtest.h>

namespace {

TEST(StartRecords, FindTaggedStartRows) {
  const std::string a = "{\"argv\":[\"--bench_start=1.0.launcher\",\"--start_time=5\"],\"pid\":7,\"start_ns\":1200}\n";
  const std::string b = "{\"argv\":[\"x\",\"--bench_start=10.0.launcher\"],\"pid\":8,\"start_ns\":3400}\n";
  struct Row {
    std::string records, tag;
    bench::RecordState state;
    uint64_t ns;
  };
  const Row rows[] = {
      {"", "--bench_start=1.0.launcher", bench::RecordState::kAbsent, 0},
      {a + b, "--bench_start=1.0.launcher", bench::RecordState::kFound, 1200},
      {a + b, "--bench_start=10.0.launcher", bench::RecordState::kFound, 3400},
      // A tag that is only the start of another's is not that record.
      {b, "--bench_start=1.0.launcher", bench::RecordState::kAbsent, 0},
      {a, "--bench_start=1.0.launche", bench::RecordState::kAbsent, 0},
      // A line still being written is not read, even when its tag is there.
      {b + a.substr(0, a.size() - 5), "--bench_start=1.0.launcher", bench::RecordState::kAbsent, 0},
      {a.substr(0, a.size() - 1), "--bench_start=1.0.launcher", bench::RecordState::kAbsent, 0},
      // A whole line of the tag without a start time.
      {"{\"argv\":[\"--bench_start=2.1.stub\"],\"pid\":9}\n", "--bench_start=2.1.stub", bench::RecordState::kMalformed, 0},
      {"{\"argv\":[\"--bench_start=2.1.stub\"],\"start_ns\":x}\n", "--bench_start=2.1.stub", bench::RecordState::kMalformed, 0},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    uint64_t ns = 0;
    EXPECT_EQ(bench::FindTaggedStart(rows[i].records, rows[i].tag, &ns), rows[i].state) << "row " << i;
    EXPECT_EQ(ns, rows[i].ns) << "row " << i;
  }
}

TEST(StartRecords, DescribeRows) {
  struct Row {
    std::vector<double> values;
    double median, p25, p75, min, max;
  };
  const Row rows[] = {
      {{}, 0, 0, 0, 0, 0},
      {{4}, 4, 4, 4, 4, 4},
      {{3, 1, 2}, 2, 1.5, 2.5, 1, 3},
      {{4, 1, 3, 2}, 2.5, 1.75, 3.25, 1, 4},
      {{9, 1, 1, 1, 1}, 1, 1, 1, 1, 9},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    const bench::Spread s = bench::Describe(rows[i].values);
    EXPECT_DOUBLE_EQ(s.median, rows[i].median) << "row " << i;
    EXPECT_DOUBLE_EQ(s.p25, rows[i].p25) << "row " << i;
    EXPECT_DOUBLE_EQ(s.p75, rows[i].p75) << "row " << i;
    EXPECT_DOUBLE_EQ(s.min, rows[i].min) << "row " << i;
    EXPECT_DOUBLE_EQ(s.max, rows[i].max) << "row " << i;
  }
}

TEST(StartRecords, PairedRatiosSkipAZeroBaselineAndStopAtTheShorterSeries) {
  EXPECT_EQ(bench::PairedRatios({2, 3, 8, 5}, {1, 0, 4}), (std::vector<double>{2, 2}));
}

}  // namespace
