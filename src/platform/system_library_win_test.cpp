// Functions looked up on first use come from the system directory's library
// and nowhere else, and a missing library or function is a failure with its
// own error code.
#include <gtest/gtest.h>

#include <windows.h>
#include <oleauto.h>

#include <cwctype>
#include <string>

#include "platform/system_library_win.h"

namespace platform::win {
namespace {

std::wstring Lower(std::wstring text) {
  for (wchar_t& c : text) c = static_cast<wchar_t>(std::towlower(c));
  return text;
}

std::wstring ModulePath(HMODULE module) {
  wchar_t path[MAX_PATH];
  const DWORD length = ::GetModuleFileNameW(module, path, MAX_PATH);
  return Lower(std::wstring(path, length));
}

std::wstring SystemPath(const wchar_t* name) {
  wchar_t directory[MAX_PATH];
  const UINT length = ::GetSystemDirectoryW(directory, MAX_PATH);
  return Lower(std::wstring(directory, length) + L"\\" + name);
}

TEST(SystemLibraryTest, LooksUpFromTheSystemDirectoryOrFailsWithItsReason) {
  const struct {
    const wchar_t* library;
    const char* name;
    DWORD error;  // 0: found
  } rows[] = {
      {L"wintrust.dll", "WinVerifyTrust", 0},
      {L"WINTRUST.DLL", "CryptCATAdminAcquireContext", 0},
      {L"bcrypt.dll", "BCryptOpenAlgorithmProvider", 0},
      {L"crypt32.dll", "CryptDecodeObjectEx", 0},
      {L"oleaut32.dll", "SysAllocString", 0},
      {L"version.dll", "VerQueryValueW", 0},
      {L"version.dll", "NoSuchExportOfVersion", ERROR_PROC_NOT_FOUND},
      {L"orvane_no_such_library.dll", "Anything", ERROR_MOD_NOT_FOUND},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ::SetLastError(0);
    const FARPROC proc = SystemProcAddress(row.library, row.name);
    if (row.error != 0) {
      EXPECT_EQ(proc, nullptr);
      EXPECT_EQ(::GetLastError(), row.error);
      continue;
    }
    ASSERT_NE(proc, nullptr);
    HMODULE owner = nullptr;
    ASSERT_TRUE(::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                     reinterpret_cast<LPCWSTR>(proc), &owner));
    EXPECT_EQ(ModulePath(owner), SystemPath(Lower(row.library).c_str()));
    EXPECT_EQ(proc, ::GetProcAddress(owner, row.name));
  }
}

// A library of the looked-up name in the working directory (where an
// attacker's download may sit beside the launcher) is never loaded, while
// the ordinary search does find it there.
TEST(SystemLibraryTest, ALibraryPlantedInTheWorkingDirectoryIsNotLoaded) {
  wchar_t temp[MAX_PATH];
  ASSERT_NE(::GetTempPathW(MAX_PATH, temp), 0u);
  const std::wstring dir = std::wstring(temp) + L"orvane_planted_" + std::to_wstring(::GetCurrentProcessId());
  ASSERT_TRUE(::CreateDirectoryW(dir.c_str(), nullptr) || ::GetLastError() == ERROR_ALREADY_EXISTS);
  const std::wstring planted = dir + L"\\orvane_planted.dll";
  ASSERT_TRUE(::CopyFileW(SystemPath(L"version.dll").c_str(), planted.c_str(), FALSE));
  wchar_t previous[MAX_PATH];
  ASSERT_NE(::GetCurrentDirectoryW(MAX_PATH, previous), 0u);
  ASSERT_TRUE(::SetCurrentDirectoryW(dir.c_str()));

  ::SetLastError(0);
  const FARPROC proc = SystemProcAddress(L"orvane_planted.dll", "VerQueryValueW");
  const DWORD error = ::GetLastError();
  HMODULE ordinary = ::LoadLibraryW(L"orvane_planted.dll");  // the control: the plain search finds it

  ::SetCurrentDirectoryW(previous);
  EXPECT_EQ(proc, nullptr);
  EXPECT_EQ(error, static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
  EXPECT_NE(ordinary, nullptr) << "the plain search did not find the planted copy: the row proves nothing";
  if (ordinary != nullptr) ::FreeLibrary(ordinary);
  ::DeleteFileW(planted.c_str());
  ::RemoveDirectoryW(dir.c_str());
}

// The macro's typed pointer is the same function, and a call through it works.
TEST(SystemLibraryTest, TheTypedLookupCallsTheSystemFunction) {
  auto* alloc = ORVANE_SYSTEM_PROC(L"oleaut32.dll", SysAllocString);
  auto* length = ORVANE_SYSTEM_PROC(L"oleaut32.dll", SysStringLen);
  auto* release = ORVANE_SYSTEM_PROC(L"oleaut32.dll", SysFreeString);
  ASSERT_TRUE(alloc != nullptr && length != nullptr && release != nullptr);
  EXPECT_EQ(reinterpret_cast<void*>(alloc), reinterpret_cast<void*>(SystemProcAddress(L"oleaut32.dll", "SysAllocString")));
  BSTR text = alloc(L"orvane");
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(length(text), 6u);
  release(text);
}

}  // namespace
}  // namespace platform::win
