#include "app/vorn_app.h"

#include <memory>
#include <optional>
#include <regex>
#include <string>

#include "base/localized_strings.h"
#include "base/log.h"
#include "base/log_test_support.h"
#include "base/text.h"
#include "cJSON.h"
#include "gtest/gtest.h"

namespace {

using orvane_test::LinePrefix;

// The application base with its protected steps opened up.
class TestApp : public CVornApp {
 public:
  int32_t Run(const char16_t*) override { return 0; }
  using CVornApp::_InitConfigInfo;
  using CVornApp::_InitLanguage;
  using CVornApp::_StartLog;
  CCommandLine& commandLineForTest() { return m_commandLine; }
  CProductConfig& configForTest() { return m_productConfig; }
};

const char kLocale[] =
    "\xEF\xBB\xBF{\"K1\":{\"en\":\"Hello %s\",\"jp\":\"\xe3\x81\x93\xe3\x82\x93\xe3\x81\xab\xe3\x81\xa1\xe3\x81\xaf\","
    "\"cn\":\"\xe4\xbd\xa0\xe5\xa5\xbd\"},\"OnlyEn\":{\"en\":\"x\"},\"WrongType\":{\"en\":5,\"jp\":5,\"cn\":5},"
    "\"NotObject\":\"text\"}";

class VornAppTest : public orvane_test::LogFileTest {
 protected:
  void SetUp() override {
    LogFileTest::SetUp();
    fake.SetResource(104, u"BIN", orvane_test::ReadFileBytes(ORVANE_SOURCE_DIR "/src/resources/config.json"));
    fake.SetResource(110, u"BIN", kLocale);
  }
  // The messages of the log's lines after the banner, prefix removed.
  std::vector<std::string> Messages() {
    std::vector<std::string> out;
    const auto lines = LogLines();
    for (size_t i = 1; i < lines.size(); ++i) out.push_back(lines[i].substr(LinePrefix("INFO").size()));
    return out;
  }
};

TEST_F(VornAppTest, LanguageChoice) {
  struct Row {
    std::optional<std::u16string> lang;  // the lang switch, absent when empty
    const char16_t* configured;
    uint16_t langId;
    const char16_t* language;
    bool chineseName;
    const char* road;  // "cmd", "product" or "" for the line that names the choice
    bool system;       // the system language decided
  };
  const Row rows[] = {
      {u"jp", u"cn", 0x0409, u"jp", false, "cmd", false},
      {u"auto", u"cn", 0x0411, u"jp", false, "cmd", true},
      {u"de", u"auto", 0x0409, u"en", false, "product", true},
      {u"de", u"cn", 0x0804, u"cn", false, "product", false},
      {u"EN", u"", 0x0409, u"en", false, "", true},
      {std::nullopt, u"fr", 0x0804, u"cn", true, "", true},
      {std::nullopt, u"auto", 0x0404, u"en", true, "product", true},
      {std::nullopt, u"auto", 0x0C04, u"en", true, "product", true},
      {std::nullopt, u"auto", 0x0411, u"jp", false, "product", true},
      {std::nullopt, u"auto", 0x0407, u"en", false, "product", true},
      {u"", u"jp", 0x0804, u"jp", false, "product", false},
      {u"cn", u"auto", 0x0409, u"cn", false, "cmd", false},
  };
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    const Row& row = rows[i];
    ResetLogStateForTesting();
    std::filesystem::remove(LogPath());
    OpenLog();
    fake.uiLanguage = row.langId;
    TestApp app;
    app.configForTest().language = row.configured;
    if (row.lang) app.commandLineForTest().switches[u"lang"] = *row.lang;

    ASSERT_TRUE(app._InitLanguage(110)) << "row " << i;
    EXPECT_EQ(app.language(), row.language) << "row " << i;
    EXPECT_EQ(app.languageUtf8(), WideToUtf8(row.language)) << "row " << i;
    EXPECT_EQ(app.useChineseName(), row.chineseName) << "row " << i;

    const std::string configured = WideToUtf8(row.configured);
    const std::string cmd = row.lang ? WideToUtf8(*row.lang) : "";
    std::vector<std::string> expected = {
        "CApplication::_InitLanguage, product language is '" + configured + "'",
        "CApplication::_InitLanguage, cmdline lauguage is '" + cmd + "'",
    };
    if (std::string(row.road) == "cmd") expected.push_back("CApplication::_InitLanguage, use cmdline lauguage '" + cmd + "'");
    if (std::string(row.road) == "product") {
      expected.push_back("CApplication::_InitLanguage, use product lauguage '" + configured + "'");
    }
    if (row.system) {
      char id[8];
      std::snprintf(id, sizeof(id), "%04x", row.langId);
      expected.push_back(std::string("CApplication::_InitLanguage, GetUserDefaultUILanguage return ") + id +
                         ", use system lauguage '" + WideToUtf8(row.language) + "'");
    }
    EXPECT_EQ(Messages(), expected) << "row " << i;
  }
}

