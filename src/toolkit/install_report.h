// The installer's numbered stages and errors: their names for reports and
// the localised key of the message a user sees. The reports themselves are
// methods of CVornApp (SetInstallStage, ReportInstallError).
#pragma once

#include <cstdint>
#include <string>

#include "toolkit/event_reporter.h"

enum InstallError : int32_t {
  kInstallErrorKillProcessTimeout = -10000,
  kInstallErrorFetchVersionFailed = -9999,
  kInstallErrorDownloadPackageFailed = -9998,
  kInstallErrorCheckPackageMd5Failed = -9997,
  kInstallErrorUnzipPackageFailed = -9996,
  kInstallErrorBackupOldAppDirFailed = -9995,
  kInstallErrorReleaseUninstallerFailed = -9994,
  kInstallErrorReleaseLauncherFailed = -9993,
  kInstallErrorUpdateLauncherIniFailed = -9992,
  kInstallErrorCreateShortcutFailed = -9991,
  kInstallErrorUpdateRegistryFailed = -9990,
};

// "UnzipPackageFailed" for -9996, "Unknown error" outside the table.
std::string GetInstallErrorName(int32_t code);

// "unzip_package" for 6, "unknown_stage" outside the table.
std::string GetInstallStageName(uint32_t stage);

// The localised key of the user's message for `code`.
const char* GetInstallErrorMessageKey(int32_t code);

// The report maps handed to the event reporter.
EventReport MakeStageReport(uint32_t stage);
EventReport MakeErrorReport(int32_t code, int32_t lastErrorCode);
