#include "base/product_config.h"

#include <memory>
#include <string>

#include "base/log_test_support.h"
#include "base/text.h"
#include "cJSON.h"
#include "gtest/gtest.h"

namespace {

using JsonPtr = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

JsonPtr Parse(const std::string& text) { return JsonPtr(cJSON_Parse(text.c_str()), &cJSON_Delete); }

// One document per row, with what the load gives. Fields left null in a row
// are checked only by the rows that care about them.
TEST(ParseConfigInfoTest, Documents) {
  struct Row {
    const char* json;
    bool ok;
    const char16_t* exe = nullptr;
    const char16_t* installDir = nullptr;
    uint32_t disk = 0;  // 0: not checked
    int64_t appId = 0;
    const char16_t* dataDir = nullptr;
    const char16_t* nameCn = nullptr;
    const char* version = nullptr;
  };
  const Row rows[] = {
      {R"({"product_name":{"en":"X"},"product_app_id":1})", true, u"X.exe", u"X", 2048, 1, u"\\User Data", u"X",
       "1.0.0"},
      {R"({"product_name":{"en":"X"},"product_app_id":1,"required_disk_space_mb":2047})", true, nullptr, nullptr, 2048},
      {R"({"product_name":{"en":"X"},"product_app_id":1,"required_disk_space_mb":2048})", true, nullptr, nullptr, 2048},
      {R"({"product_name":{"en":"X"},"product_app_id":1,"required_disk_space_mb":10000})", true, nullptr, nullptr,
       10000},
      {R"({"product_name":{"en":"X"},"product_app_id":1,"required_disk_space_mb":10001})", true, nullptr, nullptr, 2048},
      {R"({"product_name":{"en":"X"},"product_app_id":1,"required_disk_space_mb":"1024"})", true, nullptr, nullptr,
       2048},
      {R"({"product_name":{"en":"X"},"product_app_id":1,"required_disk_space_mb":"3000"})", true, nullptr, nullptr,
       3000},
      {R"({"product_name":{"en":"X"},"product_app_id":1,"required_disk_space_mb":-5})", true, nullptr, nullptr, 2048},
      {R"({"product_name":{"en":"X"}})", false},
      {R"({"product_name":{"en":"X"},"product_app_id":-1})", false},
      {R"({"product_name":{"en":"X"},"product_app_id":"-1"})", false},
      {R"({"product_name":{"en":"X"},"product_app_id":"abc"})", true, nullptr, nullptr, 0, 0},
      {R"({"product_name":{"en":"X"},"product_app_id":-7})", true, nullptr, nullptr, 0, -7},
      {R"({"product_name":{"en":"X"},"PRODUCT_APP_ID":"582478"})", true, nullptr, nullptr, 0, 582478},
      {R"({"product_name":"X","product_app_id":1})", false},
      {R"({"product_name":{"en":""},"product_app_id":1})", false},
      {R"({"product_name":{"en":7},"product_app_id":1})", false},
      {R"({"product_app_id":1})", false},
      {R"({"product_name":{"en":"X","cn":""},"product_app_id":1,"data_dir_name":"D"})", true, nullptr, nullptr, 0, 1,
       u"D\\User Data", u"X"},
      {R"({"product_name":{"en":"X"},"product_app_id":1,"product_version":""})", true, nullptr, nullptr, 0, 1, nullptr,
       nullptr, "1.0.0"},
      {R"({"product_name":{"en":"X"},"product_app_id":1,"product_version":2})", true, nullptr, nullptr, 0, 1, nullptr,
       nullptr, "1.0.0"},
      {R"({"product_name":{"en":"X"},"product_app_id":1,"exe_file_name":"Y.exe","install_dir_name":"Z"})", true,
       u"Y.exe", u"Z", 0, 1},
  };
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    const Row& row = rows[i];
    JsonPtr root = Parse(row.json);
    ASSERT_NE(root, nullptr) << "row " << i;
    CProductConfig config;
    EXPECT_EQ(ParseConfigInfo(config, root.get()), row.ok) << "row " << i;
    if (!row.ok) continue;
    if (row.exe != nullptr) {
      EXPECT_EQ(config.exe_file_name, row.exe) << "row " << i;
    }
    if (row.installDir != nullptr) {
      EXPECT_EQ(config.install_dir_name, row.installDir) << "row " << i;
    }
    if (row.disk != 0) {
      EXPECT_EQ(config.required_disk_space_mb, row.disk) << "row " << i;
    }
    if (row.appId != 0 || row.disk == 0) {
      EXPECT_EQ(config.product_app_id, row.appId) << "row " << i;
    }
    if (row.dataDir != nullptr) {
      EXPECT_EQ(config.data_dir, row.dataDir) << "row " << i;
    }
    if (row.nameCn != nullptr) {
      EXPECT_EQ(config.product_name_cn, row.nameCn) << "row " << i;
    }
    if (row.version != nullptr) {
      EXPECT_EQ(config.product_version_utf8, row.version) << "row " << i;
      EXPECT_EQ(config.product_version, AsciiToWide(row.version)) << "row " << i;
    }
  }
}

