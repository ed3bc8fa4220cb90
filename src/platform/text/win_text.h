// The one bridge between the seam's UTF-16 text (std::u16string) and the
// wchar_t of the Windows API. Windows' wchar_t is a UTF-16 code unit, so both
// directions are plain reinterpretations of the same code units.
#pragma once

#include <cwchar>
#include <string>

namespace platform {

static_assert(sizeof(wchar_t) == sizeof(char16_t), "wchar_t is a UTF-16 code unit on Windows");

// A NUL-terminated wide view of the text, valid while the string lives.
inline const wchar_t* AsWide(const std::u16string& text) { return reinterpret_cast<const wchar_t*>(text.c_str()); }

// The first `length` code units of a wide buffer.
inline std::u16string FromWide(const wchar_t* text, size_t length) {
  return std::u16string(reinterpret_cast<const char16_t*>(text), length);
}

// A NUL-terminated wide text; null gives the empty string.
inline std::u16string FromWide(const wchar_t* text) {
  return text != nullptr ? FromWide(text, std::wcslen(text)) : std::u16string();
}

}  // namespace platform
