#include "toolkit/autorun.h"

#include <vector>

#include "base/format.h"
#include "base/log.h"
#include "platform/registry/registry.h"
#include "platform/types.h"

namespace {

// A command line holds at most 32,767 characters; a value longer than that
// (and its NUL) is no command a launcher could have been started with.
constexpr uint32_t kMaxValueBytes = 32768 * 2;
constexpr uint32_t kRegExpandSz = 2;  // REG_EXPAND_SZ

std::vector<uint8_t> Utf16Bytes(const std::u16string& text) {
  std::vector<uint8_t> bytes;
  bytes.reserve((text.size() + 1) * 2);
  for (char16_t c : text) {
    bytes.push_back(static_cast<uint8_t>(c & 0xFF));
    bytes.push_back(static_cast<uint8_t>(c >> 8));
  }
  bytes.push_back(0);
  bytes.push_back(0);
  return bytes;
}

}  // namespace

namespace Utils {

std::u16string BuildAutorunCommand(const std::u16string& launcherPath, uint32_t delaySeconds) {
  if (launcherPath.empty() || launcherPath.find(u'"') != std::u16string::npos || launcherPath.back() == u'\\' ||
      launcherPath.back() == u'/' || delaySeconds > kMaxAutorunDelaySeconds) {
    return std::u16string();
  }
  return u"\"" + launcherPath + u"\" --launch_from=auto-launch --auto_launch_delay_seconds=" +
         FormatWideString(u"%u", delaySeconds);
}

bool SetAutorunValue(const CProductConfig& config, const std::u16string& launcherPath, uint32_t delaySeconds) {
  const std::u16string command = BuildAutorunCommand(launcherPath, delaySeconds);
  if (command.empty() || config.autolaunch_key.empty()) {
    LogError(u"Utils::SetAutorunValue, cannot start launcher '%s' with delay %u as value '%s'", launcherPath,
             delaySeconds, config.autolaunch_key);
    return false;
  }
  const int32_t status = platform::Service<platform::Registry>().ShSetValue(
      platform::Hive::kCurrentUser, kAutorunRunKey, config.autolaunch_key, platform::kRegSz, Utf16Bytes(command));
  if (status != 0) {
    LogError(u"Utils::SetAutorunValue, set value '%s' failed, error=%d", config.autolaunch_key, status);
    return false;
  }
  LogInfo(u"Utils::SetAutorunValue, value '%s' set, delay %u seconds", config.autolaunch_key, delaySeconds);
  return true;
}

bool ReadAutorunValue(const CProductConfig& config, std::u16string* data) {
  data->clear();
  if (config.autolaunch_key.empty()) {
    LogError(u"Utils::ReadAutorunValue, no value name");
    return false;
  }
  uint32_t type = 0;
  std::vector<uint8_t> bytes;
  const int32_t status = platform::Service<platform::Registry>().ShGetValue(
      platform::Hive::kCurrentUser, kAutorunRunKey, config.autolaunch_key, &type, &bytes, kMaxValueBytes);
  if (status == static_cast<int32_t>(platform::kErrorFileNotFound)) {
    LogInfo(u"Utils::ReadAutorunValue, value '%s' not found", config.autolaunch_key);
    return false;
  }
  if (status != 0) {
    LogError(u"Utils::ReadAutorunValue, read value '%s' failed, error=%d", config.autolaunch_key, status);
    return false;
  }
  if (type != platform::kRegSz && type != kRegExpandSz) {
    LogError(u"Utils::ReadAutorunValue, value '%s' is of type %u, not text", config.autolaunch_key, type);
    return false;
  }
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const char16_t c = static_cast<char16_t>(bytes[i] | (bytes[i + 1] << 8));
    if (c == 0) break;
    data->push_back(c);
  }
  return true;
}

bool RemoveAutorunValue(const CProductConfig& config) {
  if (config.autolaunch_key.empty()) {
    LogError(u"Utils::RemoveAutorunValue, no value name");
    return false;
  }
  const int32_t status = platform::Service<platform::Registry>().ShDeleteValue(platform::Hive::kCurrentUser,
                                                                               kAutorunRunKey, config.autolaunch_key);
  if (status == 0) {
    LogInfo(u"Utils::RemoveAutorunValue, value '%s' removed", config.autolaunch_key);
    return true;
  }
  if (status == static_cast<int32_t>(platform::kErrorFileNotFound)) {
    LogInfo(u"Utils::RemoveAutorunValue, value '%s' not found", config.autolaunch_key);
    return true;
  }
  LogError(u"Utils::RemoveAutorunValue, delete value '%s' failed, error=%d", config.autolaunch_key, status);
  return false;
}

}  // namespace Utils
