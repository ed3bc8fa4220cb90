// ShellExecuteW on Linux. "open" of a program starts it with the parameters
// (the shell's own road for an executable); Linux has no file associations,
// so the file itself is what runs. No elevation prompt exists here: "runas"
// answers as a declined prompt does (SE_ERR_ACCESSDENIED, last error 1223),
// and any other verb as a file without an association.
#include "platform/platform.h"
#include "platform/posix_platform.h"
#include "platform/shell_execute.h"

namespace platform {
namespace {

// A value above 32, as ShellExecuteW returns for a started program.
constexpr intptr_t kStarted = 42;

class PosixShellExecution final : public ShellExecution {
 public:
  intptr_t ShellExecute(const std::u16string& verb, const std::u16string& file, const std::u16string& parameters,
                        const std::u16string* directory, int32_t show) override {
    if (verb == u"runas") {
      posix::SetError(kErrorCancelled);
      return kShellAccessDenied;
    }
    if (verb != u"open") {
      posix::SetError(1155);  // ERROR_NO_ASSOCIATION
      return kShellNoAssociation;
    }
    Platform& os = Native();
    std::u16string commandLine = u"\"" + file + u"\"";
    if (!parameters.empty()) commandLine += u" " + parameters;
    ProcessInfo child;
    if (!os.StartProcess(commandLine, directory != nullptr ? *directory : std::u16string(), &child)) {
      const uint32_t error = os.LastError();
      switch (error) {
        case kErrorFileNotFound: return kShellFileNotFound;
        case kErrorPathNotFound: return kShellPathNotFound;
        case kErrorAccessDenied: return kShellAccessDenied;
        case kErrorBadExeFormat: return kShellBadFormat;
        default: return error <= 32 ? static_cast<intptr_t>(error) : kShellNoAssociation;
      }
    }
    os.CloseObject(child.thread);
    os.CloseObject(child.process);
    return kStarted;
  }
};

}  // namespace

template <>
ShellExecution& NativeService<ShellExecution>() {
  static PosixShellExecution shell;
  return shell;
}

}  // namespace platform
