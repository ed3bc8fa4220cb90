#include <windows.h>

#include <string>

#include "gtest/gtest.h"
#include "maintenance/code_signature.h"

namespace {

std::u16string OwnPath() {
  wchar_t buffer[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, buffer, MAX_PATH);
  return std::u16string(reinterpret_cast<const char16_t*>(buffer));
}

// The test program itself bears no signature; the real trust provider must
// say so and hand out no name. (Signed files are proven end to end.)
TEST(CodeSignatureWinTest, UnsignedAndMissingFilesYieldNoName) {
  std::u16string name;
  EXPECT_EQ(static_cast<uint32_t>(GetFileSignerName(OwnPath(), name)), 0x800B0100u);
  EXPECT_EQ(name, u"");
  EXPECT_EQ(VerifyEmbeddedSignature(OwnPath()), 0);

  std::u16string missing = OwnPath() + u".missing";
  EXPECT_NE(GetFileSignerName(missing, name), 0);
  EXPECT_EQ(name, u"");
}

}  // namespace
