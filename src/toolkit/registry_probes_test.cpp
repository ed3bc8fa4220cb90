#include "toolkit/registry_probes.h"

#include <memory>
#include <string>
#include <vector>

#include "base/log_test_support.h"
#include "cJSON.h"
#include "gtest/gtest.h"
#include "platform/registry/fake_registry_views.h"
#include "toolkit/toolkit_test_support.h"

namespace {

using platform::kKeyWow64View32;
using platform::kKeyWow64View64;

class RegistryProbesTest : public orvane_test::OpenLogTest {
 protected:
  platform::FakeRegistryViews views;
};

TEST_F(RegistryProbesTest, EitherViewCounts) {
  views.Answer(u"HKLM\\SOFTWARE\\Agent64", kKeyWow64View64, 0);
  views.Answer(u"HKLM\\SOFTWARE\\Agent32", kKeyWow64View32, 0);
  views.Answer(u"HKLM\\SOFTWARE\\Both", kKeyWow64View64, 0);
  views.Answer(u"HKLM\\SOFTWARE\\Both", kKeyWow64View32, 0);
  views.Answer(u"HKLM\\SOFTWARE\\Guarded", kKeyWow64View64, 5);
  views.Answer(u"HKLM\\SOFTWARE\\Broken", kKeyWow64View64, 1018);
  views.Answer(u"HKCU\\Software\\Mine", kKeyWow64View64, 0);
  views.Answer(u"HKCR\\CLSID\\{x}", kKeyWow64View32, 0);
  struct Row {
    std::u16string key; uint32_t views; size_t probes; const char* logged;
  } rows[] = {
      {u"HKLM\\SOFTWARE\\Agent64", kRegistryView64, 2, nullptr},
      {u"HKLM\\SOFTWARE\\Agent32", kRegistryView32, 2, nullptr},
      {u"HKEY_LOCAL_MACHINE\\software\\both", kRegistryView64 | kRegistryView32, 2, nullptr},
      {u"hklm\\SOFTWARE\\Absent", 0, 2, nullptr},
      // The key is there; only reading it is refused.
      {u"HKLM\\SOFTWARE\\Guarded", kRegistryView64, 2, nullptr},
      {u"HKLM\\SOFTWARE\\Broken", 0, 2, "failed, error=1018"},
      {u"HKEY_CURRENT_USER\\Software\\Mine", kRegistryView64, 2, nullptr},
      {u"HKCR\\CLSID\\{x}", kRegistryView32, 2, nullptr},
      // Keys of another form are never probed.
      {u"HKXX\\SOFTWARE\\Agent64", 0, 0, "names no registry root"},
      {u"SOFTWARE\\Agent64", 0, 0, "names no registry root"},
      {u"HKLM", 0, 0, "names no registry root"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.key.begin(), row.key.end()));
    views.probes.clear();
    const size_t before = LogText().size();
    EXPECT_EQ(Utils::ProbeRegistryKey(row.key), row.views);
    ASSERT_EQ(views.probes.size(), row.probes);
    if (row.probes == 2) {
      EXPECT_EQ(views.probes[0].view, kKeyWow64View64);
      EXPECT_EQ(views.probes[1].view, kKeyWow64View32);
    }
    const std::string log = LogText().substr(before);
    if (row.logged != nullptr) {
      EXPECT_NE(log.find(row.logged), std::string::npos) << log;
    } else {
      EXPECT_EQ(log.find("[ERRO]"), std::string::npos) << log;
    }
  }
}

// The list comes from the product configuration: optional, strings only.
TEST_F(RegistryProbesTest, ConfiguredList) {
  views.Answer(u"HKLM\\SOFTWARE\\AgentA", kKeyWow64View32, 0);
  views.Answer(u"HKLM\\SOFTWARE\\AgentB", kKeyWow64View64, 0);
  struct Row {
    const char* probes; std::vector<std::u16string> keys; int32_t found;
  } rows[] = {
      {"", {}, 0},  // absent: nothing probed
      {R"(,"registry_probes":[])", {}, 0},
      {R"(,"registry_probes":"HKLM\\SOFTWARE\\AgentA")", {}, 0},  // not a list
      {R"(,"registry_probes":["HKLM\\SOFTWARE\\AgentA","HKLM\\SOFTWARE\\Gone",3,"",null,"HKLM\\SOFTWARE\\AgentB"])",
       {u"HKLM\\SOFTWARE\\AgentA", u"HKLM\\SOFTWARE\\Gone", u"HKLM\\SOFTWARE\\AgentB"}, 2},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.probes);
    const std::string json = std::string(R"({"product_name":{"en":"Orvane"},"product_app_id":1)") + row.probes + "}";
    std::unique_ptr<cJSON, decltype(&cJSON_Delete)> root(cJSON_Parse(json.c_str()), &cJSON_Delete);
    CProductConfig config;
    ASSERT_TRUE(ParseConfigInfo(config, root.get()));  // the key never fails the load
    EXPECT_EQ(config.registry_probes, row.keys);

    std::vector<CRegistryProbe> results;
    EXPECT_EQ(Utils::ProbeRegistryKeys(config, &results), row.found);
    ASSERT_EQ(results.size(), row.keys.size());
    for (size_t i = 0; i < results.size(); ++i) {
      EXPECT_EQ(results[i].key, row.keys[i]);
      EXPECT_EQ(results[i].found(), row.keys[i] != u"HKLM\\SOFTWARE\\Gone");
    }
  }
  EXPECT_NE(LogText().find("Utils::ProbeRegistryKeys"), std::string::npos);
  EXPECT_NE(LogText().find("not found (views 0)"), std::string::npos);
}

}  // namespace
