#include "setup_process.h"

#include "setup_paths.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <errno.h>
#include <spawn.h>
#include <sys/wait.h>
extern char** environ;
#endif

namespace setup {

#ifdef _WIN32
namespace {
// One argument as CommandLineToArgvW reads it back.
std::wstring Quote(const std::wstring& arg) {
  if (!arg.empty() && arg.find_first_of(L" \t\"") == std::wstring::npos) return arg;
  std::wstring out = L"\"";
  size_t slashes = 0;
  for (wchar_t c : arg) {
    if (c == L'\\') {
      ++slashes;
      continue;
    }
    out.append(c == L'"' ? slashes * 2 + 1 : slashes, L'\\');
    slashes = 0;
    out.push_back(c);
  }
  out.append(slashes * 2, L'\\');
  return out + L"\"";
}
}  // namespace

bool RunAndWait(const std::filesystem::path& program, const std::vector<std::u16string>& args, uint32_t* exitCode) {
  std::wstring line = Quote(program.wstring());
  for (const std::u16string& arg : args) line += L" " + Quote(std::wstring(arg.begin(), arg.end()));
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION info{};
  if (!::CreateProcessW(program.wstring().c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &info)) {
    return false;
  }
  ::WaitForSingleObject(info.hProcess, INFINITE);
  DWORD code = 0;
  ::GetExitCodeProcess(info.hProcess, &code);
  ::CloseHandle(info.hThread);
  ::CloseHandle(info.hProcess);
  *exitCode = code;
  return true;
}
#else
bool RunAndWait(const std::filesystem::path& program, const std::vector<std::u16string>& args, uint32_t* exitCode) {
  std::vector<std::string> texts{program.string()};
  for (const std::u16string& arg : args) texts.push_back(ToUtf8(arg));
  std::vector<char*> argv;
  for (std::string& text : texts) argv.push_back(text.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  if (::posix_spawn(&pid, texts[0].c_str(), nullptr, nullptr, argv.data(), environ) != 0) return false;
  int status = 0;
  pid_t waited;
  do {
    waited = ::waitpid(pid, &status, 0);
  } while (waited < 0 && errno == EINTR);
  if (waited < 0) return false;
  *exitCode = WIFEXITED(status) ? static_cast<uint32_t>(WEXITSTATUS(status)) : 255u;
  return true;
}
#endif

}  // namespace setup
