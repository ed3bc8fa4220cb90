// System version, language, code pages, error texts and process set-up.
#pragma once

#include <cstdint>
#include <string>

#include "platform/service.h"

namespace platform {

class SystemInfo {
 public:
  virtual ~SystemInfo() = default;

  // VerifyVersionInfoW with major, minor and service pack major, each
  // VER_GREATER_EQUAL.
  virtual bool VersionAtLeast(uint16_t major, uint16_t minor, uint16_t servicePackMajor) = 0;

  // Looks SetDefaultDllDirectories up at run time in Kernel32 and calls it
  // with LOAD_LIBRARY_SEARCH_SYSTEM32: -1 not found, 0 the call failed, 1 done.
  virtual int32_t RestrictDllSearchToSystem32() = 0;

  // CoInitialize(NULL), its HRESULT (S_FALSE, 1, when already initialised;
  // 0 on POSIX) / CoUninitialize.
  virtual int32_t ComInitialize() = 0;
  virtual void ComUninitialize() = 0;

  // GetUserDefaultUILanguage: a LANGID (0x0409 English (US), 0x0804 Chinese
  // (simplified), 0x0411 Japanese ...). POSIX derives it from the locale
  // variables.
  virtual uint16_t UserDefaultUILanguage() = 0;

  // MultiByteToWideChar / WideCharToMultiByte with flags 0 for a code page
  // other than UTF-8 (0 is the system's ANSI code page). Empty on failure.
  virtual std::u16string CodePageToWide(const std::string& text, uint32_t codePage) = 0;
  virtual std::string WideToCodePage(const std::u16string& text, uint32_t codePage) = 0;

  // FormatMessageW(FROM_SYSTEM | IGNORE_INSERTS, code, user default
  // language): the system's text for an error code, with its line end. False
  // when the system has no text for it.
  virtual bool SystemErrorText(uint32_t code, std::u16string* text) = 0;
};

}  // namespace platform
