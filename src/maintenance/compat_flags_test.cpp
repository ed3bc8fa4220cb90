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

// The REG_SZ bytes of `text` (little-endian UTF-16), with or without the terminator.
std::vector<uint8_t> Bytes(const std::u16string& text, bool terminator) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(text.c_str());
  return std::vector<uint8_t>(bytes, bytes + 2 * (text.size() + (terminator ? 1 : 0)));
}

TEST(CompatFlagsTest, LayersCleanUpRows) {
  // before: none is no value (for kApp); after: none is deleted or never there; oddTail: stored
  // without terminator and without the last byte.
  const struct {
    std::optional<std::u16string> before; const char* failOp; bool result; std::optional<std::u16string> after;
    bool oddTail = false;
  } rows[] = {
      {std::nullopt, nullptr, false, std::nullopt},
      {u"~ RUNASADMIN DISABLEDXMAXIMIZEDWINDOWEDMODE", nullptr, false, u"~ RUNASADMIN DISABLEDXMAXIMIZEDWINDOWEDMODE"},
      {u"  ~  RUNASADMIN", nullptr, true, u"~ RUNASADMIN"},
      {u"HIGHDPIAWARE RUNASADMIN HighDpiAware win8rtm", nullptr, true, u"RUNASADMIN"},
      {u"   ", nullptr, false, std::nullopt},
      {u"", nullptr, false, u""},
      {u"WIN98 RUNASADMIN", "ShSetValue", false, u"WIN98 RUNASADMIN"},
      {u"WIN98 RUNASADMIN", "ShGetValue", false, u"WIN98 RUNASADMIN"},             // no permission
      {std::u16string(10241, u'A'), nullptr, false, std::u16string(10241, u'A')},  // too long to read
      // 13 bytes: the lone last byte reads as the character 'x'.
      {u"WIN95 x", nullptr, true, u"x", true},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE("row " + std::to_string(i));
    FakePlatform fake;
    if (rows[i].before) {
      std::vector<uint8_t> bytes = Bytes(*rows[i].before, !rows[i].oddTail);
      if (rows[i].oddTail) bytes.pop_back();
      fake.registry[kLayers][kApp] = {platform::kRegSz, bytes};
    }
    if (rows[i].failOp != nullptr) fake.FailCall(rows[i].failOp, 5);
    EXPECT_EQ(CLauncherApp()._RemoveAppCompatFlagsEntry(kApp), rows[i].result);
    const auto it = fake.registry[kLayers].find(kApp);
    ASSERT_EQ(it != fake.registry[kLayers].end(), rows[i].after.has_value());
    // A rewrite holds the characters alone, without a terminator.
    if (rows[i].after) {
      EXPECT_EQ(it->second.data, Bytes(*rows[i].after, !rows[i].result));
      EXPECT_EQ(it->second.type, platform::kRegSz);
    }
  }
}

// Each opened key is closed once; a missing key is not created; the value
// name is the module path cut to 259 characters.
TEST(CompatFlagsTest, PersistedEntry) {
  FakePlatform fake;
  fake.modulePath = u"C:\\" + std::u16string(300, u'd') + u"\\Orvane.exe";
  EXPECT_FALSE(PersistCompatibilityAssistantValue());
  EXPECT_EQ(fake.registry.count(kPersisted), 0u);
  auto& values = fake.registry[kPersisted];
  fake.FailCall("SetValue", 5);
  EXPECT_FALSE(PersistCompatibilityAssistantValue());
  EXPECT_TRUE(values.empty());
  EXPECT_TRUE(PersistCompatibilityAssistantValue());
  ASSERT_EQ(values.size(), 1u);
  EXPECT_EQ(values.begin()->first, fake.modulePath.substr(0, 259));
  EXPECT_EQ(values.begin()->second.type, platform::kRegDword);
  EXPECT_EQ(values.begin()->second.data, (std::vector<uint8_t>{1, 0, 0, 0}));
  EXPECT_EQ(fake.CallCount("CloseKey"), 2u);
}

}  // namespace
