// The fake of ShellExecute.
#include "platform/shell/fake_shell_execute.h"

namespace platform {

intptr_t FakeShellExecution::ShellExecute(const std::u16string& verb, const std::u16string& file,
                                          const std::u16string& parameters, const std::u16string* directory,
                                          int32_t show) {
  calls.push_back({verb, file, parameters, directory != nullptr, directory != nullptr ? *directory : u"", show});
  if (answer <= 32 && setLastError) setLastError(errorOnFailure);
  return answer;
}

}  // namespace platform
