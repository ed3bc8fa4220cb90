// The shipped launcher as scripts/release-package leaves it, under Wine: as
// the update broker, the release signed with the product's own certificate
// starts children of that signer and no stranger's, and the unsigned release
// keeps to what its one-line warning says; the installer toolkit takes the
// release for the update task and refuses a launcher built below 6.1.0. The
// launchers and children were made for this run by
// tests/release/make_release_set.sh.
#include <string>

#include "e2e_support.h"
#include "gtest/gtest.h"
#include "toolkit/task_housekeeping.h"

namespace e2e {
namespace {

#ifdef _WIN32
TEST(Release, InstallersTakeTheReleaseAndRefuseAnOlderLauncher) {
  const fs::path set = ReleaseSetDir();
  ASSERT_FALSE(set.empty()) << "ORVANE_RELEASE_SET_DIR is not set: the release set was not made";
  const struct {
    const char* file;
    bool supported;
  } rows[] = {
      {"pem/Orvane.exe", true},
      {"unsigned/Orvane.exe", true},
      {"old-version.exe", false},  // built with version 6.0.9
  };
  for (const auto& row : rows) {
    ASSERT_TRUE(fs::exists(set / row.file)) << row.file;
    EXPECT_EQ(IsLauncherVersionSupported(Native16(set / row.file)), row.supported) << row.file;
  }
}

TEST(Release, TheBrokerAcceptsTheReleaseSignerAndRefusesOthers) {
  const fs::path set = ReleaseSetDir();
  ASSERT_FALSE(set.empty()) << "ORVANE_RELEASE_SET_DIR is not set: the release set was not made";
  ASSERT_TRUE(fs::exists(set / "pem" / "Orvane.exe")) << "the release set is missing in " << set;

  const struct {
    const char* release;  // <release>/Orvane.exe
    const char* child;    // probe-<child>.exe
    int32_t result;
    const char* logged;
  } rows[] = {
      // The launcher's own signer, in none of the fixed names: accepted as its own.
      {"pem", "own", 1, "run exe "},
      {"pem", "foreign", -14,
       "signatures is not match. cur is:Arvenna Systems Co., Ltd., exe is:Kestrel Foreign Software Ltd."},
      // What the unsigned release's warning says: the product's own signed programs are refused.
      // (Unsigned children and the fixed names are BrokerSigners.Matrix's rows.)
      {"unsigned", "own", -14, "signatures is not match. cur is:, exe is:Arvenna Systems Co., Ltd."},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    const auto& row = rows[i];
    SCOPED_TRACE(std::string("release ") + row.release + ", child " + row.child);
    Sandbox box("Release" + std::to_string(i));
    const fs::path child = box.InstallBrokerPair(set / row.release / "Orvane.exe",
                                                 set / (std::string("probe-") + row.child + ".exe"));

    const RunResult run = box.Run(box.root() / "Orvane.exe", BrokerSwitches(child) + " --wait-time-ms=20000");
    const LogView log(box.LogPath());
    EXPECT_TRUE(EndedWith(run, row.result)) << log.Dump();
    EXPECT_TRUE(LogHolds(log, row.logged)) << log.Dump();
    if (row.result == 1) {
      EXPECT_EQ(box.WaitForRecords(1).size(), 1u);
    } else {
      EXPECT_TRUE(box.Records().empty()) << "a refused child was started";
    }
  }
}
#endif

}  // namespace
}  // namespace e2e
