// Test support of the toolkit: a temporary directory, archives written to
// it, a delegate that records the reports it is handed.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "base/log_test_support.h"
#include "toolkit/event_reporter.h"

namespace orvane_test {

inline std::u16string Wide(const std::string& ascii) { return std::u16string(ascii.begin(), ascii.end()); }

inline void WriteBytes(const std::filesystem::path& path, const std::string& bytes) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream out(path, std::ios::binary);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// A test of code that logs, with the log open from the start.
class OpenLogTest : public LogFileTest {
 protected:
  void SetUp() override {
    LogFileTest::SetUp();
    OpenLog();
  }
};

// Installs itself as the event reporter's delegate and keeps every report.
class RecordingDelegate : public EventReporterDelegate {
 public:
  explicit RecordingDelegate(std::vector<EventReport>* sink) : sink_(sink) {}
  bool Report(EventReport& report) override {
    sink_->push_back(report);
    return true;
  }

 private:
  std::vector<EventReport>* sink_;
};

class ReportRecorder {
 public:
  ReportRecorder() { EventReporter::GetInstance().SetDelegate(std::make_unique<RecordingDelegate>(&reports)); }
  ~ReportRecorder() { EventReporter::GetInstance().SetDelegate(std::make_unique<EventReporterDelegate>()); }
  std::vector<EventReport> reports;
};

}  // namespace orvane_test
