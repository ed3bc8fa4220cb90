// The two documents built into the executable: a product builds with its
// own, so they are input too. The bytes are split at the first NUL into the
// config document (resource 104) and the locale document (110), loaded as
// the run loads them, and the task description, a format from the locale
// document, is composed as the scheduled task composes it.
#include <cstdint>
#include <string>

#include "app/launcher_app.h"
#include "base/format.h"
#include "base/localized_strings.h"
#include "platform/fake_platform.h"

namespace {

class DocumentsApp : public CLauncherApp {
 public:
  using CVornApp::_InitConfigInfo;
  using CVornApp::_InitLanguage;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static platform::FakePlatform* fake = new platform::FakePlatform();
  size_t split = 0;
  while (split < size && data[split] != 0) ++split;
  const char* bytes = reinterpret_cast<const char*>(data);
  fake->SetResource(104, u"BIN", std::string(bytes, split));
  fake->SetResource(110, u"BIN", split < size ? std::string(bytes + split + 1, size - split - 1) : std::string());
  fake->ClearCalls();

  DocumentsApp app;
  if (app._InitConfigInfo(104) && app._InitLanguage(110)) {
    const std::u16string name = GetProductDisplayName();
    FormatWideString(GetLocalizedString("Vorn_Installer_TaskScheduleDescription").c_str(), name, name);
  }
  return 0;
}
