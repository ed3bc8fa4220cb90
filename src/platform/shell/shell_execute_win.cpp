#include <windows.h>
#include <shellapi.h>

#include "platform/shell/shell_execute.h"
#include "platform/text/win_text.h"

namespace platform {
namespace {

class WinShellExecution final : public ShellExecution {
 public:
  intptr_t ShellExecute(const std::u16string& verb, const std::u16string& file, const std::u16string& parameters,
                        const std::u16string* directory, int32_t show) override {
    HINSTANCE result = ::ShellExecuteW(nullptr, AsWide(verb), AsWide(file), AsWide(parameters),
                                       directory != nullptr ? AsWide(*directory) : nullptr, show);
    return reinterpret_cast<intptr_t>(result);
  }
};

}  // namespace

template <>
ShellExecution& NativeService<ShellExecution>() {
  static WinShellExecution shell;
  return shell;
}

}  // namespace platform