TEST_F(VornAppTest, LookupsAndDisplayName) {
  struct Row {
    const char16_t* lang;
    const char* key;
    const char16_t* expected;
  };
  const Row rows[] = {
      {u"en", "K1", u"Hello %s"},
      {u"jp", "K1", u"\u3053\u3093\u306b\u3061\u306f"},
      {u"cn", "K1", u"\u4f60\u597d"},
      {u"en", "Missing", u"Missing"},
      {u"jp", "OnlyEn", u"OnlyEn"},
      {u"en", "WrongType", u"WrongType"},
      {u"en", "NotObject", u"NotObject"},
  };
  for (const Row& row : rows) {
    TestApp app;
    ASSERT_TRUE(app._InitConfigInfo(104));
    app.commandLineForTest().switches[u"lang"] = row.lang;
    ASSERT_TRUE(app._InitLanguage(110));
    EXPECT_EQ(GetLocalizedString(row.key), row.expected) << row.key << " in " << WideToUtf8(row.lang);
    // The display name follows the system's Chinese flag, not the language.
    EXPECT_EQ(GetProductDisplayName(), u"Orvane");
  }
  {
    TestApp app;
    ASSERT_TRUE(app._InitConfigInfo(104));
    fake.uiLanguage = 0x0404;
    ASSERT_TRUE(app._InitLanguage(110));
    EXPECT_EQ(GetProductDisplayName(), u"\u5965\u74e6\u5185");
  }
  // Without an application object every lookup shows its key.
  EXPECT_EQ(CVornApp::s_instance, nullptr);
  EXPECT_EQ(GetLocalizedString("K1"), u"K1");
}

TEST_F(VornAppTest, ResourceFailuresAreLogged) {
  OpenLog();
  {
    TestApp app;
    fake.RemoveResource(110, u"BIN");
    EXPECT_FALSE(app._InitLanguage(110));
    fake.SetResource(110, u"BIN", "\xEF\xBB\xBF{x");
    EXPECT_FALSE(app._InitLanguage(110));
    // The language is chosen before the table is read.
    EXPECT_EQ(app.language(), u"en");
    fake.RemoveResource(104, u"BIN");
    EXPECT_FALSE(app._InitConfigInfo(104));
    fake.SetResource(104, u"BIN", R"({"product_name":{"en":"X"}})");
    EXPECT_FALSE(app._InitConfigInfo(104));
  }
  // The second choice keeps the "en" of the first: no system line again.
  const auto messages = Messages();
  ASSERT_EQ(messages.size(), 9u);
  EXPECT_EQ(messages[3], "CInstallWindow::_InitConfigInfo, read locale json failed, error=1814");
  // The narrow text goes to a wide %s: "{x" reads as the one unit U+787B.
  EXPECT_EQ(messages[6], "CInstallWindow::_InitConfigInfo, parse locale json failed, json=\xe7\xa1\xbb");
  EXPECT_EQ(messages[7], "CInstallWindow::_InitConfigInfo, read config json failed, error=1814");
  EXPECT_EQ(messages[8].rfind("CInstallWindow::_InitConfigInfo, parse config info failed, json=", 0), 0u);
}

