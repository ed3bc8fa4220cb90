#include "app/vorn_app.h"

#include <cstdio>
#include <iterator>
#include <optional>
#include <string>

#include "base/localized_strings.h"
#include "base/log.h"
#include "base/log_test_support.h"
#include "base/text.h"
#include "gtest/gtest.h"

namespace {

using orvane_test::LinePrefix;

// The application base with its protected steps opened up.
class TestApp : public CVornApp {
 public:
  int32_t Run(const char16_t*) override { return 0; }
  using CVornApp::_InitConfigInfo;
  using CVornApp::_InitLanguage;
  CCommandLine& commandLineForTest() { return m_commandLine; }
  CProductConfig& configForTest() { return m_productConfig; }
};

const char kLocale[] =
    "\xEF\xBB\xBF{\"K1\":{\"en\":\"Hello %s\",\"jp\":\"\xe3\x81\x93\xe3\x82\x93\","
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
  // road: the line that names the choice ("cmd", "product" or none); system: the system language decided.
  struct Row {
    std::optional<std::u16string> lang;
    const char16_t* configured;
    uint16_t langId;
    const char16_t* language;
    bool chineseName;
    std::string road;
    bool system;
  };
  const Row rows[] = {
      {u"jp", u"cn", 0x0409, u"jp", false, "cmd", false},
      {u"auto", u"cn", 0x0411, u"jp", false, "cmd", true},
      {u"de", u"auto", 0x0409, u"en", false, "product", true},
      {u"de", u"cn", 0x0804, u"cn", false, "product", false},  // only the system road sets the Chinese name
      {u"EN", u"", 0x0409, u"en", false, "", true},            // exact case
      {std::nullopt, u"fr", 0x0804, u"cn", true, "", true},
      {std::nullopt, u"auto", 0x0C04, u"en", true, "product", true},  // a Chinese variant that keeps English
      {u"", u"jp", 0x0804, u"jp", false, "product", false},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE("row " + std::to_string(i));
    const Row& row = rows[i];
    ReopenLog();
    fake.uiLanguage = row.langId;
    TestApp app;
    ASSERT_TRUE(app._InitConfigInfo(104));
    app.configForTest().language = row.configured;
    if (row.lang) app.commandLineForTest().switches[u"lang"] = *row.lang;
    ASSERT_TRUE(app._InitLanguage(110));
    EXPECT_EQ(app.language(), row.language);
    EXPECT_EQ(app.useChineseName(), row.chineseName);
    // Lookups take the run's language and fall back to no other: a text that
    // is missing there, or is no text, shows its key. The display name
    // follows the Chinese flag alone.
    const std::u16string k1 = row.language == std::u16string(u"en")   ? u"Hello %s"
                              : row.language == std::u16string(u"jp") ? u"\u3053\u3093"
                                                                      : u"\u4f60\u597d";
    EXPECT_EQ(GetLocalizedString("K1"), k1);
    EXPECT_EQ(GetLocalizedString("OnlyEn"), row.language == std::u16string(u"en") ? u"x" : u"OnlyEn");
    for (const char* key : {"Missing", "WrongType", "NotObject"}) EXPECT_EQ(GetLocalizedString(key), AnsiToWide(key));
    EXPECT_EQ(GetProductDisplayName(), row.chineseName ? u"\u5965\u74e6\u5185" : u"Orvane");

    const std::string conf = WideToUtf8(row.configured), cmd = row.lang ? WideToUtf8(*row.lang) : "";
    const std::string head = "CApplication::_InitLanguage, ";
    std::vector<std::string> want = {head + "product language is '" + conf + "'",
                                     head + "cmdline lauguage is '" + cmd + "'"};
    if (row.road == "cmd") want.push_back(head + "use cmdline lauguage '" + cmd + "'");
    if (row.road == "product") want.push_back(head + "use product lauguage '" + conf + "'");
    char id[8];
    std::snprintf(id, sizeof(id), "%04x", row.langId);
    if (row.system) {
      want.push_back(head + "GetUserDefaultUILanguage return " + id + ", use system lauguage '" +
                     WideToUtf8(row.language) + "'");
    }
    EXPECT_EQ(Messages(), want);
  }
}

TEST_F(VornAppTest, WithoutAnApplicationEveryLookupShowsItsKey) {
  EXPECT_EQ(CVornApp::s_instance, nullptr);
  EXPECT_EQ(GetLocalizedString("K1"), u"K1");
  EXPECT_EQ(GetProductConfig().product_app_id, -1);
}

// The failures behind the exit codes -2 (config) and -3 (locale).
TEST_F(VornAppTest, ResourceFailuresAreLogged) {
  OpenLog();
  {
    TestApp app;
    fake.RemoveResource(110, u"BIN");
    EXPECT_FALSE(app._InitLanguage(110));
    fake.SetResource(110, u"BIN", "\xEF\xBB\xBF{x");
    EXPECT_FALSE(app._InitLanguage(110));
    EXPECT_EQ(app.language(), u"en");  // chosen before the table is read
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
  for (size_t line : {4, 7, 8, 9}) EXPECT_EQ(LogLines()[line].rfind(LinePrefix("ERRO"), 0), 0u) << LogLines()[line];
}

}  // namespace
