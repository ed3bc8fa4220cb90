#include "toolkit/zip_names.h"

#include <string_view>

#include "toolkit/zip_format.h"
#include "toolkit/zip_reader.h"

namespace zip {

namespace {

char16_t FoldAscii(char16_t c) { return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - 32) : c; }

bool IsSuperscriptDigit(char16_t c) {
  return c == 0x00B9 || c == 0x00B2 || c == 0x00B3 || c == 0x2070 || (c >= 0x2074 && c <= 0x2079);
}

// True when one component of a name opens a Windows device instead of a
// file: trailing blanks and dots are dropped, and the part before the first
// dot (its own trailing blanks dropped as well, as "nul .txt" is still the
// device) is CON, PRN, AUX, NUL, COM0-COM9, LPT0-LPT9, COM or LPT with a
// superscript digit, CONIN$ or CONOUT$, in any case.
bool IsDeviceComponent(const std::u16string& path, size_t begin, size_t end) {
  while (end > begin && (path[end - 1] == u' ' || path[end - 1] == u'.')) --end;
  size_t stem = begin;
  while (stem < end && path[stem] != u'.') ++stem;
  while (stem > begin && path[stem - 1] == u' ') --stem;
  const size_t length = stem - begin;
  if (length != 3 && length != 4 && length != 6 && length != 7) return false;
  char16_t name[8];
  for (size_t i = 0; i < length; ++i) name[i] = FoldAscii(path[begin + i]);
  const std::u16string_view n(name, length);
  if (n == u"CON" || n == u"PRN" || n == u"AUX" || n == u"NUL" || n == u"CONIN$" || n == u"CONOUT$") return true;
  if (length != 4 || (n.substr(0, 3) != u"COM" && n.substr(0, 3) != u"LPT")) return false;
  return (n[3] >= u'0' && n[3] <= u'9') || IsSuperscriptDigit(n[3]);
}

}  // namespace

std::u16string CleanName(std::u16string name) {
  static const char16_t* const kPatterns[] = {u"\\..\\", u"\\../", u"/../", u"/..\\"};
  for (;;) {
    if (name.size() >= 2 && name[1] == u':') {
      name.erase(0, 2);
      continue;
    }
    if (!name.empty() && IsSeparator(name[0])) {
      name.erase(0, 1);
      continue;
    }
    bool cut = false;
    for (const char16_t* pattern : kPatterns) {
      const size_t at = name.find(pattern);
      if (at != std::u16string::npos) {
        name.erase(0, at + 4);
        cut = true;
        break;
      }
    }
    if (!cut) return name;
  }
}

bool IsAbsolute(const std::u16string& path) {
  return (!path.empty() && IsSeparator(path[0])) || (path.size() >= 2 && path[1] == u':');
}

}  // namespace zip

bool IsRefusedZipName(const std::u16string& relative) {
  if (relative.find(u':') != std::u16string::npos) return true;
  size_t start = 0;
  for (size_t i = 0; i <= relative.size(); ++i) {
    if (i == relative.size() || zip::IsSeparator(relative[i])) {
      if (i - start == 2 && relative[start] == u'.' && relative[start + 1] == u'.') return true;
      if (zip::IsDeviceComponent(relative, start, i)) return true;
      start = i + 1;
    }
  }
  return false;
}