TEST_F(VornAppTest, StartLogPlacesTheFileBelowTheBaseDirectory) {
  TestApp app;
  ASSERT_TRUE(app._InitConfigInfo(104));
  SetLogFileTag(u"launcher");
  EXPECT_TRUE(app._StartLog(temp.core() + u"\\User Data", u"launcher", true));
  const auto path = temp.path() / "User Data" / "sdk_storage" / "log" / "Orvane-launcher.log";
  EXPECT_EQ(orvane_test::ReadFileBytes(path), LinePrefix("INFO") + orvane_test::kBanner + "\r\n");
}

TEST_F(VornAppTest, InstancePointerLivesWithTheObject) {
  EXPECT_EQ(CVornApp::s_instance, nullptr);
  {
    TestApp app;
    EXPECT_EQ(CVornApp::s_instance, &app);
    EXPECT_EQ(&GetProductConfig(), &app.GetProductConfig());
    EXPECT_EQ(app.GetProductConfig().product_app_id, -1);
  }
  EXPECT_EQ(CVornApp::s_instance, nullptr);
}

TEST(LocaleDocumentTest, ShippedTableIsComplete) {
  const std::string text = orvane_test::ReadFileBytes(ORVANE_SOURCE_DIR "/src/resources/locale.json");
  ASSERT_EQ(text.compare(0, 3, "\xEF\xBB\xBF"), 0);
  std::unique_ptr<cJSON, decltype(&cJSON_Delete)> root(cJSON_Parse(text.c_str() + 3), &cJSON_Delete);
  ASSERT_NE(root, nullptr);
  ASSERT_EQ(cJSON_GetArraySize(root.get()), 35);
  const std::regex placeholder("%[sd%]");
  for (const cJSON* entry = root->child; entry != nullptr; entry = entry->next) {
    ASSERT_TRUE(cJSON_IsObject(entry)) << entry->string;
    std::vector<std::string> counts;
    for (const char* lang : {"en", "jp", "cn"}) {
      const cJSON* value = cJSON_GetObjectItem(entry, lang);
      ASSERT_TRUE(cJSON_IsString(value) && value->valuestring[0] != '\0') << entry->string << " " << lang;
      const std::string s = value->valuestring;
      std::string found;
      for (auto it = std::sregex_iterator(s.begin(), s.end(), placeholder); it != std::sregex_iterator(); ++it) {
        found += it->str();
      }
      counts.push_back(found);
    }
    EXPECT_EQ(counts[1].size(), counts[0].size()) << entry->string << ": jp placeholders";
    EXPECT_EQ(counts[2].size(), counts[0].size()) << entry->string << ": cn placeholders";
  }
  const cJSON* task = cJSON_GetObjectItem(root.get(), "Vorn_Installer_TaskScheduleDescription");
  // The one entry the launcher itself uses, in all three languages.
  const auto taskText = [&](const char* lang) { return Utf8ToWide(cJSON_GetObjectItem(task, lang)->valuestring); };
  EXPECT_EQ(taskText("en"),
            u"Please make sure to use the latest version of %s. If the task is disabled or interrupted, "
            u"your %s will not be able to be up-to-date, which means that potential security holes will not be "
            u"fixed and some features will not work properly.");
  EXPECT_EQ(taskText("jp"),
            u"必ず最新バージョンの%sをご利用ください。このタスクを停止または中止すると、%sは更新できなくな"
            u"り、システムの脆弱性を修復できなくなる恐れがあります。また、一部の機能も正常に利用できなくなりま"
            u"す。");
  EXPECT_EQ(taskText("cn"),
            u"请确保使用最新版的%s。如果停用或中断此任务，您的%s将无法及时更新，这意味着无法修复潜在的安全"
            u"漏洞，同时某些功能也无法正常运行。");
}

}  // namespace
