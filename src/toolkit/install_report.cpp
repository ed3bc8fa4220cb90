#include "toolkit/install_report.h"

#include "app/vorn_app.h"
#include "base/localized_strings.h"

namespace {

struct ErrorRow {
  int32_t code;
  const char* name;
  const char* key;
};

const ErrorRow kErrors[] = {
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
};

const char* const kStages[] = {
    "launch_downloader", "click_install",       "kill_process",     "fetch_version", "download_package",
    "check_package_md5", "unzip_package",       "backup_old_dir",   "release_uninstaller",
    "release_launcher",  "update_ini",          "create_shortcut",  "update_registry",
    "install_success",   "install_canceled",
};

const ErrorRow* FindError(int32_t code) {
  for (const ErrorRow& row : kErrors) {
    if (row.code == code) return &row;
  }
  return nullptr;
}

}  // namespace

std::string GetInstallErrorName(int32_t code) {
  const ErrorRow* row = FindError(code);
  return row != nullptr ? row->name : "Unknown error";
}

std::string GetInstallStageName(uint32_t stage) {
  return stage < sizeof kStages / sizeof kStages[0] ? kStages[stage] : "unknown_stage";
}

const char* GetInstallErrorMessageKey(int32_t code) {
  const ErrorRow* row = FindError(code);
  return row != nullptr ? row->key : "Vorn_Installer_RetryNote";
}

EventReport MakeStageReport(uint32_t stage) { return EventReport{{"install_stage", GetInstallStageName(stage)}}; }

EventReport MakeErrorReport(int32_t code, int32_t lastErrorCode) {
  return EventReport{{"error", GetInstallErrorName(code)}, {"last_error_code", std::to_string(lastErrorCode)}};
}

EventReporter& EventReporter::GetInstance() {
  static EventReporter instance;
  return instance;
}

void EventReporter::SetDelegate(std::unique_ptr<EventReporterDelegate> delegate) {
  if (delegate_ != nullptr) delegate_->OnShutdown();
  delegate_ = std::move(delegate);
}

std::u16string CVornApp::GetInstallErrorMessage(int32_t code) const {
  return GetLocalizedString(GetInstallErrorMessageKey(code));
}

void CVornApp::ReportInstallError(int32_t code, int32_t lastErrorCode) {
  EventReport report = MakeErrorReport(code, lastErrorCode);
  EventReporter::GetInstance().Report(report);
}

void CVornApp::SetInstallStage(uint32_t stage) {
  m_installStageAtomic.exchange(stage, std::memory_order_seq_cst);
  EventReport report = MakeStageReport(stage);
  EventReporter::GetInstance().Report(report);
}

uint32_t CVornApp::GetInstallStage() const { return m_installStageAtomic.load(std::memory_order_seq_cst); }
