// The file the elevated scheduled task runs. The task runs with the highest
// rights of its user, so it may only name a file that the administrators
// alone can change: the launcher itself when its install root is such a
// place (a per-machine install), otherwise the launcher's copy in the
// administrators-only directory of layout/task_launcher_path.h, made or
// refreshed here by the elevated registration.
#pragma once

#include <cstdint>
#include <string>

#include "base/product_config.h"

// Decides the task's executable for the launcher at `launcherPath` and makes
// the copy when one is needed:
//  - the launcher, its directory and every directory above pass
//    IsAdministratorsOnlyFile: the launcher's own path, nothing copied;
//  - otherwise the copy's directory levels that are missing are created with
//    the protected access list, and the directory must then pass the check;
//  - a copy already there whose version is higher than the launcher's is
//    kept; otherwise the launcher is copied beside it and moved into its
//    place, never leaving a half-written file under the copy's name;
//  - when that fails (a running copy, typically), a copy in place that is not
//    older than the launcher is kept.
// 0 with *taskExePath set, or the HRESULT of the step that failed (logged,
// naming the step); the task must then name nothing.
int32_t PrepareTaskLauncher(const CProductConfig& config, const std::u16string& launcherPath,
                            std::u16string* taskExePath);

// ProductVersion of an executable's version record, read under the record's
// first translation. False when the file has no record or no such string.
bool ReadProductVersion(const std::u16string& path, std::u16string* version);

// HRESULT_FROM_WIN32; 0 stays 0.
int32_t HresultFromWin32(uint32_t error);
