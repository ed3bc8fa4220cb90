// Texts by key in the run's language, from the locale table that the
// application object loaded, and the product's display name.
#include "base/localized_strings.h"

#include "app/vorn_app.h"
#include "base/product_config.h"
#include "base/text.h"
#include "cJSON.h"

bool IsSupportedLanguage(const std::u16string& code) { return code == u"cn" || code == u"en" || code == u"jp"; }

std::u16string GetLocalizedString(const std::string& key) {
  const CVornApp* app = CVornApp::s_instance;
  const cJSON* table = app != nullptr ? app->localeJson() : nullptr;
  const cJSON* entry = table != nullptr ? cJSON_GetObjectItem(table, key.c_str()) : nullptr;
  // A missing key shows itself; key names are ASCII, so the ANSI reading is
  // exact.
  if (entry == nullptr || !cJSON_IsObject(entry)) return AnsiToWide(key);

  // No fallback to another language: a text missing in the run's language
  // shows the key too.
  const std::string text = ReadJsonString(entry, app->languageUtf8(), "");
  if (text.empty()) return AnsiToWide(key);
  return Utf8ToWide(text);
}

std::u16string GetProductDisplayName() {
  const CVornApp* app = CVornApp::s_instance;
  if (app == nullptr) return std::u16string();
  const CProductConfig& config = app->GetProductConfig();
  return app->useChineseName() ? config.product_name_cn : config.product_name_en;
}
