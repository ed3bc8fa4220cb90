// Orvane.ini in the install root: the bare name of the last started version
// directory, UTF-8, nothing else.
#pragma once

#include <string>

inline constexpr char16_t kLauncherIniName[] = u"Orvane.ini";

// The recorded name, empty when there is none.
std::u16string ReadLauncherIni(const std::u16string& installRoot);
