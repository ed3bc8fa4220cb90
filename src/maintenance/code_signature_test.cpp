#include "maintenance/code_signature.h"

#include <string>
#include <vector>

#include "base/log_test_support.h"
#include "gtest/gtest.h"
#include "platform/code_trust/fake_code_trust.h"
#include "platform/system/fake_system_libraries.h"
#include "toolkit/toolkit_test_support.h"

namespace {

using platform::FakeCodeTrust;
using orvane_test::LinePrefix;

constexpr char16_t kExe[] = u"C:\\Program Files\\Orvane\\app\\Orvane.exe";
constexpr int32_t kNoSignature = static_cast<int32_t>(platform::kTrustNoSignature);
constexpr int32_t kBadDigest = static_cast<int32_t>(platform::kTrustBadDigest);
constexpr int32_t kUntrustedRoot = static_cast<int32_t>(0x800B0109u);

class CodeSignatureTest : public orvane_test::OpenLogTest {
 protected:
  // The log lines after the banner, without their prefixes.
  std::vector<std::string> Messages() {
    std::vector<std::string> messages;
    for (const std::string& line : LogLines()) {
      if (line.empty() || line.find(orvane_test::kBanner) != std::string::npos) continue;
      messages.push_back(line.substr(LinePrefix("ERRO").size()));
    }
    return messages;
  }
  FakeCodeTrust trust;
};

// A good signature by the accepted signer after `change`, such as a link of
// its walk to the leaf certificate taken away.
FakeCodeTrust::Signature Changed(void (*change)(FakeCodeTrust::Signature&)) {
  FakeCodeTrust::Signature signature = FakeCodeTrust::Signed(u"Corvel Data Co., Ltd.");
  change(signature);
  return signature;
}

TEST_F(CodeSignatureTest, SignerNameFollowsStatusAndEveryLinkToTheLeaf) {
  using S = FakeCodeTrust::Signature;
  const std::u16string longName(510, u'n');
  struct Row {  // name: u"keep" when the output is left alone
    const char* what; S signature; int32_t status; std::u16string name; std::vector<std::string> messages;
  };
  const std::vector<Row> rows = {
      {"good", FakeCodeTrust::Signed(u"Corvel Data Co., Ltd."), 0, u"Corvel Data Co., Ltd.", {}},
      {"unsigned", S(), kNoSignature, u"keep", {"WinVerifyTrust failed, error:-2146762496"}},
      {"bad digest still names the signer", FakeCodeTrust::Signed(u"Vorn Technologies Pte. Ltd.", kBadDigest),
       kBadDigest, u"Vorn Technologies Pte. Ltd.",
       {"WinVerifyTrust failed, error:-2146869232", "WinVerifyTrust invalid name:Vorn Technologies Pte. Ltd."}},
      {"untrusted root", FakeCodeTrust::Signed(u"Foreign", kUntrustedRoot), kUntrustedRoot, u"Foreign",
       {"WinVerifyTrust failed, error:-2146762487", "WinVerifyTrust invalid name:Foreign"}},
      {"510 characters fit", FakeCodeTrust::Signed(longName), 0, longName, {}},
      {"511 characters do not", FakeCodeTrust::Signed(longName + u"x"), 0, u"keep", {}},
      {"count 0", Changed([](S& s) { s.nameCountOverride = 0; }), 0, u"keep", {}},
      {"count 512", Changed([](S& s) { s.nameCountOverride = 512; }), 0, u"keep", {}},
      {"no provider data", Changed([](S& s) { s.path.providerData = false; }), 0, u"keep", {}},
      {"no signers counted", Changed([](S& s) { s.path.signerCount = 0; }), 0, u"keep", {}},
      {"no signer array", Changed([](S& s) { s.path.signers = false; }), 0, u"keep", {}},
      {"no chain context", Changed([](S& s) { s.path.chainContext = false; }), 0, u"keep", {}},
      {"no chains counted", Changed([](S& s) { s.path.chainCount = 0; }), 0, u"keep", {}},
      {"no simple chain", Changed([](S& s) { s.path.simpleChain = false; }), 0, u"keep", {}},
      {"no elements counted", Changed([](S& s) { s.path.elementCount = 0; }), 0, u"keep", {}},
      {"no element", Changed([](S& s) { s.path.element = false; }), 0, u"keep", {}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    ReopenLog();
    trust.calls.clear();
    trust.files[kExe] = row.signature;
    std::u16string name = u"keep";
    EXPECT_EQ(GetFileSignerName(kExe, name), row.status);
    EXPECT_EQ(name, row.name);
    EXPECT_EQ(Messages(), row.messages);
    EXPECT_EQ(trust.CallCount("CloseVerifyState"), 1u);
  }
}

TEST_F(CodeSignatureTest, AnExceptionAnswersOneAndSkipsTheClose) {
  trust.files[kExe] = FakeCodeTrust::Signed(u"Corvel Data Co., Ltd.");
  for (const char* op : {"VerifyFileKeepState", "SignerPathOf", "CertSimpleDisplayName"}) {
    SCOPED_TRACE(op);
    trust.calls.clear();
    trust.throwOn = op;
    std::u16string name;
    EXPECT_EQ(GetFileSignerName(kExe, name), 1);
    EXPECT_EQ(name, u"");
    EXPECT_EQ(trust.CallCount("CloseVerifyState"), 0u);
  }
}

TEST_F(CodeSignatureTest, EmbeddedCheckIsYesOnlyForStatusZero) {
  trust.embedded[kExe] = 0;
  trust.embedded[u"C:\\bad.dll"] = kBadDigest;
  EXPECT_EQ(VerifyEmbeddedSignature(kExe), 1);
  EXPECT_EQ(VerifyEmbeddedSignature(u"C:\\bad.dll"), 0);
  EXPECT_EQ(VerifyEmbeddedSignature(u"C:\\unsigned.dll"), 0);
  trust.calls.clear();
  EXPECT_EQ(VerifyEmbeddedSignature(u""), 0);
  EXPECT_TRUE(trust.calls.empty());
  trust.throwOn = "VerifyFileEmbedded";
  EXPECT_EQ(VerifyEmbeddedSignature(kExe), 0);
}

constexpr char16_t kDll[] = u"C:\\Windows\\System32\\ntdll.dll";

FakeCodeTrust::Catalog Vouching(const std::u16string& file) { return {file, true, 0}; }
FakeCodeTrust::Catalog Refusing(const std::u16string& file) { return {file, true, kNoSignature}; }

TEST_F(CodeSignatureTest, CatalogCheckTriesAtMostFiveCatalogsInOrder) {
  struct Row {  // verified: member verifications made
    const char* what; std::vector<FakeCodeTrust::Catalog> catalogs; int32_t answer; size_t verified;
  };
  const std::vector<Row> rows = {
      {"no catalog holds the hash", {}, 0, 0},
      {"the first vouches", {Vouching(u"C:\\Windows\\catroot\\nt5.cat"), Refusing(u"b.cat")}, 1, 1},
      {"the third vouches", {Refusing(u"a.cat"), Refusing(u"b.cat"), Vouching(u"c.cat")}, 1, 3},
      {"an unreadable catalog is passed over",
       {{u"a.cat", false, 0}, Vouching(u"b.cat")}, 1, 1},
      {"the fifth vouches",
       {Refusing(u"1.cat"), Refusing(u"2.cat"), Refusing(u"3.cat"), Refusing(u"4.cat"), Vouching(u"5.cat")}, 1, 5},
      {"the sixth is never tried",
       {Refusing(u"1.cat"), Refusing(u"2.cat"), Refusing(u"3.cat"), Refusing(u"4.cat"), Refusing(u"5.cat"),
        Vouching(u"6.cat")},
       0, 5},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    FakeCodeTrust fresh;
    fresh.catalogs = row.catalogs;
    EXPECT_EQ(VerifyCatalogSignature(kDll), row.answer);
    // Each member is tagged by the full path and named by the bare name, in
    // the catalogs that could be read, in order.
    std::vector<std::u16string> tried, readable;
    for (const auto& call : fresh.memberCalls) {
      tried.push_back(call.catalogFile);
      EXPECT_EQ(call.memberTag + u"|" + call.memberFilePath, std::u16string(kDll) + u"|ntdll.dll");
      EXPECT_EQ(call.hashSize, 20u);
    }
    for (const auto& catalog : row.catalogs) {
      if (catalog.infoOk && readable.size() < row.verified) readable.push_back(catalog.file);
    }
    EXPECT_EQ(tried, readable);
    // Every catalog and context handed out goes back; the member handle stays open.
    EXPECT_EQ(std::make_tuple(fresh.heldCatalogs, fresh.heldAdmins, fresh.openHandles), std::make_tuple(0, 0, 1));
  }
}

TEST_F(CodeSignatureTest, CatalogCheckFailuresAnswerNoAndReleaseTheContext) {
  struct Row { const char* what; bool acquireFails; int openFailsOnCall; const char* throwOn; int heldAdmins; };
  const std::vector<Row> rows = {
      {"context refused", true, 0, "", 0},
      {"file cannot be opened for the hash", false, 1, "", 0},
      {"file cannot be opened for the member", false, 2, "", 0},
      // An exception leaves whatever it was holding.
      {"exception", false, 0, "NextCatalogForHash", 1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    FakeCodeTrust fresh;
    fresh.catalogs = {Vouching(u"a.cat")};
    fresh.acquireFails = row.acquireFails;
    fresh.openFailsOnCall = row.openFailsOnCall;
    fresh.throwOn = row.throwOn;
    EXPECT_EQ(VerifyCatalogSignature(kDll), 0);
    EXPECT_EQ(fresh.heldAdmins, row.heldAdmins);
    EXPECT_EQ(fresh.CallCount("VerifyCatalogMember"), 0u);
  }
  FakeCodeTrust untouched;
  EXPECT_EQ(VerifyCatalogSignature(u""), 0);
  EXPECT_TRUE(untouched.calls.empty());
}

TEST_F(CodeSignatureTest, SystemLibraryLoadsOnlyFromSystem32WithATrustedSignature) {
  struct Row { const char* what; bool windowsDir; bool embedded; bool catalog; bool loaded; };
  const std::vector<Row> rows = {
      {"embedded signature", true, true, false, true},
      {"catalog signature only", true, false, true, true},
      {"no signature", true, false, false, false},
      {"no Windows directory", false, true, true, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    ReopenLog();
    FakeCodeTrust fresh;
    platform::FakeSystemLibraries libraries;
    libraries.hasWindowsDirectory = row.windowsDir;
    if (row.embedded) fresh.embedded[kDll] = 0;
    if (row.catalog) fresh.catalogs = {Vouching(u"nt5.cat")};
    const platform::Module module = Utils::LoadMicrosoftSystem32Dll(u"ntdll.dll");
    EXPECT_EQ(module != nullptr, row.loaded);
    EXPECT_EQ(libraries.loaded, row.loaded ? std::vector<std::u16string>{kDll} : std::vector<std::u16string>{});
    // The catalog is asked only when the embedded check said no.
    EXPECT_EQ(fresh.CallCount("AcquireCatalogAdmin"), row.windowsDir && !row.embedded ? 1u : 0u);
    // (Where the log encoder fails, as under Wine, it adds a line of its own.)
    size_t notSigned = 0;
    for (const std::string& message : Messages()) {
      notSigned += message.rfind("Utils::LoadMicrosoftSystem32Dll, dll ", 0) == 0 ? 1 : 0;
    }
    EXPECT_EQ(notSigned, row.loaded ? 0u : 1u);
  }
}

TEST_F(CodeSignatureTest, VersionQueryIsGoodForOneUse) {
  struct Row { const char* what; bool module; bool found; uint32_t major; int32_t answer; };
  const std::vector<Row> rows = {
      {"Windows 10", true, true, 10, 1},
      {"Vista", true, true, 6, 1},
      {"XP", true, true, 5, 0},
      {"function not found", true, false, 10, 0},
      {"library not loaded", false, true, 10, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    platform::FakeSystemLibraries libraries;
    libraries.versionFunctionFound = row.found;
    libraries.major = row.major;
    platform::Module ntdll = row.module ? libraries.LoadLibraryPath(kDll) : nullptr;
    EXPECT_EQ(QueryVistaOrLater(ntdll), row.answer);
    EXPECT_EQ(ntdll, nullptr);
    EXPECT_EQ(QueryVistaOrLater(ntdll), 0) << "a second use finds no module";
    EXPECT_EQ(libraries.versionQueries, row.module ? 1u : 0u);
  }
}

}  // namespace
