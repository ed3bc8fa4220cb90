// Process exit codes of the launcher: Run's value, stable interface for the
// scheduled task, installers and the shell. Numbers that are not listed
// (-5, -7 to -10, -17) are retired or free and are never to be filled.
#pragma once

#include <cstdint>

enum LauncherExitCode : int32_t {
  kExitSuccess = 0,
  kExitUpdateChildOk = 1,          // run_update: child started, not waited for or ended with 0
  kExitFailure = -1,               // run_uninstall failed; log start (does not arise)
  kExitConfigFailed = -2,          // config resource unreadable or invalid
  kExitLocaleFailed = -3,          // locale resource unreadable or unparsable
  kExitLaunchFailed = -4,          // main executable not found or not started
  kExitNotAdmin = -6,              // run_update / rebuild_taskschedule without rights
  kExitUpdating = -11,             // an update holds the update mutex
  kExitUnknownRunType = -12,       // run_update: unknown run-type
  kExitSignatureError = -13,       // run_update: signature error
  kExitSignerNotAccepted = -14,    // run_update: signer not accepted
  kExitStartChildFailed = -15,     // run_update: child could not be started
  kExitOtherInstance = -16,        // another launcher holds the single-instance mutex
  kExitWaitFailed = -18,           // waiting on the auto-launch semaphore failed
  kExitAppAlreadyRunning = -19,    // after the delay the application runs already
};
