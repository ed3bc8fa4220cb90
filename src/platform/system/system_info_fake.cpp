// The fake system information: set answers; code pages and error texts native.
#include "platform/system/fake_system_info.h"

namespace platform {

bool FakeSystemInfo::VersionAtLeast(uint16_t major, uint16_t minor, uint16_t servicePackMajor) {
  if (Enter("VersionAtLeast", FakeHex(major) + u"." + FakeHex(minor))) return false;
  return versionAtLeastAnswer;
}

int32_t FakeSystemInfo::RestrictDllSearchToSystem32() {
  if (Enter("RestrictDllSearchToSystem32", u"")) return 0;
  return dllDirectoriesAnswer;
}

int32_t FakeSystemInfo::ComInitialize() {
  return Enter("ComInitialize", u"") ? static_cast<int32_t>(InjectedError()) : 0;
}

void FakeSystemInfo::ComUninitialize() { Enter("ComUninitialize", u""); }

uint16_t FakeSystemInfo::UserDefaultUILanguage() {
  if (Enter("UserDefaultUILanguage", u"")) return 0;
  return uiLanguage;
}

std::u16string FakeSystemInfo::CodePageToWide(const std::string& text, uint32_t codePage) {
  if (Enter("CodePageToWide", FakeHex(codePage))) return std::u16string();
  return NativeService<SystemInfo>().CodePageToWide(text, codePage);
}

std::string FakeSystemInfo::WideToCodePage(const std::u16string& text, uint32_t codePage) {
  if (Enter("WideToCodePage", text)) return std::string();
  return NativeService<SystemInfo>().WideToCodePage(text, codePage);
}

bool FakeSystemInfo::SystemErrorText(uint32_t code, std::u16string* text) {
  if (Enter("SystemErrorText", FakeHex(code))) return false;
  const bool result = NativeService<SystemInfo>().SystemErrorText(code, text);
  TakeNativeError();
  return result;
}

}  // namespace platform
