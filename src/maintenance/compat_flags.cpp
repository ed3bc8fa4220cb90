// The launcher's compatibility records below HKEY_CURRENT_USER: its entry in
// the Compatibility Assistant's persisted list, and the clean-up of the
// operating-system and DPI layers that a user or the assistant attached to it.
#include <algorithm>
#include <string>
#include <vector>

#include "app/launcher_app.h"
#include "base/log.h"
#include "base/text.h"
#include "platform/registry/registry.h"
#include "platform/system/environment.h"

namespace {

constexpr char16_t kLayersKey[] = u"Software\\Microsoft\\Windows NT\\CurrentVersion\\AppCompatFlags\\Layers";
constexpr char16_t kPersistedKey[] =
    u"Software\\Microsoft\\Windows NT\\CurrentVersion\\AppCompatFlags\\Compatibility Assistant\\Persisted";

// GetModuleFileNameW into 260 characters keeps at most 259 of them.
constexpr size_t kPersistedPathLimit = 259;
// The Layers value is read into a zeroed buffer of this many bytes.
constexpr uint32_t kLayersBufferBytes = 20482;

// Layers that make the launcher pretend to run on an older system or that
// change its DPI handling; they are removed in this order.
constexpr const char16_t* kRemovedLayers[] = {
    u"WIN95",    u"WIN98",    u"WIN4SP5", u"WIN2000",     u"WINXPSP2",    u"WINXPSP3", u"VISTARTM",
    u"VISTASP1", u"VISTASP2", u"WIN7RTM", u"WINSRV03SP1", u"WINSRV08SP1", u"WIN8RTM",  u"HIGHDPIAWARE",
};

// A REG_SZ as read into a zeroed buffer: UTF-16 units up to the first NUL or
// the end of the data. An odd last byte meets a zero byte of the buffer and
// so is a character of its own.
std::u16string WideFromRegistryBytes(const std::vector<uint8_t>& data) {
  std::u16string text;
  for (size_t i = 0; i < data.size(); i += 2) {
    const uint8_t high = i + 1 < data.size() ? data[i + 1] : 0;
    const char16_t unit = static_cast<char16_t>(data[i] | (high << 8));
    if (unit == u'\0') break;
    text += unit;
  }
  return text;
}

std::vector<uint8_t> RegistryBytesFromWide(const std::u16string& text) {
  std::vector<uint8_t> data;
  data.reserve(text.size() * 2);
  for (char16_t unit : text) {
    data.push_back(static_cast<uint8_t>(unit & 0xFF));
    data.push_back(static_cast<uint8_t>(unit >> 8));
  }
  return data;
}

}  // namespace

bool PersistCompatibilityAssistantValue() {
  auto& registry = platform::Service<platform::Registry>();
  auto& env = platform::Service<platform::Environment>();
  platform::RegKey key = nullptr;
  if (registry.OpenKey(platform::Hive::kCurrentUser, kPersistedKey, platform::kKeyReadWrite, &key) != 0) return false;
  std::u16string path = env.ModuleFilePath();
  if (path.size() > kPersistedPathLimit) path.resize(kPersistedPathLimit);
  const std::vector<uint8_t> one = {1, 0, 0, 0};
  const int32_t result = registry.SetValue(key, path, platform::kRegDword, one);
  registry.CloseKey(key);
  return result == 0;
}

bool CLauncherApp::_RemoveAppCompatFlagsEntry(const std::u16string& appPath) {
  if (appPath.empty()) {
    LogInfo(u"CLauncherApp::_RemoveAppCompatFlagsEntry, app path is empty.");
    return false;
  }
  auto& registry = platform::Service<platform::Registry>();

  // Missing, unreadable or oversized values all read as the empty default:
  // a user without permission is treated like a user without a flag.
  std::u16string flags;
  uint32_t type = 0;
  std::vector<uint8_t> data;
  if (registry.ShGetValue(platform::Hive::kCurrentUser, kLayersKey, appPath, &type, &data, kLayersBufferBytes) == 0) {
    flags = WideFromRegistryBytes(data);
  }
  if (flags.empty()) {
    LogInfo(u"CLauncherApp::_RemoveAppCompatFlagsEntry, app path is %s, no compat flag or permission.", appPath);
    return false;
  }

  std::vector<std::u16string> tokens;
  SplitString(&tokens, flags, u' ', true);
  const bool hadTokens = !tokens.empty();
  for (const char16_t* layer : kRemovedLayers) {
    const std::u16string removed(layer);
    tokens.erase(std::remove_if(tokens.begin(), tokens.end(),
                                [&removed](const std::u16string& token) { return CompareNoCase(token, removed) == 0; }),
                 tokens.end());
  }

  if (tokens.empty()) {
    registry.ShDeleteValue(platform::Hive::kCurrentUser, kLayersKey, appPath);
    LogInfo(u"CLauncherApp::_RemoveAppCompatFlagsEntry, app path is %s, delete compat flag.", appPath);
    return hadTokens;
  }

  std::u16string joined;
  for (const std::u16string& token : tokens) {
    if (!joined.empty()) joined += u' ';
    joined += token;
  }
  if (CompareNoCase(joined, flags) == 0) {
    LogInfo(u"CLauncherApp::_RemoveAppCompatFlagsEntry, app path is %s, no need change compat flag.", appPath);
    return false;
  }

  // REG_SZ of the joined text, twice the character count, no terminator.
  if (registry.ShSetValue(platform::Hive::kCurrentUser, kLayersKey, appPath, platform::kRegSz,
                          RegistryBytesFromWide(joined)) == 0) {
    LogInfo(u"CLauncherApp::_RemoveAppCompatFlagsEntry, app path is %s, compat flag set ok.", appPath);
    return true;
  }
  LogInfo(u"CLauncherApp::_RemoveAppCompatFlagsEntry, app path is %s, compat flag set fail.", appPath);
  return false;
}
