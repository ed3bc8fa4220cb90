#include "platform/text/unicode.h"

#include <cstdint>

namespace platform {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

void AppendUtf8(std::string* out, char32_t cp) {
  if (cp < 0x80) {
    out->push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out->push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

void AppendUtf16(std::u16string* out, char32_t cp) {
  if (cp < 0x10000) {
    out->push_back(static_cast<char16_t>(cp));
  } else {
    cp -= 0x10000;
    out->push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
    out->push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
  }
}

bool IsContinuation(uint8_t b) { return (b & 0xC0) == 0x80; }

}  // namespace

std::string Utf16ToUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    char32_t unit = text[i];
    if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
        text[i + 1] <= 0xDFFF) {
      AppendUtf8(&out, 0x10000 + ((unit - 0xD800) << 10) + (text[i + 1] - 0xDC00));
      ++i;
    } else if (unit >= 0xD800 && unit <= 0xDFFF) {
      AppendUtf8(&out, kReplacement);  // a surrogate without its partner
    } else {
      AppendUtf8(&out, unit);
    }
  }
  return out;
}

// Decoding follows the "maximal subpart" practice: a lead byte together with
// the continuation bytes that could still belong to a well-formed sequence is
// replaced by one U+FFFD, and decoding resumes at the first byte that could
// not. Overlong forms, encoded surrogates and values above U+10FFFF are
// rejected through the allowed range of the second byte.
std::u16string Utf8ToUtf16(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  const size_t n = text.size();
  size_t i = 0;
  while (i < n) {
    const uint8_t lead = static_cast<uint8_t>(text[i]);
    if (lead < 0x80) {
      out.push_back(lead);
      ++i;
      continue;
    }
    int extra = 0;
    uint8_t low = 0x80;
    uint8_t high = 0xBF;
    char32_t cp = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
      extra = 1;
      cp = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      extra = 2;
      cp = lead & 0x0F;
      if (lead == 0xE0) low = 0xA0;
      if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      extra = 3;
      cp = lead & 0x07;
      if (lead == 0xF0) low = 0x90;
      if (lead == 0xF4) high = 0x8F;
    } else {
      out.push_back(static_cast<char16_t>(kReplacement));  // 0x80..0xC1, 0xF5..0xFF
      ++i;
      continue;
    }
    size_t j = i + 1;
    bool complete = true;
    for (int k = 0; k < extra; ++k, ++j) {
      if (j >= n) {
        complete = false;
        break;
      }
      const uint8_t b = static_cast<uint8_t>(text[j]);
      const bool inRange = (k == 0) ? (b >= low && b <= high) : IsContinuation(b);
      if (!inRange) {
        complete = false;
        break;
      }
      cp = (cp << 6) | (b & 0x3F);
    }
    if (complete) {
      AppendUtf16(&out, cp);
    } else {
      out.push_back(static_cast<char16_t>(kReplacement));
    }
    i = j;
  }
  return out;
}

}  // namespace platform
