// The fake of the process environment: module path and ids from what the
// test sets, an overlay over the real environment variables, standard
// output collected.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "platform/fake_recorder.h"
#include "platform/system/environment.h"

namespace platform {

class FakeEnvironment : public Environment, public RecordingFake {
 public:
  // Installs itself for its lifetime; records into `shared`, or into a
  // recorder of its own when none is given.
  explicit FakeEnvironment(FakeRecorder* shared = nullptr) : RecordingFake(shared) {}

  std::u16string modulePath = u"C:\\Program Files\\Orvane\\Orvane.exe";
  uint32_t processId = 4312;
  uint32_t threadId = 9120;
  std::string stdoutText;  // what WriteStdout received

  // Environment overlay: set or unset a variable for this fake only.
  void SetEnvValue(const std::u16string& name, const std::u16string& value);
  void UnsetEnvValue(const std::u16string& name);

  std::u16string ModuleFilePath() override;
  bool GetEnv(const std::u16string& name, std::u16string* value) override;
  bool SetEnv(const std::u16string& name, const std::u16string* value) override;
  uint32_t ProcessId() override;
  uint32_t ThreadId() override;
  std::u16string CurrentDirectory() override;
  void WriteStdout(const std::string& text) override;

 private:
  std::map<std::u16string, std::optional<std::u16string>> env_;
  ScopedService<Environment> scope_{this};
};

}  // namespace platform