TEST(ParseConfigInfoTest, FallbacksAndConstants) {
  JsonPtr root = Parse(R"({"product_name":{"en":"X","jp":"J"},"product_app_id":1,"ini_file_name":"a.ini",
      "uninstall_exe_name":"u.exe","install_size_kb":123456,"version_dir_name":"v"})");
  CProductConfig config;
  ASSERT_TRUE(ParseConfigInfo(config, root.get()));
  EXPECT_EQ(config.autolaunch_key, u"X");
  EXPECT_EQ(config.uninstall_key, u"X");
  EXPECT_EQ(config.product_info_key, u"X");
  EXPECT_EQ(config.product_name_jp, u"J");
  EXPECT_EQ(config.ini_file_name, u"Orvane.ini");
  EXPECT_EQ(config.uninstall_exe_name, u"uninstall.exe");
  EXPECT_EQ(config.install_size_kb, 123456u);
  EXPECT_EQ(config.version_dir_name, u"v");
  EXPECT_TRUE(config.old_data_dir.empty());
  EXPECT_TRUE(config.company_name.empty());
}

TEST(ParseConfigInfoTest, ShippedDocument) {
  std::string text = orvane_test::ReadFileBytes(ORVANE_SOURCE_DIR "/src/resources/config.json");
  ASSERT_EQ(text.compare(0, 3, "\xEF\xBB\xBF"), 0) << "the document starts with a byte-order mark";
  JsonPtr root = Parse(text.substr(3));
  ASSERT_NE(root, nullptr);
  CProductConfig config;
  ASSERT_TRUE(ParseConfigInfo(config, root.get()));
  EXPECT_EQ(config.install_dir_name, u"Orvane");
  EXPECT_EQ(config.data_dir, u"Orvane\\User Data");
  EXPECT_EQ(config.exe_file_name, u"Orvane.exe");
  EXPECT_EQ(config.product_version, u"1.78.4");
  EXPECT_EQ(config.version_dir_name, u"app");
  EXPECT_EQ(config.product_name_en, u"Orvane");
  EXPECT_EQ(config.language, u"auto");
  EXPECT_EQ(config.company_name, u"Arvenna Systems Co., Ltd.");
  EXPECT_EQ(config.required_disk_space_mb, 2048u);
  EXPECT_EQ(config.chromium_version, u"135.0.7049.72");
  EXPECT_EQ(config.product_app_id, 582478);
  EXPECT_EQ(config.install_size_kb, 0u);
}

TEST(ReadJsonTest, DefaultsAndTypes) {
  JsonPtr root = Parse(R"({"s":"text","e":"","n":42,"ns":"17x","o":{}})");
  EXPECT_EQ(ReadJsonString(nullptr, "s", "d"), "d");
  EXPECT_EQ(ReadJsonString(root.get(), "", "d"), "d");
  EXPECT_EQ(ReadJsonString(root.get(), "S", "d"), "text");
  EXPECT_EQ(ReadJsonString(root.get(), "e", "d"), "d");
  EXPECT_EQ(ReadJsonString(root.get(), "n", "d"), "d");
  EXPECT_EQ(ReadJsonInt(nullptr, "n", -3), -3);
  EXPECT_EQ(ReadJsonInt(root.get(), "n", -3), 42);
  EXPECT_EQ(ReadJsonInt(root.get(), "ns", -3), 17);
  EXPECT_EQ(ReadJsonInt(root.get(), "o", -3), -3);
  EXPECT_EQ(ReadJsonInt(root.get(), "missing", -3), -3);
}

}  // namespace
