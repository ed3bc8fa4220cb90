#include "base/text.h"

#include <type_traits>

#include "platform/system/clock.h"
#include "platform/system/resources.h"
#include "platform/system/system_info.h"
#include "platform/text/unicode.h"

std::string WideToMultiByte(const std::u16string& text, uint32_t codePage) {
  if (text.empty()) return std::string();
  if (codePage == kCodePageUtf8) return platform::Utf16ToUtf8(text);
  return platform::Service<platform::SystemInfo>().WideToCodePage(text, codePage);
}

std::u16string MultiByteToWide(const std::string& text, uint32_t codePage) {
  if (text.empty()) return std::u16string();
  if (codePage == kCodePageUtf8) return platform::Utf8ToUtf16(text);
  return platform::Service<platform::SystemInfo>().CodePageToWide(text, codePage);
}

std::string WideToUtf8(const std::u16string& text) { return WideToMultiByte(text, kCodePageUtf8); }

std::u16string Utf8ToWide(const std::string& text) { return MultiByteToWide(text, kCodePageUtf8); }

std::u16string AnsiToWide(const std::string& text) { return MultiByteToWide(text, kCodePageAnsi); }

int32_t ReadResourceText(uint16_t id, const std::u16string& type, std::string* out, bool stripBom) {
  const uint8_t* data = nullptr;
  const int32_t size = platform::Service<platform::Resources>().ReadResource(id, type, &data);
  if (size <= 0 || data == nullptr) return size <= 0 ? size : -3;
  size_t offset = 0;
  if (stripBom && size >= 3 && data[0] == 0xEF && data[1] == 0xBB && data[2] == 0xBF) offset = 3;
  out->assign(reinterpret_cast<const char*>(data) + offset, static_cast<size_t>(size) - offset);
  return static_cast<int32_t>(static_cast<size_t>(size) - offset);
}

bool IsWindowsVersionAtLeast(uint16_t major, uint16_t minor, uint16_t servicePackMajor) {
  return platform::Service<platform::SystemInfo>().VersionAtLeast(major, minor, servicePackMajor);
}

void SplitString(std::vector<std::u16string>* out, const std::u16string& text, char16_t separator, bool trim) {
  if (text.empty()) return;
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find(separator, start);
    if (end == std::u16string::npos) end = text.size();
    size_t first = start;
    size_t last = end;
    if (trim) {
      while (first < last && text[first] == u' ') ++first;
      while (last > first && text[last - 1] == u' ') --last;
    }
    if (last > first) out->push_back(text.substr(first, last - first));
    start = end + 1;
  }
}

uint64_t GetCurrentTimeMs() { return platform::Service<platform::Clock>().NowMs(); }

namespace {

template <typename Char>
unsigned FoldAscii(Char c) {
  const unsigned u = static_cast<typename std::make_unsigned<Char>::type>(c);
  return (u >= 'A' && u <= 'Z') ? u + ('a' - 'A') : u;
}

// Compares as the C runtime does on terminated strings: the end of a string
// reads as a NUL, and a NUL ends the comparison.
template <typename String>
int CompareFolded(const String& a, const String& b) {
  for (size_t i = 0;; ++i) {
    const unsigned x = i < a.size() ? FoldAscii(a[i]) : 0u;
    const unsigned y = i < b.size() ? FoldAscii(b[i]) : 0u;
    if (x != y) return static_cast<int>(x) - static_cast<int>(y);
    if (x == 0) return 0;
  }
}

template <typename Char>
bool IsCSpace(Char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

template <typename String>
int32_t ToInt(const String& text) {
  size_t i = 0;
  while (i < text.size() && IsCSpace(text[i])) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
    negative = text[i] == '-';
    ++i;
  }
  // Out of range, the value saturates at INT_MAX or INT_MIN, as the C
  // runtime's conversion does.
  int64_t value = 0;
  const int64_t limit = negative ? int64_t{2147483648} : int64_t{2147483647};
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    value = value * 10 + static_cast<int64_t>(text[i] - '0');
    if (value > limit) value = limit;
  }
  return static_cast<int32_t>(negative ? -value : value);
}

}  // namespace

int CompareNoCase(const std::u16string& a, const std::u16string& b) { return CompareFolded(a, b); }

int CompareNoCaseNarrow(const std::string& a, const std::string& b) { return CompareFolded(a, b); }

int32_t WideToInt(const std::u16string& text) { return ToInt(text); }

int32_t NarrowToInt(const std::string& text) { return ToInt(text); }

std::u16string AsciiToWide(const std::string& text) {
  std::u16string out;
  out.reserve(text.size());
  for (char c : text) out.push_back(static_cast<char16_t>(static_cast<unsigned char>(c)));
  return out;
}
