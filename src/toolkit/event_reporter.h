// The process-wide event reporter of the product family. It hands report
// maps to its delegate; the launcher's delegate does nothing, and an
// installer that really sends reports replaces it.
#pragma once

#include <map>
#include <memory>
#include <string>

using EventReport = std::map<std::string, std::string>;

class EventReporterDelegate {
 public:
  virtual ~EventReporterDelegate() = default;
  // Prepares the delegate; true.
  virtual bool Start() { return true; }
  // Called once from the application's teardown.
  virtual void OnShutdown() {}
  // Sends one report; true.
  virtual bool Report(EventReport& report) { return true; }
  // Sends whatever is pending.
  virtual void Flush() {}
};

class EventReporter {
 public:
  // Created on first use.
  static EventReporter& GetInstance();

  // Forwards to the delegate's Flush.
  virtual void Flush() { delegate_->Flush(); }

  void Shutdown() { delegate_->OnShutdown(); }
  bool Report(EventReport& report) { return delegate_->Report(report); }

  // Replaces the delegate; the old one is shut down before it is released.
  void SetDelegate(std::unique_ptr<EventReporterDelegate> delegate);

 private:
  EventReporter() : delegate_(std::make_unique<EventReporterDelegate>()) {}
  virtual ~EventReporter() = default;

  std::unique_ptr<EventReporterDelegate> delegate_;
};
