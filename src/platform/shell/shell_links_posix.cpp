// Linux has no shell link object: creating one fails as Windows fails for a
// class that is not registered, so every .lnk reads as a shortcut without a
// target and nothing is ever rewritten.
#include "platform/shell/shell_links.h"

namespace platform {
namespace {

class PosixShellLinks final : public ShellLinks {
 public:
  int32_t CreateLink(ShellLink* link) override {
    *link = nullptr;
    return static_cast<int32_t>(kHrClassNotRegistered);
  }
  int32_t Load(ShellLink, const std::u16string&) override { return Absent(); }
  int32_t GetPath(ShellLink, std::u16string*) override { return Absent(); }
  int32_t GetArguments(ShellLink, std::u16string*) override { return Absent(); }
  int32_t GetAppUserModelId(ShellLink, std::u16string*, bool* isText) override {
    *isText = false;
    return Absent();
  }
  int32_t SetIconLocation(ShellLink, const std::u16string&, int32_t) override { return Absent(); }
  int32_t SetPath(ShellLink, const std::u16string&) override { return Absent(); }
  int32_t SetArguments(ShellLink, const std::u16string&) override { return Absent(); }
  int32_t SetWorkingDirectory(ShellLink, const std::u16string&) override { return Absent(); }
  int32_t SetAppUserModelId(ShellLink, const std::u16string&) override { return Absent(); }
  int32_t Save(ShellLink, const std::u16string&) override { return Absent(); }
  void Release(ShellLink) override {}

 private:
  static int32_t Absent() { return static_cast<int32_t>(kHrClassNotRegistered); }
};

}  // namespace

template <>
ShellLinks& NativeService<ShellLinks>() {
  static PosixShellLinks links;
  return links;
}

}  // namespace platform
