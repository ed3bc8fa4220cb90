// Registry probes against the system's registry (under Wine, Wine's own):
// keys made in one view are found in the views that hold them.
#include <windows.h>

#include <string>

#include "gtest/gtest.h"
#include "toolkit/registry_probes.h"

namespace {

std::wstring Unique(const wchar_t* stem) { return stem + std::to_wstring(::GetCurrentProcessId()); }

std::u16string U16(const std::wstring& text) { return std::u16string(text.begin(), text.end()); }

// Makes hive\path in one view; false when the registry refuses.
bool MakeKey(HKEY hive, const std::wstring& path, REGSAM view) {
  HKEY key = nullptr;
  if (::RegCreateKeyExW(hive, path.c_str(), 0, nullptr, 0, KEY_WRITE | view, nullptr, &key, nullptr) != ERROR_SUCCESS) {
    return false;
  }
  ::RegCloseKey(key);
  return true;
}

TEST(RegistryProbesWinTest, WinesViews) {
  const std::wstring user = L"Software\\" + Unique(L"OrvaneProbeUser");
  const std::wstring machine32 = L"Software\\" + Unique(L"OrvaneProbe32_");
  const std::wstring machine64 = L"Software\\" + Unique(L"OrvaneProbe64_");
  ASSERT_TRUE(MakeKey(HKEY_CURRENT_USER, user, KEY_WOW64_64KEY));
  ASSERT_TRUE(MakeKey(HKEY_LOCAL_MACHINE, machine32, KEY_WOW64_32KEY));
  ASSERT_TRUE(MakeKey(HKEY_LOCAL_MACHINE, machine64, KEY_WOW64_64KEY));

  // The user's Software key is one key in both views; the machine's is not.
  EXPECT_EQ(Utils::ProbeRegistryKey(u"HKCU\\" + U16(user)), kRegistryView64 | kRegistryView32);
  EXPECT_EQ(Utils::ProbeRegistryKey(u"HKEY_LOCAL_MACHINE\\" + U16(machine32)), kRegistryView32);
  EXPECT_EQ(Utils::ProbeRegistryKey(u"hklm\\" + U16(machine64)), kRegistryView64);
  EXPECT_EQ(Utils::ProbeRegistryKey(u"HKLM\\Software\\" + U16(Unique(L"OrvaneProbeNone"))), 0u);

  ::RegDeleteKeyExW(HKEY_CURRENT_USER, user.c_str(), KEY_WOW64_64KEY, 0);
  ::RegDeleteKeyExW(HKEY_LOCAL_MACHINE, machine32.c_str(), KEY_WOW64_32KEY, 0);
  ::RegDeleteKeyExW(HKEY_LOCAL_MACHINE, machine64.c_str(), KEY_WOW64_64KEY, 0);
  EXPECT_EQ(Utils::ProbeRegistryKey(u"HKLM\\" + U16(machine32)), 0u);
}

}  // namespace
