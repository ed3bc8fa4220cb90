#include <optional>
#include <string>
#include <vector>

#include "app/launcher_app.h"
#include "gtest/gtest.h"
#include "platform/fake_platform.h"

namespace {

using platform::FakePlatform;
using platform::Hive;

const std::u16string kFlags = u"Software\\Microsoft\\Windows NT\\CurrentVersion\\AppCompatFlags\\";
const std::u16string kLayers = FakePlatform::RegistryPath(Hive::kCurrentUser, kFlags + u"Layers");
const std::u16string kPersisted =
    FakePlatform::RegistryPath(Hive::kCurrentUser, kFlags + u"Compatibility Assistant\\Persisted");
const std::u16string kApp = u"C:\\Program Files\\Orvane\\Orvane.exe";

std::vector<uint8_t> Bytes(const std::u16string& text, bool terminator) {
  std::vector<uint8_t> data;
  for (char16_t c : text) {
    data.push_back(static_cast<uint8_t>(c & 0xFF));
    data.push_back(static_cast<uint8_t>(c >> 8));
  }
  if (terminator) data.insert(data.end(), {0, 0});
  return data;
}

TEST(CompatFlagsTest, LayersCleanUpRows) {
  const struct {
    std::optional<std::u16string> before;  // none: no value (for kApp)
    const char* failOp;
    bool result;
    std::optional<std::u16string> after;  // none: deleted or never there
  } rows[] = {
      {std::nullopt, nullptr, false, std::nullopt},
      {u"WIN95", nullptr, true, std::nullopt},
      {u"win7rtm", nullptr, true, std::nullopt},
      {u"WINXPSP3 RUNASADMIN", nullptr, true, u"RUNASADMIN"},
      {u"~ RUNASADMIN DISABLEDXMAXIMIZEDWINDOWEDMODE", nullptr, false, u"~ RUNASADMIN DISABLEDXMAXIMIZEDWINDOWEDMODE"},
      {u"  ~  RUNASADMIN", nullptr, true, u"~ RUNASADMIN"},
      {u"HIGHDPIAWARE RUNASADMIN HighDpiAware WIN8RTM", nullptr, true, u"RUNASADMIN"},
      {u"   ", nullptr, false, std::nullopt},
      {u"", nullptr, false, u""},
      {u"WIN98 RUNASADMIN", "ShSetValue", false, u"WIN98 RUNASADMIN"},
      {u"WIN98 RUNASADMIN", "ShGetValue", false, u"WIN98 RUNASADMIN"},  // no permission
      {std::u16string(10241, u'A'), nullptr, false, std::u16string(10241, u'A')},  // too long to read
  };
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    FakePlatform fake;
    if (rows[i].before) fake.registry[kLayers][kApp] = {platform::kRegSz, Bytes(*rows[i].before, true)};
    if (rows[i].failOp != nullptr) fake.FailCall(rows[i].failOp, 5);
    CLauncherApp app;
    EXPECT_EQ(app._RemoveAppCompatFlagsEntry(kApp), rows[i].result) << "row " << i;
    auto& values = fake.registry[kLayers];
    auto it = values.find(kApp);
    EXPECT_EQ(it != values.end(), rows[i].after.has_value()) << "row " << i;
    if (it != values.end() && rows[i].after) {
      const bool rewritten = rows[i].result;
      // A rewrite holds the characters alone, without a terminator.
      EXPECT_EQ(it->second.data, Bytes(*rows[i].after, !rewritten)) << "row " << i;
      EXPECT_EQ(it->second.type, platform::kRegSz) << "row " << i;
    }
  }
}

TEST(CompatFlagsTest, PersistedEntryRows) {
  const std::u16string longPath = u"C:\\" + std::u16string(300, u'd') + u"\\Orvane.exe";
  const struct {
    std::u16string modulePath;
    bool keyExists;
    const char* failOp;
    bool result;
  } rows[] = {
      {kApp, true, nullptr, true},
      {longPath, true, nullptr, true},
      {kApp, false, nullptr, false},
      {kApp, true, "SetValue", false},
  };
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    FakePlatform fake;
    fake.modulePath = rows[i].modulePath;
    if (rows[i].keyExists) fake.registry[kPersisted];
    if (rows[i].failOp != nullptr) fake.FailCall(rows[i].failOp, 5);
    EXPECT_EQ(PersistCompatibilityAssistantValue(), rows[i].result) << "row " << i;
    const auto& values = fake.registry[kPersisted];
    if (rows[i].result) {
      ASSERT_EQ(values.size(), 1u) << "row " << i;
      EXPECT_EQ(values.begin()->first, rows[i].modulePath.substr(0, 259)) << "row " << i;
      EXPECT_EQ(values.begin()->second.type, platform::kRegDword) << "row " << i;
      EXPECT_EQ(values.begin()->second.data, (std::vector<uint8_t>{1, 0, 0, 0})) << "row " << i;
    } else {
      EXPECT_TRUE(values.empty()) << "row " << i;
    }
    EXPECT_EQ(fake.CallCount("CloseKey"), rows[i].keyExists ? 1u : 0u) << "row " << i;
  }
}

}  // namespace
