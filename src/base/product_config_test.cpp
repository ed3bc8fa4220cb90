#include "base/product_config.h"

#include <iterator>
#include <memory>
#include <string>

#include "base/text.h"
#include "cJSON.h"
#include "gtest/gtest.h"

namespace {

using JsonPtr = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

JsonPtr Parse(const std::string& text) { return JsonPtr(cJSON_Parse(text.c_str()), &cJSON_Delete); }

// exe|install dir|data dir|name cn|disk|app id|version of a loaded record.
std::string Summary(const CProductConfig& c) {
  return WideToUtf8(c.exe_file_name + u"|" + c.install_dir_name + u"|" + c.data_dir + u"|" + c.product_name_cn) + "|" +
         std::to_string(c.required_disk_space_mb) + "|" + std::to_string(c.product_app_id) + "|" +
         WideToUtf8(c.product_version);
}

// One document per row and the record it gives; "" when the load fails. Numbers
// may be strings (read as atoi does); items of the wrong type give defaults.
TEST(ParseConfigInfoTest, Documents) {
  const std::string x = R"({"product_name":{"en":"X"},"product_app_id":1)";
  const std::string defaults = "X.exe|X|\\User Data|X|";
  const std::pair<std::string, std::string> rows[] = {
      {x + "}", defaults + "2048|1|1.0.0"},
      {x + R"(,"required_disk_space_mb":2047})", defaults + "2048|1|1.0.0"},
      {x + R"(,"required_disk_space_mb":10000})", defaults + "10000|1|1.0.0"},
      {x + R"(,"required_disk_space_mb":10001})", defaults + "2048|1|1.0.0"},
      {x + R"(,"required_disk_space_mb":"3000x"})", defaults + "3000|1|1.0.0"},
      {x + R"(,"product_version":2})", defaults + "2048|1|1.0.0"},
      {x + R"(,"required_disk_space_mb":-5})", defaults + "2048|1|1.0.0"},
      {x + R"(,"exe_file_name":"Y.exe","install_dir_name":"Z","data_dir_name":"D","product_version":"2.1"})",
       "Y.exe|Z|D\\User Data|X|2048|1|2.1"},
      {R"({"product_name":{"en":"X","cn":""},"product_app_id":"abc"})", defaults + "2048|0|1.0.0"},
      {R"({"product_name":{"en":"X","cn":"C"},"PRODUCT_APP_ID":"-7"})", "X.exe|X|\\User Data|C|2048|-7|1.0.0"},
      {R"({"product_name":{"en":"X"}})", ""},
      {R"({"product_name":{"en":"X"},"product_app_id":-1})", ""},
      {R"({"product_name":{"en":"X"},"product_app_id":"-1"})", ""},
      {R"({"product_name":{"en":"X"},"product_app_id":{}})", ""},
      {R"({"product_name":"X","product_app_id":1})", ""},
      {R"({"product_name":{"en":""},"product_app_id":1})", ""},
      {R"({"product_app_id":1})", ""},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    JsonPtr root = Parse(rows[i].first);
    ASSERT_NE(root, nullptr) << "row " << i;
    CProductConfig config;
    EXPECT_EQ(ParseConfigInfo(config, root.get()) ? Summary(config) : "", rows[i].second)
        << "row " << i << ": " << rows[i].first;
  }
}

// The registry keys fall back to the English name, an empty one as an absent one.
TEST(ParseConfigInfoTest, FallbacksToTheEnglishName) {
  JsonPtr root = Parse(R"({"product_name":{"en":"X","jp":"J"},"product_app_id":1,"autolaunch_key":"",
      "install_size_kb":123456,"version_dir_name":"v"})");
  CProductConfig config;
  ASSERT_TRUE(ParseConfigInfo(config, root.get()));
  EXPECT_EQ(config.autolaunch_key + config.uninstall_key + config.product_info_key, u"XXX");
  EXPECT_EQ(config.product_name_jp, u"J");
  EXPECT_EQ(config.install_size_kb, 123456u);
  EXPECT_EQ(config.version_dir_name, u"v");
}

}  // namespace
