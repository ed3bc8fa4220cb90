// The fake environment: set values, an overlay over the real variables.
#include <iterator>

#include "platform/system/fake_environment.h"
#include "platform/text/ascii.h"

namespace platform {

std::u16string FakeEnvironment::ModuleFilePath() {
  if (Enter("ModuleFilePath", u"")) return std::u16string();
  return modulePath;
}

void FakeEnvironment::SetEnvValue(const std::u16string& name, const std::u16string& value) { env_[name] = value; }

void FakeEnvironment::UnsetEnvValue(const std::u16string& name) { env_[name] = std::nullopt; }

bool FakeEnvironment::GetEnv(const std::u16string& name, std::u16string* value) {
  if (Enter("GetEnv", name)) return false;
  for (const auto& [key, entry] : env_) {
    if (!EqualsIgnoreAsciiCase(key, name)) continue;
    if (!entry.has_value()) {
      SetError(203);  // ERROR_ENVVAR_NOT_FOUND
      return false;
    }
    *value = *entry;
    SetError(kErrorSuccess);
    return true;
  }
  const bool result = NativeService<Environment>().GetEnv(name, value);
  TakeNativeError();
  return result;
}

bool FakeEnvironment::SetEnv(const std::u16string& name, const std::u16string* value) {
  if (Enter("SetEnv", name)) return false;
  for (auto it = env_.begin(); it != env_.end();) {
    it = EqualsIgnoreAsciiCase(it->first, name) ? env_.erase(it) : std::next(it);
  }
  if (value != nullptr) {
    env_[name] = *value;
  } else {
    env_[name] = std::nullopt;
  }
  SetError(kErrorSuccess);
  return true;
}

uint32_t FakeEnvironment::ProcessId() {
  if (Enter("ProcessId", u"")) return 0;
  return processId;
}

uint32_t FakeEnvironment::ThreadId() {
  if (Enter("ThreadId", u"")) return 0;
  return threadId;
}

std::u16string FakeEnvironment::CurrentDirectory() {
  if (Enter("CurrentDirectory", u"")) return std::u16string();
  return NativeService<Environment>().CurrentDirectory();
}

void FakeEnvironment::WriteStdout(const std::string& text) {
  if (Enter("WriteStdout", FakeAscii(text))) return;
  stdoutText += text;
}

}  // namespace platform
