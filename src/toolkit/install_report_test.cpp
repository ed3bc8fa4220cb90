#include "toolkit/install_report.h"

#include "app/vorn_app.h"
#include "gtest/gtest.h"
#include "toolkit/toolkit_test_support.h"

namespace {

TEST(InstallReportTest, ErrorNamesAndMessageKeys) {
  struct Row {
    int32_t code;
    const char* name;
    const char* key;
  } rows[] = {
      {-10000, "KillProecessTimeout", "Vorn_Installer_CloseAntivirusNote"},
      {-9999, "FetchVersionFailed", "Vorn_Installer_FetchVersionFail"},
      {-9998, "DownloadPackageFailed", "Vorn_Installer_DownloadPackageFail"},
      {-9997, "CheckPackageMd5Failed", "Vorn_Installer_CloseAntivirusNote"},
      {-9996, "UnzipPackageFailed", "Vorn_Installer_CloseAntivirusNote"},
      {-9995, "BackupOldAppDirFailed", "Vorn_Installer_RetryNote"},
      {-9994, "ReleaseUninstallerFailed", "Vorn_Installer_RetryNote"},
      {-9993, "ReleaseLauncherFailed", "Vorn_Installer_RetryNote"},
      {-9992, "UpdateLauncherIniFailed", "Vorn_Installer_RetryNote"},
      {-9991, "CreateShortcutFailed", "Vorn_Installer_RetryNote"},
      {-9990, "UpdateRegistryFailed", "Vorn_Installer_RetryNote"},
      {-1, "Unknown error", "Vorn_Installer_CloseAntivirusNote"},
      {-2, "Unknown error", "Vorn_Installer_RetryNote"},
      {-10001, "Unknown error", "Vorn_Installer_RetryNote"},
      {0, "Unknown error", "Vorn_Installer_RetryNote"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.code);
    EXPECT_EQ(GetInstallErrorName(row.code), row.name);
    EXPECT_STREQ(GetInstallErrorMessageKey(row.code), row.key);
  }
}

TEST(InstallReportTest, StageNames) {
  const char* const names[] = {"launch_downloader", "click_install",    "kill_process",        "fetch_version",
                               "download_package",  "check_package_md5", "unzip_package",       "backup_old_dir",
                               "release_uninstaller", "release_launcher", "update_ini",          "create_shortcut",
                               "update_registry",   "install_success",  "install_canceled"};
  for (uint32_t stage = 0; stage < 15; ++stage) EXPECT_EQ(GetInstallStageName(stage), names[stage]) << stage;
  EXPECT_EQ(GetInstallStageName(15), "unknown_stage");
  EXPECT_EQ(GetInstallStageName(0xFFFFFFFFu), "unknown_stage");
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
