// ASCII case folding, as the C runtime compares names in the C locale and as
// Windows matches file, registry and object names for the ASCII letters.
#pragma once

#include <cstddef>

namespace platform {

template <typename Char>
constexpr Char FoldAscii(Char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<Char>(c + ('a' - 'A')) : c;
}

// Equal but for the case of ASCII letters.
template <typename String>
bool EqualsIgnoreAsciiCase(const String& a, const String& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (FoldAscii(a[i]) != FoldAscii(b[i])) return false;
  }
  return true;
}

}  // namespace platform
