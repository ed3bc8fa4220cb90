// What an installer asks of the installed toolkit:
//
//   toolkit_consumer <archive.zip> <target directory>
//     unpacks the archive and prints each callback: "progress <code>" or
//     "error <code> <message>"; 0 when the extraction succeeded with progress
//     that never went back and ended at 100.
//   toolkit_consumer --find <install root> <main executable> <release file>
//     starts the executable (a probe that stays until the release file
//     appears), looks for the installation's running main executables, prints
//     "started <pid>" and "found <pid>" for each, and lets the probe go; 0 when
//     the started process was found.
//   toolkit_consumer --md5 <file>
//     prints "md5 <32 hex digits>"; 0 when the toolkit read the file.
//   toolkit_consumer --registry <key> <directory>   (Windows)
//     records the directory as the user's install location under
//     Software\<key>, reads it back with the toolkit, prints "installed <dir>"
//     and removes the key again; 0 when the toolkit read the directory.
//   toolkit_consumer --pin <lnk> <target>   (Windows)
//     writes the shortcut as the shell pins a running window: aimed at the
//     target, carrying the product's AppUserModelID; 0 when it was saved.
//   toolkit_consumer --read-shortcut <lnk>   (Windows)
//     prints "target <path>" as the toolkit reads it, and "appid <hr> <id>":
//     the property store's own answer for System.AppUserModel.ID and the ID
//     the toolkit read; 0 when a target was read.
//
// 1 for a failure, 2 for a wrong command line.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "layout/shortcuts.h"
#include "toolkit/file_md5.h"
#include "toolkit/install_location.h"
#include "toolkit/install_report.h"
#include "toolkit/process_finders.h"
#include "toolkit/shortcut_create.h"
#include "toolkit/zip_extract.h"

#ifdef _WIN32
#include <windows.h>
#include <propsys.h>
#include <shobjidl.h>
#else
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
extern char** environ;
#endif

namespace {

#ifdef _WIN32
using ArgChar = wchar_t;
std::u16string ToolkitPath(const ArgChar* arg) {
  return std::u16string(reinterpret_cast<const char16_t*>(arg));
}
#else
using ArgChar = char;
// The toolkit speaks Windows-form paths; the platform layer maps them back.
std::u16string ToolkitPath(const ArgChar* arg) {
  std::u16string path;
  for (const char* c = arg; *c != '\0'; ++c) path.push_back(*c == '/' ? u'\\' : static_cast<char16_t>(*c));
  return path;
}
#endif

std::string Narrow(const std::u16string& text) {
  std::string out;
  for (char16_t c : text) out.push_back(c < 0x80 ? static_cast<char>(c) : '?');
  return out;
}

// Starts the probe at `exe` holding until `release` exists; its process id, 0
// when it did not start.
uint32_t StartHeld(const ArgChar* exe, const ArgChar* release) {
#ifdef _WIN32
  ::SetEnvironmentVariableW(L"ORVANE_PROBE_HOLD", release);
  std::wstring line = L"\"" + std::wstring(exe) + L"\"";
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION info{};
  if (!::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &info)) return 0;
  ::CloseHandle(info.hThread);
  ::CloseHandle(info.hProcess);
  return info.dwProcessId;
#else
  ::setenv("ORVANE_PROBE_HOLD", release, 1);
  pid_t pid = 0;
  char* args[] = {const_cast<char*>(exe), nullptr};
  return ::posix_spawn(&pid, exe, nullptr, nullptr, args, environ) == 0 ? static_cast<uint32_t>(pid) : 0;
#endif
}

int FindInstallation(const ArgChar* root, const ArgChar* exe, const ArgChar* release) {
  const uint32_t pid = StartHeld(exe, release);
  std::printf("started %u\n", pid);
  CProductConfig config;
  config.exe_file_name = u"Orvane.exe";
  std::vector<CFoundProcess> found;
  CVornProcessFinder().Find(config, &found, ToolkitPath(root));
  for (const CFoundProcess& process : found) std::printf("found %u %s\n", process.processId, Narrow(process.path).c_str());
  // Let the probe go.
#ifdef _WIN32
  if (std::FILE* f = ::_wfopen(release, L"w")) std::fclose(f);
#else
  if (std::FILE* f = std::fopen(release, "w")) std::fclose(f);
#endif
#ifndef _WIN32
  if (pid != 0) ::waitpid(static_cast<pid_t>(pid), nullptr, 0);
#endif
  std::fflush(stdout);
  const bool listed = std::any_of(found.begin(), found.end(), [pid](const CFoundProcess& p) { return p.processId == pid; });
  return pid != 0 && listed ? 0 : 1;
}

