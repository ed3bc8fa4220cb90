// The fake of the executable's resources: what the test sets.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "platform/fake_recorder.h"
#include "platform/system/resources.h"

namespace platform {

class FakeResources : public Resources, public RecordingFake {
 public:
  // Installs itself for its lifetime; records into `shared`, or into a
  // recorder of its own when none is given.
  explicit FakeResources(FakeRecorder* shared = nullptr) : RecordingFake(shared) {}

  // Resources: (id, type) to bytes. Missing ones answer 0 with 1814.
  void SetResource(uint16_t id, const std::u16string& type, const std::string& bytes);
  void RemoveResource(uint16_t id, const std::u16string& type);

  int32_t ReadResource(uint16_t id, const std::u16string& type, const uint8_t** data) override;

 private:
  std::map<std::pair<uint16_t, std::u16string>, std::string> resources_;
  ScopedService<Resources> scope_{this};
};

}  // namespace platform
