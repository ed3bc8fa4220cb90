// The application base: construction and teardown in their fixed order, the
// configuration load, the language choice and the start of the log.
#include "app/vorn_app.h"

#include <memory>

#include "base/format.h"
#include "base/localized_strings.h"
#include "base/log.h"
#include "base/text.h"
#include "cJSON.h"
#include "layout/paths.h"
#include "platform/error_codes.h"
#include "platform/system/system_info.h"
#include "toolkit/event_reporter.h"

CVornApp* CVornApp::s_instance = nullptr;

namespace {

// The failure lines of the two documents hand their narrow UTF-8 text to a
// wide %s: the bytes are read in pairs as UTF-16 code units, up to the first
// zero unit, so the line shows the text garbled, as it always has.
std::u16string NarrowBytesAsWide(const std::string& text) {
  std::u16string out;
  out.reserve(text.size() / 2 + 1);
  for (size_t i = 0; i < text.size(); i += 2) {
    const uint8_t low = static_cast<uint8_t>(text[i]);
    const uint8_t high = i + 1 < text.size() ? static_cast<uint8_t>(text[i + 1]) : 0;
    const char16_t unit = static_cast<char16_t>(low | (high << 8));
    if (unit == 0) break;
    out.push_back(unit);
  }
  return out;
}

// LANGID parts as the language choice reads them.
constexpr uint16_t kLangChinese = 0x04;
constexpr uint16_t kLangJapanese = 0x11;
constexpr uint16_t kSubLangChineseSimplified = 0x02;

}  // namespace

CVornApp::CVornApp() { s_instance = this; }

CVornApp::~CVornApp() {
  s_instance = nullptr;
  EventReporter::GetInstance().Shutdown();
  m_configText.clear();
  m_configText.shrink_to_fit();
  if (m_localeJson != nullptr) {
    cJSON_Delete(m_localeJson);
    m_localeJson = nullptr;
  }
  if (m_configJson != nullptr) {
    cJSON_Delete(m_configJson);
    m_configJson = nullptr;
  }
  // The remaining members go in reverse order of declaration: the record,
  // the raw command line, the command, both language strings, then the
  // command line's lists.
}

const CProductConfig& GetProductConfig() {
  // Outside the life of the application object there is only the default
  // record.
  static const CProductConfig kEmpty;
  return CVornApp::s_instance != nullptr ? CVornApp::s_instance->GetProductConfig() : kEmpty;
}

bool CVornApp::_InitConfigInfo(uint16_t resourceId) {
  m_configText.clear();
  if (ReadResourceText(resourceId, u"BIN", &m_configText, true) <= 0) {
    LogError(u"CInstallWindow::_InitConfigInfo, read config json failed, error=%d", platform::LastError());
    return false;
  }
  m_configJson = cJSON_Parse(m_configText.c_str());
  if (m_configJson == nullptr) {
    LogError(u"CInstallWindow::_InitConfigInfo, parse config json failed, json=%s", NarrowBytesAsWide(m_configText));
    return false;
  }
  if (!ParseConfigInfo(m_productConfig, m_configJson)) {
    LogError(u"CInstallWindow::_InitConfigInfo, parse config info failed, json=%s", NarrowBytesAsWide(m_configText));
    return false;
  }
  return true;
}

bool CVornApp::_InitLanguage(uint16_t resourceId) {
  // Every comparison here is exact and case-sensitive.
  const std::u16string productLang = m_productConfig.language;
  LogInfo(u"CApplication::_InitLanguage, product language is '%s'", productLang);

  const std::u16string cmdLang = m_commandLine.GetSwitchValue(u"lang");
  LogInfo(u"CApplication::_InitLanguage, cmdline lauguage is '%s'", cmdLang);

  if (cmdLang == u"auto" || IsSupportedLanguage(cmdLang)) {
    m_language = cmdLang;
    LogInfo(u"CApplication::_InitLanguage, use cmdline lauguage '%s'", m_language);
  } else if (productLang == u"auto" || IsSupportedLanguage(productLang)) {
    m_language = productLang;
    LogInfo(u"CApplication::_InitLanguage, use product lauguage '%s'", m_language);
  }

  if (m_language.empty() || m_language == u"auto" || !IsSupportedLanguage(m_language)) {
    // The system's user-interface language decides. Only this road sets the
    // Chinese display name, also for a Chinese variant that keeps English.
    m_language = u"en";
    m_useChineseName = false;
    const uint16_t id = platform::Service<platform::SystemInfo>().UserDefaultUILanguage();
    if ((id & 0xFF) == kLangChinese) {
      m_useChineseName = true;
      if ((id >> 10) == kSubLangChineseSimplified) m_language = u"cn";
    } else if ((id & 0xFF) == kLangJapanese) {
      m_language = u"jp";
    }
    LogInfo(u"CApplication::_InitLanguage, GetUserDefaultUILanguage return %04x, use system lauguage '%s'", id,
            m_language);
  }
  m_languageUtf8 = WideToUtf8(m_language);

  std::string text;
  if (ReadResourceText(resourceId, u"BIN", &text, true) <= 0) {
    LogError(u"CInstallWindow::_InitConfigInfo, read locale json failed, error=%d", platform::LastError());
    return false;
  }
  if (m_localeJson != nullptr) cJSON_Delete(m_localeJson);
  m_localeJson = cJSON_Parse(text.c_str());
  if (m_localeJson == nullptr) {
    LogError(u"CInstallWindow::_InitConfigInfo, parse locale json failed, json=%s", NarrowBytesAsWide(text));
    return false;
  }
  return true;
}

bool CVornApp::_StartLog(const std::u16string& baseDir, const std::u16string& tag, bool useLogSubDir) {
  std::u16string dir = baseDir;
  if (useLogSubDir) dir = JoinPath(baseDir, u"sdk_storage\\log");
  const std::u16string fileName = FormatWideString(u"%s-%s.log", m_productConfig.product_name_en, tag);
  OpenLogFile(dir, fileName);
  return true;
}
