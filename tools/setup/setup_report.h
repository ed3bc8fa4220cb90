// The installer's delegate of the event reporter: every stage and error
// report becomes one JSON object on a line of its own, appended to
// install_report.json beside the launcher's event report (the `update`
// directory of the user data directory).
#pragma once

#include <filesystem>

#include "toolkit/event_reporter.h"

namespace setup {

class JsonLinesReportDelegate : public EventReporterDelegate {
 public:
  explicit JsonLinesReportDelegate(std::filesystem::path file) : file_(std::move(file)) {}
  // Appends the report; false when the file could not be written (the
  // report is then lost, the install goes on).
  bool Report(EventReport& report) override;

 private:
  std::filesystem::path file_;
};

}  // namespace setup
