#include "toolkit/install_report.h"

#include "app/vorn_app.h"
#include "gtest/gtest.h"
#include "toolkit/toolkit_test_support.h"

namespace {

// The rows where a slip is easy: the misspelt name, the two keys of an
// unknown error, the ends of both tables.
TEST(InstallReportTest, NamesAndMessageKeys) {
  struct Row { int32_t code; const char* name; const char* key; } rows[] = {
      {-10000, "KillProecessTimeout", "Vorn_Installer_CloseAntivirusNote"},
      {-9999, "FetchVersionFailed", "Vorn_Installer_FetchVersionFail"},
      {-9998, "DownloadPackageFailed", "Vorn_Installer_DownloadPackageFail"},
      {-9996, "UnzipPackageFailed", "Vorn_Installer_CloseAntivirusNote"},
      {-9990, "UpdateRegistryFailed", "Vorn_Installer_RetryNote"},
      {-1, "Unknown error", "Vorn_Installer_CloseAntivirusNote"},
      {-2, "Unknown error", "Vorn_Installer_RetryNote"},
      {-10001, "Unknown error", "Vorn_Installer_RetryNote"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.code);
    EXPECT_EQ(GetInstallErrorName(row.code), row.name);
    EXPECT_STREQ(GetInstallErrorMessageKey(row.code), row.key);
  }
  EXPECT_EQ(GetInstallStageName(0), "launch_downloader");
  EXPECT_EQ(GetInstallStageName(6), "unzip_package");
  EXPECT_EQ(GetInstallStageName(14), "install_canceled");
  EXPECT_EQ(GetInstallStageName(15), "unknown_stage");
}

class StageApp : public CVornApp {
 public:
  int32_t Run(const char16_t*) override { return 0; }
};

TEST(InstallReportTest, StageAndErrorReportsReachTheDelegate) {
  orvane_test::ReportRecorder recorder;
  StageApp app;
  app.SetInstallStage(15);
  EXPECT_EQ(app.GetInstallStage(), 15u);
  CVornApp::ReportInstallError(-9996, 5);
  CVornApp::ReportInstallError(-9990, -3);
  EXPECT_EQ(app.GetInstallStage(), 15u);
  ASSERT_EQ(recorder.reports.size(), 3u);
  EXPECT_EQ(recorder.reports[0], (EventReport{{"install_stage", "unknown_stage"}}));
  EXPECT_EQ(recorder.reports[1], (EventReport{{"error", "UnzipPackageFailed"}, {"last_error_code", "5"}}));
  EXPECT_EQ(recorder.reports[2], (EventReport{{"error", "UpdateRegistryFailed"}, {"last_error_code", "-3"}}));
}

}  // namespace
