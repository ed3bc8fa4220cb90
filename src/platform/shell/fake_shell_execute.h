// The fake of ShellExecute, for unit tests: it installs itself for its
// lifetime, records its calls and answers from what the test sets.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/shell/shell_execute.h"

namespace platform {

class FakeShellExecution final : public ShellExecution {
 public:
  struct Call {
    std::u16string verb, file, parameters;
    bool hasDirectory = false;
    std::u16string directory;
    int32_t show = 0;
  };
  std::vector<Call> calls;
  intptr_t answer = 42;
  uint32_t errorOnFailure = 0;  // set as the last error when answer <= 32
  // Receives the last error to set (the fake platform's SetLastErrorCode).
  std::function<void(uint32_t)> setLastError;

  intptr_t ShellExecute(const std::u16string& verb, const std::u16string& file, const std::u16string& parameters,
                        const std::u16string* directory, int32_t show) override;

 private:
  ScopedService<ShellExecution> scope_{this};
};

}  // namespace platform
