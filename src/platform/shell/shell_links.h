// Shell links (.lnk files) through the shell's link object: IShellLinkW,
// IPersistFile and IPropertyStore with the AppUserModelID property. A service
// of its own (see service.h).
//
// Each operation is one COM call or the fixed sequence of calls its comment
// names, and answers that call's HRESULT (0 is S_OK; S_FALSE is 1). Linux has
// no shell link object: its backend answers REGDB_E_CLASSNOTREG to the
// creation, as Windows does for a class that is not registered.
#pragma once

#include <cstdint>
#include <string>

#include "platform/service.h"

namespace platform {

// HRESULTs the core and the backends speak.
enum : uint32_t {
  kHrClassNotRegistered = 0x80040154u,  // REGDB_E_CLASSNOTREG
  kHrFail = 0x80004005u,                // E_FAIL
  kHrNoInterface = 0x80004002u,         // E_NOINTERFACE
};

// An open shell link object (IShellLinkW with its IPersistFile).
using ShellLink = void*;

class ShellLinks {
 public:
  virtual ~ShellLinks() = default;

  // CoCreateInstance(CLSID_ShellLink, null, CLSCTX_INPROC_SERVER,
  // IID_IShellLinkW), then QueryInterface(IID_IPersistFile). The HRESULT of
  // the first call that fails, with *link null; else 0 and the object.
  virtual int32_t CreateLink(ShellLink* link) = 0;
  // IPersistFile::Load(path, STGM_READWRITE).
  virtual int32_t Load(ShellLink link, const std::u16string& path) = 0;
  // IShellLinkW::GetPath into 260 characters, no find data, SLGP_UNCPRIORITY.
  virtual int32_t GetPath(ShellLink link, std::u16string* path) = 0;
  // IShellLinkW::GetArguments into 10,240 characters.
  virtual int32_t GetArguments(ShellLink link, std::u16string* arguments) = 0;
  // QueryInterface(IID_IPropertyStore), then GetValue(PKEY_AppUserModel_ID).
  // The HRESULT of the first call that fails; on 0, *isText tells whether the
  // value is a VT_LPWSTR and *id holds it then.
  virtual int32_t GetAppUserModelId(ShellLink link, std::u16string* id, bool* isText) = 0;
  // IShellLinkW::SetIconLocation, SetPath, SetArguments, SetWorkingDirectory.
  virtual int32_t SetIconLocation(ShellLink link, const std::u16string& path, int32_t index) = 0;
  virtual int32_t SetPath(ShellLink link, const std::u16string& path) = 0;
  virtual int32_t SetArguments(ShellLink link, const std::u16string& arguments) = 0;
  virtual int32_t SetWorkingDirectory(ShellLink link, const std::u16string& directory) = 0;
  // QueryInterface(IID_IPropertyStore), SetValue(PKEY_AppUserModel_ID, a
  // VT_LPWSTR of id), Commit: the HRESULT of the first that fails, else 0.
  virtual int32_t SetAppUserModelId(ShellLink link, const std::u16string& id) = 0;
  // IPersistFile::Save(path, TRUE).
  virtual int32_t Save(ShellLink link, const std::u16string& path) = 0;
  // Releases the interfaces. A null link is ignored.
  virtual void Release(ShellLink link) = 0;
};

}  // namespace platform
