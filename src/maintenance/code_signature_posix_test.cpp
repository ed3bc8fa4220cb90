#include <fstream>

#include "base/log_test_support.h"
#include "gtest/gtest.h"
#include "maintenance/code_signature.h"

namespace {

// Linux has no Authenticode: every file reads as Windows reads an unsigned one.
TEST(CodeSignaturePosixTest, EveryFileIsUnsigned) {
  orvane_test::TempDir temp;
  std::ofstream(temp.path() / "child.exe") << "MZ";
  std::u16string name;
  EXPECT_EQ(static_cast<uint32_t>(GetFileSignerName(temp.core() + u"\\child.exe", name)), 0x800B0100u);
  EXPECT_EQ(name, u"");
  EXPECT_EQ(VerifyEmbeddedSignature(temp.core() + u"\\child.exe"), 0);
  EXPECT_EQ(VerifyCatalogSignature(temp.core() + u"\\child.exe"), 0);
}

}  // namespace
