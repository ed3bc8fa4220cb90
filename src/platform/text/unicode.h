// UTF-8 <-> UTF-16 codec with the behaviour of the Windows conversions with
// flags 0: every invalid sequence or lone surrogate becomes U+FFFD, embedded
// NULs pass through. Portable; shared by the core and the POSIX backend.
#pragma once

#include <string>

namespace platform {

std::string Utf16ToUtf8(std::u16string_view text);
std::u16string Utf8ToUtf16(std::string_view text);

}  // namespace platform
