// System version, language, code pages and error texts on Linux.
#include <cstdlib>
#include <cstring>

#include "platform/posix_translation.h"
#include "platform/system/system_info.h"
#include "platform/text/unicode.h"

namespace platform {

class PosixSystemInfo final : public SystemInfo {
 public:
  bool VersionAtLeast(uint16_t major, uint16_t minor, uint16_t servicePackMajor) override;
  int32_t RestrictDllSearchToSystem32() override;
  int32_t ComInitialize() override;
  void ComUninitialize() override;
  uint16_t UserDefaultUILanguage() override;
  std::u16string CodePageToWide(const std::string& text, uint32_t codePage) override;
  std::string WideToCodePage(const std::u16string& text, uint32_t codePage) override;
  bool SystemErrorText(uint32_t code, std::u16string* text) override;
};

template <>
SystemInfo& NativeService<SystemInfo>() {
  static PosixSystemInfo instance;
  return instance;
}

namespace {

constexpr uint32_t kCodePageAnsi = 0;
constexpr uint32_t kCodePageLatin1 = 28591;
constexpr uint32_t kCodePageUtf8 = 65001;

struct LanguageRow {
  const char* prefix;  // compared with the start of the locale name
  uint16_t langId;
};

// Longer prefixes first: "zh_TW" before a plain "zh".
const LanguageRow kLanguages[] = {
    {"zh_CN", 0x0804}, {"zh_SG", 0x0804}, {"zh_TW", 0x0404}, {"zh_HK", 0x0C04}, {"en_GB", 0x0809},
    {"ja", 0x0411},    {"de", 0x0407},    {"fr", 0x040C},
};

struct ErrorText {
  uint32_t code;
  const char16_t* text;
};

// The system's texts for the codes this backend reports.
const ErrorText kErrorTexts[] = {
    {0, u"The operation completed successfully.\r\n"},
    {2, u"The system cannot find the file specified.\r\n"},
    {3, u"The system cannot find the path specified.\r\n"},
    {4, u"The system cannot open the file.\r\n"},
    {5, u"Access is denied.\r\n"},
    {6, u"The handle is invalid.\r\n"},
    {8, u"Not enough memory resources are available to process this command.\r\n"},
    {13, u"The data is invalid.\r\n"},
    {17, u"The system cannot move the file to a different disk drive.\r\n"},
    {19, u"The media is write protected.\r\n"},
    {31, u"A device attached to the system is not functioning.\r\n"},
    {32, u"The process cannot access the file because it is being used by another process.\r\n"},
    {80, u"The file exists.\r\n"},
    {87, u"The parameter is incorrect.\r\n"},
    {112, u"There is not enough space on the disk.\r\n"},
    {120, u"This function is not supported on this system.\r\n"},
    {145, u"The directory is not empty.\r\n"},
    {183, u"Cannot create a file when that file already exists.\r\n"},
    {193, u"%1 is not a valid Win32 application.\r\n"},
    {203, u"The system could not find the environment option that was entered.\r\n"},
    {206, u"The filename or extension is too long.\r\n"},
    {234, u"More data is available.\r\n"},
    {258, u"The wait operation timed out.\r\n"},
    {267, u"The directory name is invalid.\r\n"},
    {298, u"Too many posts were made to a semaphore.\r\n"},
    {1813, u"The specified resource type cannot be found in the image file.\r\n"},
    {1814, u"The specified resource name cannot be found in the image file.\r\n"},
    {1921, u"The name of the file cannot be resolved by the system.\r\n"},
};

}  // namespace

bool PosixSystemInfo::VersionAtLeast(uint16_t, uint16_t, uint16_t) { return true; }

int32_t PosixSystemInfo::RestrictDllSearchToSystem32() {
  // Nothing to do: the Linux loader does not search the executable's or the
  // current directory for libraries, so no planted library can be picked up.
  return 1;
}

int32_t PosixSystemInfo::ComInitialize() { return 0; }

void PosixSystemInfo::ComUninitialize() {}

uint16_t PosixSystemInfo::UserDefaultUILanguage() {
  // The first of these that is set and not empty decides, as the C library
  // does for messages.
  const char* locale = nullptr;
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(name);
    if (value != nullptr && value[0] != 0) {
      locale = value;
      break;
    }
  }
  if (locale == nullptr) return 0x0409;
  for (const LanguageRow& row : kLanguages) {
    const size_t n = std::strlen(row.prefix);
    if (std::strncmp(locale, row.prefix, n) != 0) continue;
    // "de" must not match "dev": the language ends at '_', '.', '@' or the end.
    const char next = locale[n];
    if (n == 2 && next != 0 && next != '_' && next != '.' && next != '@') continue;
    return row.langId;
  }
  return 0x0409;
}

std::u16string PosixSystemInfo::CodePageToWide(const std::string& text, uint32_t codePage) {
  if (codePage == kCodePageUtf8) return Utf8ToUtf16(text);
  if (codePage != kCodePageAnsi && codePage != kCodePageLatin1) {
    posix::SetError(kErrorInvalidParameter);
    return std::u16string();
  }
  // The system's ANSI code page is read as Latin-1: every byte is the code
  // unit of the same value.
  std::u16string wide;
  wide.reserve(text.size());
  for (unsigned char c : text) wide.push_back(static_cast<char16_t>(c));
  return wide;
}

std::string PosixSystemInfo::WideToCodePage(const std::u16string& text, uint32_t codePage) {
  if (codePage == kCodePageUtf8) return Utf16ToUtf8(text);
  if (codePage != kCodePageAnsi && codePage != kCodePageLatin1) {
    posix::SetError(kErrorInvalidParameter);
    return std::string();
  }
  std::string narrow;
  narrow.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    if (c <= 0xFF) {
      narrow.push_back(static_cast<char>(c));
    } else {
      narrow.push_back('?');
      // A surrogate pair is one character and gives one '?'.
      if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) ++i;
    }
  }
  return narrow;
}

bool PosixSystemInfo::SystemErrorText(uint32_t code, std::u16string* text) {
  for (const ErrorText& row : kErrorTexts) {
    if (row.code == code) {
      *text = row.text;
      posix::SetError(kErrorSuccess);
      return true;
    }
  }
  posix::SetError(317);  // ERROR_MR_MID_NOT_FOUND: the system has no text for it
  return false;
}

}  // namespace platform
