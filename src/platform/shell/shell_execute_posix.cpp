// ShellExecuteW on Linux. "open" of a program starts it with the parameters
// (the shell's own road for an executable); Linux has no file associations,
// so the file itself is what runs. No elevation prompt exists here: "runas"
// answers as a declined prompt does (SE_ERR_ACCESSDENIED, last error 1223),
// and any other verb as a file without an association.
#include "platform/error_codes.h"
#include "platform/posix_translation.h"
#include "platform/processes/processes.h"
#include "platform/shell/shell_execute.h"

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
    auto& processes = NativeService<Processes>();
    auto& errors = NativeService<ErrorCodes>();
    std::u16string commandLine = u"\"" + file + u"\"";
    if (!parameters.empty()) commandLine += u" " + parameters;
    ProcessInfo child;
    if (!processes.StartProcess(commandLine, directory != nullptr ? *directory : std::u16string(), &child)) {
      const uint32_t error = errors.LastError();
      switch (error) {
        case kErrorFileNotFound: return kShellFileNotFound;
        case kErrorPathNotFound: return kShellPathNotFound;
        case kErrorAccessDenied: return kShellAccessDenied;
        case kErrorBadExeFormat: return kShellBadFormat;
        default: return error <= 32 ? static_cast<intptr_t>(error) : kShellNoAssociation;
      }
    }
    processes.CloseObject(child.thread);
    processes.CloseObject(child.process);
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
