// COM is initialised apartment-threaded for the life of the application
// object; the result of CoInitialize is ignored and CoUninitialize always runs.
#pragma once

#include "platform/system/system_info.h"

class CComScope {
 public:
  CComScope() { platform::Service<platform::SystemInfo>().ComInitialize(); }
  ~CComScope() { platform::Service<platform::SystemInfo>().ComUninitialize(); }
  CComScope(const CComScope&) = delete;
  CComScope& operator=(const CComScope&) = delete;
};
