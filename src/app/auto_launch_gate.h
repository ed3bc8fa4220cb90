// The gate between launcher processes: the probe for an update in progress,
// the single-instance mutex, and the wake-up semaphore of a delayed
// automatic start.
#pragma once

#include <string>

#include "platform/types.h"

// Held by the application's updater while it works; the launcher only probes it.
inline constexpr char16_t kUpdateMutexName[] = u"Global\\75D6C22E-157E-48E7-A43A-F614F589B522";
// Held by the first launcher of a logon for the life of its process.
inline constexpr char16_t kSingleInstanceMutexName[] = u"{EEABAECE-A354-44D6-9B0E-819BFB3D66D9}";
// Waited on by a launcher in its start delay, released by a second launcher.
inline constexpr char16_t kAutoLaunchSemaphoreName[] = u"{D2803213-8F84-47FD-8B7A-5E01ECF1CE7F}";

// Scoped holder of one named mutex, created with initial ownership. Valid
// only when this process created the mutex and so owns it.
class CSingleInstance {
 public:
  explicit CSingleInstance(const std::u16string& name);
  ~CSingleInstance();
  CSingleInstance(const CSingleInstance&) = delete;
  CSingleInstance& operator=(const CSingleInstance&) = delete;

  bool IsValid() const { return m_handle != nullptr; }
  void Close();

 private:
  platform::Handle m_handle = nullptr;
};

// Tests only: drops the gate's single-instance holder (closing its handle on
// the current platform), so that the next gate claims the mutex afresh.
void ResetAutoLaunchGateForTesting();
