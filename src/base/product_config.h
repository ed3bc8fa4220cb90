// The product configuration: the record filled from the embedded config
// document (resource 104) and read-only afterwards.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct cJSON;

struct CProductConfig {
  std::u16string install_dir_name;
  std::u16string data_dir;
  std::u16string old_data_dir;
  std::u16string exe_file_name;
  std::u16string uninstall_exe_name;
  std::u16string ini_file_name;
  std::u16string product_version;
  std::string product_version_utf8;
  std::u16string version_dir_name;
  std::u16string product_name_cn;
  std::u16string product_name_jp;
  std::u16string product_name_en;
  std::u16string company_name;
  std::u16string language;
  std::u16string autolaunch_key;
  std::u16string uninstall_key;
  std::u16string product_info_key;
  uint32_t required_disk_space_mb = 0;
  std::u16string ka_code;
  uint32_t install_size_kb = 0;
  std::u16string chromium_version;
  int64_t product_app_id = -1;
  // Registry keys whose presence an installer asks for ("HKLM\SOFTWARE\X"),
  // from the optional list `registry_probes`; empty when absent.
  std::vector<std::u16string> registry_probes;
};

// Fills `config` from a parsed document in the fixed order of its fallbacks;
// false when product_name/en is missing or the result is not valid.
bool ParseConfigInfo(CProductConfig& config, const cJSON* root);
bool IsConfigValid(const CProductConfig& config);

// The item's text when it exists, is a string and has text; else the default.
std::string ReadJsonString(const cJSON* object, const std::string& key, const std::string& defaultValue);
// A number's integer value, atoi of a string, else the default.
int32_t ReadJsonInt(const cJSON* object, const std::string& key, int32_t defaultValue);
// The non-empty strings of an array item, in order; anything else in the
// array is skipped, and an absent item or one that is no array gives none.
std::vector<std::u16string> ReadJsonStringList(const cJSON* object, const std::string& key);
