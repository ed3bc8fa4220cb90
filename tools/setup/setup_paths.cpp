#include "setup_paths.h"

#include <cstdint>

namespace setup {

std::string ToUtf8(const std::u16string& text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    uint32_t c = text[i];
    if (c >= 0xD800 && c < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
    } else if (c >= 0xD800 && c < 0xE000) {
      c = 0xFFFD;  // a lone surrogate has no UTF-8 form
    }
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (c >> 6)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (c >> 12)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (c >> 18)));
      out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
  }
  return out;
}

std::u16string FromUtf8(const std::string& utf8) {
  std::u16string out;
  for (size_t i = 0; i < utf8.size();) {
    const auto b = static_cast<unsigned char>(utf8[i]);
    int extra = b < 0x80 ? 0 : (b >> 5) == 6 ? 1 : (b >> 4) == 14 ? 2 : (b >> 3) == 30 ? 3 : -1;
    uint32_t c = extra == 0 ? b : extra == 1 ? (b & 0x1F) : extra == 2 ? (b & 0x0F) : (b & 0x07);
    bool ok = extra >= 0 && i + static_cast<size_t>(extra) < utf8.size() + (extra == 0 ? 1 : 0);
    for (int k = 1; ok && k <= extra; ++k) {
      const auto next = static_cast<unsigned char>(utf8[i + static_cast<size_t>(k)]);
      ok = (next & 0xC0) == 0x80;
      c = (c << 6) | (next & 0x3F);
    }
    if (!ok || c > 0x10FFFF || (c >= 0xD800 && c < 0xE000)) {
      out.push_back(0xFFFD);
      ++i;
      continue;
    }
    i += static_cast<size_t>(extra) + 1;
    if (c >= 0x10000) {
      out.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(c));
    }
  }
  return out;
}

#ifdef _WIN32
std::filesystem::path NativePath(const std::u16string& toolkitPath) {
  return std::filesystem::path(std::wstring(toolkitPath.begin(), toolkitPath.end()));
}
std::u16string ToolkitPath(const std::filesystem::path& native) {
  const std::wstring text = native.wstring();
  return std::u16string(text.begin(), text.end());
}
#else
std::filesystem::path NativePath(const std::u16string& toolkitPath) {
  std::string text = ToUtf8(toolkitPath);
  for (char& c : text) c = c == '\\' ? '/' : c;
  return std::filesystem::path(text);
}
std::u16string ToolkitPath(const std::filesystem::path& native) {
  std::u16string text = FromUtf8(native.string());
  for (char16_t& c : text) c = c == u'/' ? u'\\' : c;
  return text;
}
#endif

}  // namespace setup
