#include <algorithm>

#include "platform/shell/fake_shell_links.h"
#include "platform/text/ascii.h"

namespace platform {
namespace {

FakeShellLinks::Shortcut* Find(std::map<std::u16string, FakeShellLinks::Shortcut>& all, const std::u16string& path) {
  for (auto& [name, shortcut] : all) {
    if (EqualsIgnoreAsciiCase(name, path)) return &shortcut;
  }
  return nullptr;
}

}  // namespace

int32_t FakeShellLinks::Fails(const char* op) const {
  const auto it = failing.find(op);
  return it != failing.end() ? it->second : 0;
}

int32_t FakeShellLinks::CreateLink(ShellLink* link) {
  *link = nullptr;
  if (const int32_t hr = Fails("CreateLink")) return hr;
  open_.push_back(new Open);
  *link = open_.back();
  return 0;
}

int32_t FakeShellLinks::Load(ShellLink link, const std::u16string& path) {
  if (const int32_t hr = Fails("Load")) return hr;
  const Shortcut* found = Find(shortcuts, path);
  if (found == nullptr) return static_cast<int32_t>(kHrFail);
  static_cast<Open*>(link)->data = *found;
  static_cast<Open*>(link)->loaded = true;
  return 0;
}

int32_t FakeShellLinks::GetPath(ShellLink link, std::u16string* path) {
  if (const int32_t hr = Fails("GetPath")) return hr;
  const Open* o = static_cast<Open*>(link);
  if (o->data.target.empty()) return 1;  // S_FALSE: no file-system target
  *path = o->data.target.substr(0, 259);
  return 0;
}

int32_t FakeShellLinks::GetArguments(ShellLink link, std::u16string* arguments) {
  if (const int32_t hr = Fails("GetArguments")) return hr;
  *arguments = static_cast<Open*>(link)->data.arguments;
  return 0;
}

int32_t FakeShellLinks::GetAppUserModelId(ShellLink link, std::u16string* id, bool* isText) {
  *isText = false;
  if (const int32_t hr = Fails("GetAppUserModelId")) return hr;
  const Shortcut& data = static_cast<Open*>(link)->data;
  if (data.appId && data.appIdIsText) {
    *isText = true;
    *id = *data.appId;
  }
  return 0;
}

int32_t FakeShellLinks::SetIconLocation(ShellLink link, const std::u16string& path, int32_t index) {
  if (const int32_t hr = Fails("SetIconLocation")) return hr;
  static_cast<Open*>(link)->data.iconPath = path;
  static_cast<Open*>(link)->data.iconIndex = index;
  return 0;
}

int32_t FakeShellLinks::SetPath(ShellLink link, const std::u16string& path) {
  if (const int32_t hr = Fails("SetPath")) return hr;
  static_cast<Open*>(link)->data.target = path;
  return 0;
}

int32_t FakeShellLinks::SetArguments(ShellLink link, const std::u16string& arguments) {
  if (const int32_t hr = Fails("SetArguments")) return hr;
  static_cast<Open*>(link)->data.arguments = arguments;
  return 0;
}

int32_t FakeShellLinks::SetWorkingDirectory(ShellLink link, const std::u16string& directory) {
  if (const int32_t hr = Fails("SetWorkingDirectory")) return hr;
  static_cast<Open*>(link)->data.workingDirectory = directory;
  return 0;
}

int32_t FakeShellLinks::SetAppUserModelId(ShellLink link, const std::u16string& id) {
  if (const int32_t hr = Fails("SetAppUserModelId")) return hr;
  static_cast<Open*>(link)->data.appId = id;
  static_cast<Open*>(link)->data.appIdIsText = true;
  return 0;
}

int32_t FakeShellLinks::Save(ShellLink link, const std::u16string& path) {
  if (const int32_t hr = Fails("Save")) return hr;
  saved.push_back(path);
  Shortcut* found = Find(shortcuts, path);
  if (found != nullptr) {
    *found = static_cast<Open*>(link)->data;
  } else {
    shortcuts[path] = static_cast<Open*>(link)->data;
  }
  return 0;
}

void FakeShellLinks::Release(ShellLink link) {
  const auto it = std::find(open_.begin(), open_.end(), static_cast<Open*>(link));
  if (it == open_.end()) return;
  delete *it;
  open_.erase(it);
}

}  // namespace platform
