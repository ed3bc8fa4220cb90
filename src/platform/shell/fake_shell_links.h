// The fake shell-link service: shortcuts live in memory by path (compared
// as Windows compares names), and any operation can be made to answer a
// chosen HRESULT.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/shell/shell_links.h"

namespace platform {

class FakeShellLinks final : public ShellLinks {
 public:
  struct Shortcut {
    std::u16string target, arguments, workingDirectory, iconPath;
    int32_t iconIndex = 0;
    std::optional<std::u16string> appId;  // none: the property is not set
    bool appIdIsText = true;              // false: a value of another type
  };
  // Shortcuts by path. A path the test did not set fails to load.
  std::map<std::u16string, Shortcut> shortcuts;
  // Operation name ("CreateLink", "Load", "GetPath", "Save", ...) -> HRESULT
  // it answers every time.
  std::map<std::string, int32_t> failing;
  std::vector<std::u16string> saved;  // paths saved, in order

  int32_t CreateLink(ShellLink* link) override;
  int32_t Load(ShellLink link, const std::u16string& path) override;
  int32_t GetPath(ShellLink link, std::u16string* path) override;
  int32_t GetArguments(ShellLink link, std::u16string* arguments) override;
  int32_t GetAppUserModelId(ShellLink link, std::u16string* id, bool* isText) override;
  int32_t SetIconLocation(ShellLink link, const std::u16string& path, int32_t index) override;
  int32_t SetPath(ShellLink link, const std::u16string& path) override;
  int32_t SetArguments(ShellLink link, const std::u16string& arguments) override;
  int32_t SetWorkingDirectory(ShellLink link, const std::u16string& directory) override;
  int32_t SetAppUserModelId(ShellLink link, const std::u16string& id) override;
  int32_t Save(ShellLink link, const std::u16string& path) override;
  void Release(ShellLink link) override;

 private:
  struct Open {
    Shortcut data;
    bool loaded = false;
  };
  int32_t Fails(const char* op) const;
  std::vector<Open*> open_;
  ScopedService<ShellLinks> scope_{this};
};

}  // namespace platform
