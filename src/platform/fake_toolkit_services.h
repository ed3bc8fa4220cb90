// Fakes of the services that the toolkit's utilities use: hashing, the
// shell's notification and registry views. Each installs itself for its
// lifetime and records its calls.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/hashing.h"
#include "platform/registry_views.h"
#include "platform/shell_notify.h"

namespace platform {

// Passes every call to the native backend (real digests), records the size
// of every HashData call and counts the handles not yet released; a step
// named in `failures` ("OpenMd5Provider", "CreateHash", "HashData",
// "FinishHash") answers its status instead, without reaching the backend.
class FakeHashing final : public Hashing {
 public:
  FakeHashing();
  std::map<std::string, int32_t> failures;
  std::vector<uint32_t> dataSizes;  // every HashData call's size, in order
  int liveHandles = 0;              // providers and hashes opened and not yet released

  int32_t OpenMd5Provider(CryptoHandle* provider) override;
  int32_t CreateHash(CryptoHandle provider, CryptoHandle* hash) override;
  int32_t HashData(CryptoHandle hash, const uint8_t* data, uint32_t size) override;
  int32_t FinishHash(CryptoHandle hash, uint8_t* digest, uint32_t size) override;
  int32_t DestroyHash(CryptoHandle hash) override;
  int32_t CloseProvider(CryptoHandle provider) override;

 private:
  Hashing& native_;
  ScopedService<Hashing> scope_{this};
};

// Counts the notifications; with `fails` it answers false and sets the
// current platform's last error to 120, as the Linux backend does.
class FakeShellNotifications final : public ShellNotifications {
 public:
  int notifications = 0;
  bool fails = false;
  bool NotifyAssociationsChanged() override;

 private:
  ScopedService<ShellNotifications> scope_{this};
};

// Keys by "HKLM\<subkey>" (also "HKCU\", "HKCR\"; case ignored) and view;
// a key not listed answers 2.
class FakeRegistryViews final : public RegistryViews {
 public:
  struct Probe {
    std::u16string key;  // "HKLM\<subkey>"
    uint32_t view = 0;
  };
  std::vector<Probe> probes;  // every call, in order
  // Sets the answer of one key in one view (0: it exists).
  void Answer(const std::u16string& key, uint32_t view, int32_t status);
  int32_t ProbeKey(Hive hive, const std::u16string& subKey, uint32_t view) override;

 private:
  std::map<std::pair<std::u16string, uint32_t>, int32_t> answers_;
  ScopedService<RegistryViews> scope_{this};
};

}  // namespace platform
