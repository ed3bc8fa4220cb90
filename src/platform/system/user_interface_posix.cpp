// Message boxes on Linux: always one line on standard error; in a graphical
// session with a dialog program installed, also a real dialog that blocks as
// the Windows box does. Without a graphical session nothing waits.
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "platform/posix_translation.h"
#include "platform/system/user_interface.h"
#include "platform/text/unicode.h"

extern char** environ;

namespace platform {

class PosixUserInterface final : public UserInterface {
 public:
  int32_t ShowMessageBox(const std::u16string& text, const std::optional<std::u16string>& caption,
                         uint32_t style) override;
  int32_t ShowMessageBoxIndirect(const std::u16string& text, const std::u16string& caption, uint32_t style,
                                 uint16_t iconId) override;
};

template <>
UserInterface& NativeService<UserInterface>() {
  static PosixUserInterface instance;
  return instance;
}

namespace {

// The dialog program's path on PATH, or empty.
std::string FindDialogProgram() {
  const char* path = std::getenv("PATH");
  if (path == nullptr) return std::string();
  std::string dirs = path;
  size_t start = 0;
  while (start <= dirs.size()) {
    size_t end = dirs.find(':', start);
    if (end == std::string::npos) end = dirs.size();
    const std::string dir = dirs.substr(start, end - start);
    if (!dir.empty()) {
      const std::string candidate = dir + "/zenity";
      if (::access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    start = end + 1;
  }
  return std::string();
}

bool HasGraphicalSession() {
  const char* x11 = std::getenv("DISPLAY");
  const char* wayland = std::getenv("WAYLAND_DISPLAY");
  return (x11 != nullptr && x11[0] != 0) || (wayland != nullptr && wayland[0] != 0);
}

int32_t ShowBox(const std::u16string& text, const std::u16string& caption, uint32_t style) {
  const std::string narrowCaption = Utf16ToUtf8(caption);
  const std::string narrowText = Utf16ToUtf8(text);
  std::fprintf(stderr, "%s: %s\n", narrowCaption.c_str(), narrowText.c_str());
  std::fflush(stderr);
  if (!HasGraphicalSession()) return 1;
  const std::string program = FindDialogProgram();
  if (program.empty()) return 1;

  const std::string kind = (style & 0xF0) == kMbIconExclamation ? "--warning" : "--info";
  const std::string title = "--title=" + narrowCaption;
  const std::string body = "--text=" + narrowText;
  char* argv[] = {const_cast<char*>(program.c_str()), const_cast<char*>(kind.c_str()),
                  const_cast<char*>("--no-markup"),    const_cast<char*>(title.c_str()),
                  const_cast<char*>(body.c_str()),     nullptr};
  pid_t pid = 0;
  if (::posix_spawn(&pid, program.c_str(), nullptr, nullptr, argv, environ) != 0) return 1;
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return 1;  // IDOK: the box has one button whatever the dialog answered
}

}  // namespace

int32_t PosixUserInterface::ShowMessageBox(const std::u16string& text, const std::optional<std::u16string>& caption,
                                           uint32_t style) {
  return ShowBox(text, caption.value_or(u"Error"), style);
}

int32_t PosixUserInterface::ShowMessageBoxIndirect(const std::u16string& text, const std::u16string& caption,
                                                   uint32_t style, uint16_t) {
  return ShowBox(text, caption, style);
}

}  // namespace platform
