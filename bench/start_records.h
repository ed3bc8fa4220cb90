// What the whole-process benchmarks read back and how they summarise it: the
// probe's record of one tagged start, and the median with the spread of a
// series of times.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace bench {

enum class RecordState { kFound, kAbsent, kMalformed };

// Looks in the probe's record file text for the whole line (one ending in a
// newline: a line still being written is not read) whose argv holds exactly
// the argument `tag`, and takes its start_ns. kAbsent while there is no such
// line; kMalformed when the line is there but carries no start_ns number.
inline RecordState FindTaggedStart(const std::string& records, const std::string& tag, uint64_t* startNs) {
  const std::string quoted = "\"" + tag + "\"";
  size_t lineStart = 0;
  while (lineStart < records.size()) {
    const size_t lineEnd = records.find('\n', lineStart);
    if (lineEnd == std::string::npos) return RecordState::kAbsent;
    const std::string line = records.substr(lineStart, lineEnd - lineStart);
    lineStart = lineEnd + 1;
    if (line.find(quoted) == std::string::npos) continue;
    const std::string key = "\"start_ns\":";
    const size_t at = line.find(key);
    if (at == std::string::npos) return RecordState::kMalformed;
    const char* digits = line.c_str() + at + key.size();
    if (*digits < '0' || *digits > '9') return RecordState::kMalformed;
    *startNs = std::strtoull(digits, nullptr, 10);
    return RecordState::kFound;
  }
  return RecordState::kAbsent;
}

// The value below which the fraction q of the sorted values lie, interpolated
// between neighbours; 0 for no values.
inline double Quantile(const std::vector<double>& sorted, double q) {
  if (sorted.empty()) return 0;
  const double position = q * static_cast<double>(sorted.size() - 1);
  const size_t below = static_cast<size_t>(position);
  if (below + 1 >= sorted.size()) return sorted.back();
  const double fraction = position - static_cast<double>(below);
  return sorted[below] + (sorted[below + 1] - sorted[below]) * fraction;
}

struct Spread {
  double median = 0;
  double p25 = 0;  // first quartile
  double p75 = 0;  // third quartile
  double min = 0;
  double max = 0;
};

inline Spread Describe(std::vector<double> values) {
  Spread s;
  if (values.empty()) return s;
  std::sort(values.begin(), values.end());
  s.median = Quantile(values, 0.5);
  s.p25 = Quantile(values, 0.25);
  s.p75 = Quantile(values, 0.75);
  s.min = values.front();
  s.max = values.back();
  return s;
}

// Round by round, a[i] / b[i]: the ratio of two starts measured side by side,
// so that a round slowed by the machine for both sides stays comparable.
inline std::vector<double> PairedRatios(const std::vector<double>& a, const std::vector<double>& b) {
  std::vector<double> ratios;
  for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
    if (b[i] > 0) ratios.push_back(a[i] / b[i]);
  }
  return ratios;
}

}  // namespace bench
