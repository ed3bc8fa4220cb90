// The product configuration record, filled from the parsed config document.
// The fields are read in a fixed order because later fallbacks rest on
// earlier fields (most of them fall back to the English product name).
#include "base/product_config.h"

#include "base/text.h"
#include "cJSON.h"

namespace {

constexpr uint32_t kDefaultDiskSpaceMb = 2048;
constexpr uint32_t kMaxDiskSpaceMb = 10000;

std::u16string ReadWide(const cJSON* object, const char* key) { return Utf8ToWide(ReadJsonString(object, key, "")); }

// An empty value takes the fallback, as an absent one does.
std::u16string ReadWideOr(const cJSON* object, const char* key, const std::u16string& fallback) {
  std::u16string value = ReadWide(object, key);
  return value.empty() ? fallback : value;
}

}  // namespace

std::string ReadJsonString(const cJSON* object, const std::string& key, const std::string& defaultValue) {
  if (object == nullptr || key.empty()) return defaultValue;
  const cJSON* item = cJSON_GetObjectItem(object, key.c_str());
  if (item == nullptr || !cJSON_IsString(item) || item->valuestring == nullptr || item->valuestring[0] == '\0') {
    return defaultValue;
  }
  return item->valuestring;
}

int32_t ReadJsonInt(const cJSON* object, const std::string& key, int32_t defaultValue) {
  if (object == nullptr || key.empty()) return defaultValue;
  const cJSON* item = cJSON_GetObjectItem(object, key.c_str());
  if (item == nullptr) return defaultValue;
  if (cJSON_IsNumber(item)) return item->valueint;
  if (cJSON_IsString(item)) return item->valuestring != nullptr ? NarrowToInt(item->valuestring) : 0;
  return defaultValue;
}

bool IsConfigValid(const CProductConfig& config) {
  return !config.exe_file_name.empty() && !config.product_version.empty() && !config.install_dir_name.empty() &&
         !config.product_name_en.empty() && !config.product_name_cn.empty() && !config.product_name_jp.empty() &&
         !config.data_dir.empty() && config.product_app_id != -1;
}

bool ParseConfigInfo(CProductConfig& config, const cJSON* root) {
  const cJSON* names = cJSON_GetObjectItem(root, "product_name");
  if (names == nullptr || !cJSON_IsObject(names)) return false;

  config.product_name_en = ReadWide(names, "en");
  if (config.product_name_en.empty()) return false;
  config.product_name_cn = ReadWideOr(names, "cn", config.product_name_en);
  config.product_name_jp = ReadWideOr(names, "jp", config.product_name_en);

  config.autolaunch_key = ReadWideOr(root, "autolaunch_key", config.product_name_en);
  config.uninstall_key = ReadWideOr(root, "uninstall_key", config.product_name_en);
  config.product_info_key = ReadWideOr(root, "product_info_key", config.product_name_en);
  config.exe_file_name = ReadWideOr(root, "exe_file_name", config.product_name_en + u".exe");

  config.uninstall_exe_name = u"uninstall.exe";
  config.ini_file_name = u"Orvane.ini";

  config.product_version_utf8 = ReadJsonString(root, "product_version", "");
  if (config.product_version_utf8.empty()) config.product_version_utf8 = "1.0.0";
  config.product_version = Utf8ToWide(config.product_version_utf8);

  config.version_dir_name = ReadWideOr(root, "version_dir_name", u"app");
  config.install_dir_name = ReadWideOr(root, "install_dir_name", config.product_name_en);

  // Kept only within [2048, 10000]; anything else, 1024 and negative values
  // included, is the default.
  const uint32_t diskSpace =
      static_cast<uint32_t>(ReadJsonInt(root, "required_disk_space_mb", static_cast<int32_t>(kDefaultDiskSpaceMb)));
  config.required_disk_space_mb =
      (diskSpace - kDefaultDiskSpaceMb <= kMaxDiskSpaceMb - kDefaultDiskSpaceMb) ? diskSpace : kDefaultDiskSpaceMb;

  config.company_name = ReadWide(root, "company_name");
  config.language = ReadWide(root, "language");
  config.ka_code = ReadWide(root, "ka_code");

  // The suffix is added whatever was read, so an absent name still gives a
  // non-empty data directory.
  config.data_dir = ReadWide(root, "data_dir_name") + u"\\User Data";

  config.install_size_kb = static_cast<uint32_t>(ReadJsonInt(root, "install_size_kb", 0));
  config.chromium_version = ReadWide(root, "chromium_version");
  config.product_app_id = static_cast<int64_t>(ReadJsonInt(root, "product_app_id", -1));
  config.registry_probes = ReadJsonStringList(root, "registry_probes");

  return IsConfigValid(config);
}

std::vector<std::u16string> ReadJsonStringList(const cJSON* object, const std::string& key) {
  std::vector<std::u16string> list;
  const cJSON* array = object != nullptr && !key.empty() ? cJSON_GetObjectItem(object, key.c_str()) : nullptr;
  if (!cJSON_IsArray(array)) return list;
  for (const cJSON* item = array->child; item != nullptr; item = item->next) {
    if (cJSON_IsString(item) && item->valuestring != nullptr && item->valuestring[0] != '\0') {
      list.push_back(Utf8ToWide(item->valuestring));
    }
  }
  return list;
}
