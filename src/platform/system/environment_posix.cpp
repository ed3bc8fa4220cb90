// The process's own module, environment and identity on Linux.
#include <pwd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/posix_translation.h"
#include "platform/system/environment.h"
#include "platform/text/unicode.h"

extern char** environ;

namespace platform {

class PosixEnvironment final : public Environment {
 public:
  std::u16string ModuleFilePath() override;
  bool GetEnv(const std::u16string& name, std::u16string* value) override;
  bool SetEnv(const std::u16string& name, const std::u16string* value) override;
  uint32_t ProcessId() override;
  uint32_t ThreadId() override;
  std::u16string CurrentDirectory() override;
  void WriteStdout(const std::string& text) override;
};

template <>
Environment& NativeService<Environment>() {
  static PosixEnvironment instance;
  return instance;
}

namespace {

std::string HomeDirectory() {
  if (const char* home = std::getenv("HOME"); home != nullptr && home[0] == '/') return home;
  struct passwd pw;
  struct passwd* found = nullptr;
  char buffer[4096];
  if (::getpwuid_r(::getuid(), &pw, buffer, sizeof(buffer), &found) == 0 && found != nullptr) return pw.pw_dir;
  return "/tmp";
}

// The XDG base directory `xdgName`, or `fallback` below the home directory.
std::string XdgDirectory(const char* xdgName, const char* fallback) {
  const char* value = std::getenv(xdgName);
  if (value != nullptr && value[0] == '/') return value;
  return HomeDirectory() + fallback;
}

// Looks a variable up as Windows does: exactly first, then without regard
// to ASCII case.
const char* FindVariable(const std::string& name) {
  if (const char* value = std::getenv(name.c_str())) return value;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    const char* equals = std::strchr(*entry, '=');
    if (equals == nullptr) continue;
    if (posix::EqualsIgnoreAsciiCase(std::string(static_cast<const char*>(*entry), equals), name)) return equals + 1;
  }
  return nullptr;
}

}  // namespace

std::u16string PosixEnvironment::ModuleFilePath() {
  std::string path(256, '\0');
  while (true) {
    const ssize_t n = ::readlink("/proc/self/exe", &path[0], path.size());
    if (n < 0) {
      posix::SetError(posix::MapErrno(errno));
      return std::u16string();
    }
    if (static_cast<size_t>(n) < path.size()) {
      path.resize(static_cast<size_t>(n));
      break;
    }
    path.resize(path.size() * 2);
  }
  posix::SetError(kErrorSuccess);
  return posix::FromPosixPath(path);
}

bool PosixEnvironment::GetEnv(const std::u16string& name, std::u16string* value) {
  const std::string narrowName = Utf16ToUtf8(name);
  std::string text;
  if (const char* found = FindVariable(narrowName)) {
    text = found;
  } else if (posix::EqualsIgnoreAsciiCase(narrowName, std::string("LOCALAPPDATA"))) {
    text = XdgDirectory("XDG_DATA_HOME", "/.local/share");
  } else if (posix::EqualsIgnoreAsciiCase(narrowName, std::string("APPDATA"))) {
    text = XdgDirectory("XDG_CONFIG_HOME", "/.config");
  } else {
    posix::SetError(posix::kErrorEnvvarNotFound);
    return false;
  }
  *value = !text.empty() && text[0] == '/' ? posix::FromPosixPath(text) : Utf8ToUtf16(text);
  posix::SetError(kErrorSuccess);
  return true;
}

bool PosixEnvironment::SetEnv(const std::u16string& name, const std::u16string* value) {
  const std::string narrowName = Utf16ToUtf8(name);
  if (narrowName.empty() || narrowName.find('=') != std::string::npos) {
    posix::SetError(kErrorInvalidParameter);
    return false;
  }
  int rc;
  if (value == nullptr) {
    rc = ::unsetenv(narrowName.c_str());
  } else {
    // An absolute path in Windows form goes to children in POSIX form.
    std::u16string v = *value;
    if (!v.empty() && v[0] == u'\\') {
      for (char16_t& c : v) {
        if (c == u'\\') c = u'/';
      }
    }
    rc = ::setenv(narrowName.c_str(), Utf16ToUtf8(v).c_str(), 1);
  }
  if (rc != 0) {
    posix::SetError(posix::MapErrno(errno));
    return false;
  }
  posix::SetError(kErrorSuccess);
  return true;
}

uint32_t PosixEnvironment::ProcessId() { return static_cast<uint32_t>(::getpid()); }

uint32_t PosixEnvironment::ThreadId() { return static_cast<uint32_t>(::syscall(SYS_gettid)); }

std::u16string PosixEnvironment::CurrentDirectory() {
  std::string path(256, '\0');
  while (::getcwd(&path[0], path.size()) == nullptr) {
    if (errno != ERANGE) {
      posix::SetError(posix::MapErrno(errno));
      return std::u16string();
    }
    path.resize(path.size() * 2);
  }
  path.resize(std::strlen(path.c_str()));
  posix::SetError(kErrorSuccess);
  return posix::FromPosixPath(path);
}

void PosixEnvironment::WriteStdout(const std::string& text) {
  size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = ::write(STDOUT_FILENO, text.data() + done, text.size() - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      return;
    }
    done += static_cast<size_t>(n);
  }
}

}  // namespace platform
