// The fake of ProcessEnd: answers from a table of identifiers and records
// every call. Installs itself for its lifetime.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "platform/processes/process_end.h"
#include "platform/types.h"

namespace platform {

class FakeProcessEnd final : public ProcessEnd {
 public:
  std::map<uint32_t, uint32_t> answers;  // pid -> result; absent: 0 (ended)
  std::vector<uint32_t> calls;            // every pid asked for, in order
  uint32_t EndProcessById(uint32_t pid, uint32_t, uint32_t) override {
    calls.push_back(pid);
    auto it = answers.find(pid);
    return it == answers.end() ? 0 : it->second;
  }

 private:
  ScopedService<ProcessEnd> scope_{this};
};

}  // namespace platform
