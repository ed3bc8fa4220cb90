// COM is initialised apartment-threaded for the life of the application
// object; the result of CoInitialize is ignored and CoUninitialize always runs.
#pragma once

#include "platform/platform.h"

class CComScope {
 public:
  CComScope() { platform::Get().ComInitialize(); }
  ~CComScope() { platform::Get().ComUninitialize(); }
  CComScope(const CComScope&) = delete;
  CComScope& operator=(const CComScope&) = delete;
};
