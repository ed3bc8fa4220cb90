// Shell links through the shell's COM objects. COM is initialised by the
// caller (the entry point's scope, or UpdateShortcut's own bracket).
#include <windows.h>
#include <objbase.h>
#include <propidl.h>
#include <propsys.h>
#include <shlobj.h>
#include <shobjidl.h>

#include "platform/shell/shell_links.h"
#include "platform/text/win_text.h"

namespace platform {
namespace {

// System.AppUserModel.ID: {9F4C2855-9F79-4B39-A8D0-E1D42DE1D5F3}, 5.
const PROPERTYKEY kAppUserModelId = {{0x9F4C2855, 0x9F79, 0x4B39, {0xA8, 0xD0, 0xE1, 0xD4, 0x2D, 0xE1, 0xD5, 0xF3}},
                                     5};

struct Link {
  IShellLinkW* shell = nullptr;
  IPersistFile* file = nullptr;
};

Link* L(ShellLink link) { return static_cast<Link*>(link); }

class WinShellLinks final : public ShellLinks {
 public:
  int32_t CreateLink(ShellLink* out) override {
    *out = nullptr;
    Link* link = new Link;
    HRESULT hr = CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                                  reinterpret_cast<void**>(&link->shell));
    if (SUCCEEDED(hr)) hr = link->shell->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&link->file));
    if (FAILED(hr)) {
      Release(link);
      return hr;
    }
    *out = link;
    return hr;
  }
  int32_t Load(ShellLink link, const std::u16string& path) override {
    return L(link)->file->Load(AsWide(path), STGM_READWRITE);
  }
  int32_t GetPath(ShellLink link, std::u16string* path) override {
    wchar_t buffer[MAX_PATH] = {};
    const HRESULT hr = L(link)->shell->GetPath(buffer, MAX_PATH, nullptr, SLGP_UNCPRIORITY);
    if (hr == S_OK) *path = FromWide(buffer);
    return hr;
  }
  int32_t GetArguments(ShellLink link, std::u16string* arguments) override {
    std::wstring buffer(10240, L'\0');
    const HRESULT hr = L(link)->shell->GetArguments(&buffer[0], 10240);
    if (hr == S_OK) *arguments = FromWide(buffer.c_str());
    return hr;
  }
  int32_t GetAppUserModelId(ShellLink link, std::u16string* id, bool* isText) override {
    *isText = false;
    IPropertyStore* store = nullptr;
    HRESULT hr = L(link)->shell->QueryInterface(IID_IPropertyStore, reinterpret_cast<void**>(&store));
    if (FAILED(hr)) return hr;
    PROPVARIANT value;
    PropVariantInit(&value);
    hr = store->GetValue(kAppUserModelId, &value);
    if (hr == S_OK && value.vt == VT_LPWSTR) {
      *isText = true;
      *id = FromWide(value.pwszVal);
    }
    PropVariantClear(&value);
    store->Release();
    return hr;
  }
  int32_t SetIconLocation(ShellLink link, const std::u16string& path, int32_t index) override {
    return L(link)->shell->SetIconLocation(AsWide(path), index);
  }
  int32_t SetPath(ShellLink link, const std::u16string& path) override { return L(link)->shell->SetPath(AsWide(path)); }
  int32_t SetArguments(ShellLink link, const std::u16string& arguments) override {
    return L(link)->shell->SetArguments(AsWide(arguments));
  }
  int32_t SetWorkingDirectory(ShellLink link, const std::u16string& directory) override {
    return L(link)->shell->SetWorkingDirectory(AsWide(directory));
  }
  int32_t SetAppUserModelId(ShellLink link, const std::u16string& id) override {
    IPropertyStore* store = nullptr;
    HRESULT hr = L(link)->shell->QueryInterface(IID_IPropertyStore, reinterpret_cast<void**>(&store));
    if (FAILED(hr)) return hr;
    PROPVARIANT value;
    PropVariantInit(&value);
    const size_t bytes = (id.size() + 1) * sizeof(wchar_t);
    value.vt = VT_LPWSTR;
    value.pwszVal = static_cast<wchar_t*>(CoTaskMemAlloc(bytes));
    if (value.pwszVal == nullptr) {
      store->Release();
      return E_OUTOFMEMORY;
    }
    memcpy(value.pwszVal, AsWide(id), bytes);
    hr = store->SetValue(kAppUserModelId, value);
    if (SUCCEEDED(hr)) hr = store->Commit();
    PropVariantClear(&value);
    store->Release();
    return hr;
  }
  int32_t Save(ShellLink link, const std::u16string& path) override { return L(link)->file->Save(AsWide(path), TRUE); }
  void Release(ShellLink link) override {
    Link* l = L(link);
    if (l == nullptr) return;
    if (l->file != nullptr) l->file->Release();
    if (l->shell != nullptr) l->shell->Release();
    delete l;
  }
};

}  // namespace

template <>
ShellLinks& NativeService<ShellLinks>() {
  static WinShellLinks links;
  return links;
}

}  // namespace platform
