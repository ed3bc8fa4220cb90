#include "platform/ascii.h"
#include "platform/error_codes.h"
#include "platform/fake_toolkit_services.h"

namespace platform {
namespace {

std::u16string Folded(const std::u16string& text) {
  std::u16string out = text;
  for (char16_t& c : out) c = FoldAscii(c);
  return out;
}

}  // namespace

FakeHashing::FakeHashing() : native_(NativeService<Hashing>()) {}

int32_t FakeHashing::OpenMd5Provider(CryptoHandle* provider) {
  auto failure = failures.find("OpenMd5Provider");
  if (failure != failures.end()) {
    *provider = nullptr;
    return failure->second;
  }
  const int32_t status = native_.OpenMd5Provider(provider);
  if (status >= 0) ++liveHandles;
  return status;
}

int32_t FakeHashing::CreateHash(CryptoHandle provider, CryptoHandle* hash) {
  auto failure = failures.find("CreateHash");
  if (failure != failures.end()) {
    *hash = nullptr;
    return failure->second;
  }
  const int32_t status = native_.CreateHash(provider, hash);
  if (status >= 0) ++liveHandles;
  return status;
}

int32_t FakeHashing::HashData(CryptoHandle hash, const uint8_t* data, uint32_t size) {
  dataSizes.push_back(size);
  auto failure = failures.find("HashData");
  if (failure != failures.end()) return failure->second;
  return native_.HashData(hash, data, size);
}

int32_t FakeHashing::FinishHash(CryptoHandle hash, uint8_t* digest, uint32_t size) {
  auto failure = failures.find("FinishHash");
  if (failure != failures.end()) return failure->second;
  return native_.FinishHash(hash, digest, size);
}

int32_t FakeHashing::DestroyHash(CryptoHandle hash) {
  const int32_t status = native_.DestroyHash(hash);
  if (status >= 0) --liveHandles;
  return status;
}

int32_t FakeHashing::CloseProvider(CryptoHandle provider) {
  const int32_t status = native_.CloseProvider(provider);
  if (status >= 0) --liveHandles;
  return status;
}

bool FakeShellNotifications::NotifyAssociationsChanged() {
  ++notifications;
  if (fails) {
    SetLastErrorCode(kErrorCallNotImplemented);
    return false;
  }
  return true;
}

void FakeRegistryViews::Answer(const std::u16string& key, uint32_t view, int32_t status) {
  answers_[{Folded(key), view}] = status;
}

int32_t FakeRegistryViews::ProbeKey(Hive hive, const std::u16string& subKey, uint32_t view) {
  const std::u16string root = hive == Hive::kLocalMachine ? u"HKLM\\" : hive == Hive::kCurrentUser ? u"HKCU\\" : u"HKCR\\";
  probes.push_back({root + subKey, view});
  auto answer = answers_.find({Folded(root + subKey), view});
  return answer != answers_.end() ? answer->second : static_cast<int32_t>(kErrorFileNotFound);
}

}  // namespace platform