#ifdef _WIN32
int ReadRegistryLocation(const wchar_t* key, const wchar_t* dir) {
  const std::wstring subKey = L"Software\\" + std::wstring(key);
  HKEY handle = nullptr;
  if (::RegCreateKeyExW(HKEY_CURRENT_USER, subKey.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, &handle, nullptr) !=
      ERROR_SUCCESS) {
    return 1;
  }
  ::RegSetValueExW(handle, L"InstallDir", 0, REG_SZ, reinterpret_cast<const BYTE*>(dir),
                   static_cast<DWORD>((std::wcslen(dir) + 1) * sizeof(wchar_t)));
  ::RegCloseKey(handle);
  CProductConfig config;
  config.product_info_key = ToolkitPath(key);
  const std::u16string installed = GetInstalledDir(config, kInstallScopeUser, false);
  ::RegDeleteKeyW(HKEY_CURRENT_USER, subKey.c_str());
  std::printf("installed %s\n", Narrow(installed).c_str());
  std::fflush(stdout);
  return installed == ToolkitPath(dir) + u"\\" ? 0 : 1;
}


int Pin(const wchar_t* lnk, const wchar_t* target) {
  CProductConfig config;
  config.product_info_key = u"Orvane";
  const std::u16string path = ToolkitPath(target);
  return Utils::CreateShortcut(ToolkitPath(lnk), path, u"", path.substr(0, path.rfind(u'\\') + 1),
                               Utils::GetProductAppUserModelId(config))
             ? 0
             : 1;
}

// System.AppUserModel.ID.
const PROPERTYKEY kAppUserModelId = {{0x9F4C2855, 0x9F79, 0x4B39, {0xA8, 0xD0, 0xE1, 0xD4, 0x2D, 0xE1, 0xD5, 0xF3}}, 5};

// The AppUserModelID as the shell link's property store answers for it,
// beside what the toolkit made of it.
int ReadPinned(const wchar_t* lnk) {
  CShortcutInfo info;
  const bool read = ReadShortcut(ToolkitPath(lnk), &info);
  HRESULT hr = E_FAIL;
  IShellLinkW* link = nullptr;
  if (SUCCEEDED(::CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                                   reinterpret_cast<void**>(&link)))) {
    IPersistFile* file = nullptr;
    IPropertyStore* store = nullptr;
    if (SUCCEEDED(link->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file))) &&
        SUCCEEDED(file->Load(lnk, STGM_READ)) &&
        SUCCEEDED(hr = link->QueryInterface(IID_IPropertyStore, reinterpret_cast<void**>(&store)))) {
      PROPVARIANT value;
      PropVariantInit(&value);
      hr = store->GetValue(kAppUserModelId, &value);
      PropVariantClear(&value);
      store->Release();
    }
    if (file != nullptr) file->Release();
    link->Release();
  }
  std::printf("target %s\nappid 0x%08lx %s\n", Narrow(info.exePath).c_str(), static_cast<unsigned long>(hr),
              Narrow(info.appUserModelId).c_str());
  std::fflush(stdout);
  return read ? 0 : 1;
}
#endif

int PrintMd5(const ArgChar* file) {
  std::u16string md5;
  if (!Utils::GetFileMd5(ToolkitPath(file), &md5)) return 1;
  std::printf("md5 %s\n", Narrow(md5).c_str());
  std::fflush(stdout);
  return 0;
}

int Run(int argc, ArgChar** argv) {
  const std::u16string mode = argc > 1 ? ToolkitPath(argv[1]) : u"";
  if (mode == u"--find" && argc == 5) return FindInstallation(argv[2], argv[3], argv[4]);
  if (mode == u"--md5" && argc == 3) return PrintMd5(argv[2]);
#ifdef _WIN32
  if (mode == u"--registry" && argc == 4) return ReadRegistryLocation(argv[2], argv[3]);
  if (mode == u"--pin" && argc == 4) return Pin(argv[2], argv[3]);
  if (mode == u"--read-shortcut" && argc == 3) return ReadPinned(argv[2]);
#endif
  if (argc != 3) {
    std::fprintf(stderr, "usage: toolkit_consumer <archive.zip> <target directory>\n"
                         "       toolkit_consumer --find <install root> <main executable> <release file>\n"
                         "       toolkit_consumer --md5 <file>\n"
                         "       toolkit_consumer --registry <key> <directory>\n"
                         "       toolkit_consumer --pin <lnk> <target>\n"
                         "       toolkit_consumer --read-shortcut <lnk>\n");
    return 2;
  }
  int32_t last = -1;
  bool backwards = false;
  const bool ok = ExtractZipFile(
      ToolkitPath(argv[1]), ToolkitPath(argv[2]),
      [&](int32_t code, const std::u16string& message) {
        if (message.empty()) {
          std::printf("progress %d\n", code);
          backwards = backwards || code < last;
          last = code;
        } else {
          // The installer's own name for the failure, where it is one of its
          // errors.
          const std::string name = GetInstallErrorName(code);
          std::printf("error %d %s%s\n", code, Narrow(message).c_str(),
                      name == "Unknown error" ? "" : (" [" + name + "]").c_str());
        }
      },
      0, 100);
  std::fflush(stdout);
  return ok && !backwards && last == 100 ? 0 : 1;
}

}  // namespace

#ifdef _WIN32
int wmain(int argc, wchar_t** argv) {
  // The shell-link calls expect COM on this thread, as an installer's entry provides it.
  ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  return Run(argc, argv);
}
#else
int main(int argc, char** argv) { return Run(argc, argv); }
#endif
