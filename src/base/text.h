// Text and system helpers shared by every subsystem. No operation here raises
// an error: an empty string or a value of 0 or below is the failure.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

constexpr uint32_t kCodePageAnsi = 0;
constexpr uint32_t kCodePageUtf8 = 65001;

// UTF-16 to UTF-8 and back. Embedded NULs pass through; invalid input is
// replaced by U+FFFD (flags 0 of the Windows calls). Empty on failure.
std::string WideToUtf8(const std::u16string& text);
std::u16string Utf8ToWide(const std::string& text);

// From the system's ANSI code page (code page 0).
std::u16string AnsiToWide(const std::string& text);

// The general forms behind the three above. UTF-8 is converted by our own
// codec on every platform; other code pages go to the platform.
std::string WideToMultiByte(const std::u16string& text, uint32_t codePage);
std::u16string MultiByteToWide(const std::string& text, uint32_t codePage);

// Copies resource `id` of type `type` of the own module into `out`, without
// the UTF-8 byte-order mark when stripBom is set. Positive: the byte count
// stored. 0 for a missing resource (last error set); -1, -2, -3 as the
// platform's ReadResource.
int32_t ReadResourceText(uint16_t id, const std::u16string& type, std::string* out, bool stripBom);

// VerifyVersionInfoW: is the system at least major.minor with the service
// pack?
bool IsWindowsVersionAtLeast(uint16_t major, uint16_t minor, uint16_t servicePackMajor);

// Cuts `text` at every `separator` and appends the non-empty pieces to `out`
// (not cleared first). With `trim`, U+0020 blanks are removed at both ends of
// each piece first.
void SplitString(std::vector<std::u16string>* out, const std::u16string& text, char16_t separator, bool trim);

// Wall-clock milliseconds since the Unix epoch (UTC).
uint64_t GetCurrentTimeMs();

// _wcsicmp / _stricmp: comparison with ASCII letters folded to lower case, as
// the C runtime does in the C locale. Negative, zero or positive.
int CompareNoCase(const std::u16string& a, const std::u16string& b);
int CompareNoCaseNarrow(const std::string& a, const std::string& b);

// _wtoi / atoi: optional blanks and sign, then decimal digits up to the first
// other character; no digits give 0. The value wraps to 32 bits.
int32_t WideToInt(const std::u16string& text);
int32_t NarrowToInt(const std::string& text);

// ASCII-only widening for literals and numbers built in narrow form.
std::u16string AsciiToWide(const std::string& text);
