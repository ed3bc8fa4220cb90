#include <windows.h>

#include "platform/files/file_versions.h"
#include "platform/system_library_win.h"
#include "platform/text/win_text.h"

namespace platform {
namespace {

// Version records are read after the start (the elevated task's copy): the
// library is looked up when first needed.
#define VERSION_PROC(function) ORVANE_SYSTEM_PROC(L"version.dll", function)

class WinFileVersions final : public FileVersions {
 public:
  bool ReadVersionInfo(const std::u16string& path, std::vector<uint8_t>* record) override {
    DWORD ignored = 0;
    auto* sizeOf = VERSION_PROC(GetFileVersionInfoSizeW);
    auto* read = VERSION_PROC(GetFileVersionInfoW);
    if (sizeOf == nullptr || read == nullptr) return false;
    const DWORD size = sizeOf(AsWide(path), &ignored);
    if (size == 0) return false;
    record->assign(size, 0);
    return read(AsWide(path), 0, size, record->data()) != FALSE;
  }
  bool QueryTranslation(const std::vector<uint8_t>& record, uint16_t* language, uint16_t* codePage) override {
    void* value = nullptr;
    UINT length = 0;
    auto* query = VERSION_PROC(VerQueryValueW);
    if (query == nullptr || !query(record.data(), L"\\VarFileInfo\\Translation", &value, &length) || length < 4) {
      return false;
    }
    const auto* pair = static_cast<const WORD*>(value);
    *language = pair[0];
    *codePage = pair[1];
    return true;
  }
  bool QueryString(const std::vector<uint8_t>& record, const std::u16string& subBlock,
                   std::u16string* value) override {
    void* text = nullptr;
    UINT length = 0;  // characters, the terminating NUL counted
    auto* query = VERSION_PROC(VerQueryValueW);
    if (query == nullptr || !query(record.data(), AsWide(subBlock), &text, &length) || text == nullptr) return false;
    value->assign(static_cast<const char16_t*>(text), length);
    value->resize(value->find(u'\0') == std::u16string::npos ? value->size() : value->find(u'\0'));
    return true;
  }
};

}  // namespace

template <>
FileVersions& NativeService<FileVersions>() {
  static WinFileVersions versions;
  return versions;
}

}  // namespace platform
