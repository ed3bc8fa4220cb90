// The fake of system information: answers from what the test sets; code
// pages and error texts come from the native backend.
#pragma once

#include <cstdint>
#include <string>

#include "platform/fake_recorder.h"
#include "platform/system/system_info.h"

namespace platform {

class FakeSystemInfo : public SystemInfo, public RecordingFake {
 public:
  // Installs itself for its lifetime; records into `shared`, or into a
  // recorder of its own when none is given.
  explicit FakeSystemInfo(FakeRecorder* shared = nullptr) : RecordingFake(shared) {}

  uint16_t uiLanguage = 0x0409;
  bool versionAtLeastAnswer = true;
  int32_t dllDirectoriesAnswer = 1;

  bool VersionAtLeast(uint16_t major, uint16_t minor, uint16_t servicePackMajor) override;
  int32_t RestrictDllSearchToSystem32() override;
  int32_t ComInitialize() override;
  void ComUninitialize() override;
  uint16_t UserDefaultUILanguage() override;
  std::u16string CodePageToWide(const std::string& text, uint32_t codePage) override;
  std::string WideToCodePage(const std::u16string& text, uint32_t codePage) override;
  bool SystemErrorText(uint32_t code, std::u16string* text) override;

 private:
  ScopedService<SystemInfo> scope_{this};
};

}  // namespace platform
