#include "toolkit/file_md5.h"

#include <cstdio>
#include <memory>
#include <new>

#include "base/log.h"
#include "platform/crypto/hashing.h"
#include "platform/error_codes.h"
#include "platform/files/files.h"

namespace {

using platform::CryptoHandle;

// The hash and its provider, released on every road out.
class Md5Session {
 public:
  Md5Session() : hashing_(platform::Service<platform::Hashing>()) {}
  ~Md5Session() {
    if (hash_ != nullptr) hashing_.DestroyHash(hash_);
    if (provider_ != nullptr) hashing_.CloseProvider(provider_);
  }
  Md5Session(const Md5Session&) = delete;
  Md5Session& operator=(const Md5Session&) = delete;

  // Opens the provider and makes the hash; the failing step's status.
  int32_t Start(const char16_t** step) {
    *step = u"BCryptOpenAlgorithmProvider";
    int32_t status = hashing_.OpenMd5Provider(&provider_);
    if (status < 0) return status;
    *step = u"BCryptCreateHash";
    return hashing_.CreateHash(provider_, &hash_);
  }
  int32_t Add(const uint8_t* data, uint32_t size) { return hashing_.HashData(hash_, data, size); }
  int32_t Finish(uint8_t* digest) { return hashing_.FinishHash(hash_, digest, platform::kMd5DigestBytes); }

 private:
  platform::Hashing& hashing_;
  CryptoHandle provider_ = nullptr;
  CryptoHandle hash_ = nullptr;
};

std::u16string Hex(const uint8_t* bytes, size_t size) {
  static const char16_t kDigits[] = u"0123456789abcdef";
  std::u16string text;
  for (size_t i = 0; i < size; ++i) {
    text.push_back(kDigits[bytes[i] >> 4]);
    text.push_back(kDigits[bytes[i] & 0xF]);
  }
  return text;
}

struct StreamCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};

}  // namespace

namespace Utils {

bool GetFileMd5(const std::u16string& path, std::u16string* md5) {
  md5->clear();
  auto& files = platform::Service<platform::Files>();
  const std::unique_ptr<std::FILE, StreamCloser> file(files.OpenStream(path, "rb"));
  if (file == nullptr) {
    LogError(u"Utils::GetFileMd5, open file '%s' failed, error=%d", path, platform::LastError());
    return false;
  }
  Md5Session session;
  const char16_t* step = u"";
  int32_t status = session.Start(&step);
  if (status < 0) {
    LogError(u"Utils::GetFileMd5, %s failed: %x", step, status);
    return false;
  }
  const std::unique_ptr<uint8_t[]> buffer(new (std::nothrow) uint8_t[kMd5ReadBufferBytes]);
  if (buffer == nullptr) {
    LogError(u"Utils::GetFileMd5, no memory for the read buffer, error=%d", static_cast<uint32_t>(platform::kErrorNotEnoughMemory));
    return false;
  }
  uint64_t total = 0;
  for (;;) {
    const size_t read = std::fread(buffer.get(), 1, kMd5ReadBufferBytes, file.get());
    if (read > 0) {
      status = session.Add(buffer.get(), static_cast<uint32_t>(read));
      if (status < 0) {
        LogError(u"Utils::GetFileMd5, BCryptHashData failed: %x", status);
        return false;
      }
      total += read;
    }
    if (read < kMd5ReadBufferBytes) break;
  }
  if (std::ferror(file.get()) != 0) {
    LogError(u"Utils::GetFileMd5, read file '%s' failed after %llu bytes", path, total);
    return false;
  }
  uint8_t digest[platform::kMd5DigestBytes] = {};
  status = session.Finish(digest);
  if (status < 0) {
    LogError(u"Utils::GetFileMd5, BCryptFinishHash failed: %x", status);
    return false;
  }
  *md5 = Hex(digest, sizeof(digest));
  LogInfo(u"Utils::GetFileMd5, %llu bytes, md5 %s", total, *md5);
  return true;
}

}  // namespace Utils
