// Builds zip archives in memory for the toolkit's tests, the fuzzer's seeds
// and the benchmark: stored or deflated items (zlib's raw deflate), the
// traditional encryption, "UT" extra fields, bytes in front, a comment, and
// fields that can be set to wrong values on purpose.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <string>
#include <vector>

namespace zip_test {

struct Item {
  std::string name;
  std::string data;
  uint16_t method = 8;            // 0 stored, 8 deflated
  uint16_t versionMadeBy = 0x31E;  // host 3 (Unix) unless changed
  uint32_t externalAttr = 0100644u << 16;
  uint16_t dosTime = 0x6000;  // 12:00:00
  uint16_t dosDate = 0x5A2F;  // 2025-01-15
  std::string password;       // non-empty: encrypt
  bool dataDescriptorFlag = false;  // bit 3 in both headers
  std::string localExtra;
  // Deliberate damage.
  int localMethod = -1;        // written into the local header if >= 0
  int64_t localUncSize = -1;   // written into the local header if >= 0
  int64_t centralCompSize = -1;
  int64_t centralUncSize = -1;
  bool breakCentralSignature = false;
  bool truncateData = false;  // the data is cut in half
};

inline void Put16(std::string* out, uint32_t v) {
  out->push_back(static_cast<char>(v & 0xFF));
  out->push_back(static_cast<char>((v >> 8) & 0xFF));
}
inline void Put32(std::string* out, uint32_t v) {
  Put16(out, v & 0xFFFF);
  Put16(out, v >> 16);
}

// An "UT" extra record with the flags and the times that follow them.
inline std::string UtExtra(uint8_t flags, const std::vector<uint32_t>& times) {
  std::string out;
  Put16(&out, 0x5455);
  Put16(&out, static_cast<uint32_t>(1 + 4 * times.size()));
  out.push_back(static_cast<char>(flags));
  for (uint32_t t : times) Put32(&out, t);
  return out;
}

inline std::string RawDeflate(const std::string& data, int level = 6) {
  z_stream z{};
  deflateInit2(&z, level, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
  std::string out(deflateBound(&z, static_cast<uLong>(data.size())), '\0');
  z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
  z.avail_in = static_cast<uInt>(data.size());
  z.next_out = reinterpret_cast<Bytef*>(&out[0]);
  z.avail_out = static_cast<uInt>(out.size());
  deflate(&z, Z_FINISH);
  out.resize(z.total_out);
  deflateEnd(&z);
  return out;
}

// The traditional stream cipher, encrypting side.
class Encrypter {
 public:
  explicit Encrypter(const std::string& password) {
    for (unsigned char c : password) Update(c);
  }
  std::string Encrypt(const std::string& plain) {
    std::string out = plain;
    for (char& c : out) {
      const uint32_t t = (k2_ | 2u) & 0xFFFFu;
      const uint8_t p = static_cast<uint8_t>(c);
      c = static_cast<char>(p ^ static_cast<uint8_t>((t * (t ^ 1u)) >> 8));
      Update(p);
    }
    return out;
  }

 private:
  static uint32_t Crc(uint32_t crc, uint8_t b) { return get_crc_table()[(crc ^ b) & 0xFF] ^ (crc >> 8); }
  void Update(uint8_t c) {
    k0_ = Crc(k0_, c);
    k1_ = (k1_ + (k0_ & 0xFF)) * 134775813u + 1u;
    k2_ = Crc(k2_, static_cast<uint8_t>(k1_ >> 24));
  }
  uint32_t k0_ = 0x12345678u, k1_ = 0x23456789u, k2_ = 0x34567890u;
};

struct Archive {
  std::vector<Item> items;
  std::string prefix;   // bytes in front of the archive
  std::string comment;  // the end record's comment
  int64_t entriesTotal = -1;  // a differing "entries in total", if >= 0
  int64_t entriesDeclared = -1;  // both entry counts, if >= 0, whatever the directory holds

  std::string Build() const {
    std::string local = prefix, central;
    for (const Item& item : items) {
      const uint32_t crc = crc32(0, reinterpret_cast<const Bytef*>(item.data.data()), static_cast<uInt>(item.data.size()));
      std::string body = item.method == 8 ? RawDeflate(item.data) : item.data;
      uint16_t flags = item.dataDescriptorFlag ? 8 : 0;
      if (!item.password.empty()) {
        flags |= 1;
        std::string header(12, '\x5A');
        header[11] = static_cast<char>(item.dataDescriptorFlag ? (item.dosTime >> 8) : (crc >> 24));
        Encrypter enc(item.password);
        body = enc.Encrypt(header + body);
      }
      if (item.truncateData) body.resize(body.size() / 2);
      const uint32_t offset = static_cast<uint32_t>(local.size() - prefix.size());
      const uint32_t comp = static_cast<uint32_t>(body.size()), unc = static_cast<uint32_t>(item.data.size());
      Put32(&local, 0x04034B50);
      Put16(&local, 20);
      Put16(&local, flags);
      Put16(&local, item.localMethod >= 0 ? static_cast<uint32_t>(item.localMethod) : item.method);
      Put16(&local, item.dosTime);
      Put16(&local, item.dosDate);
      Put32(&local, crc);
      Put32(&local, comp);
      Put32(&local, item.localUncSize >= 0 ? static_cast<uint32_t>(item.localUncSize) : unc);
      Put16(&local, static_cast<uint32_t>(item.name.size()));
      Put16(&local, static_cast<uint32_t>(item.localExtra.size()));
      local += item.name + item.localExtra + body;

      Put32(&central, item.breakCentralSignature ? 0x02014B51 : 0x02014B50);
      Put16(&central, item.versionMadeBy);
      Put16(&central, 20);
      Put16(&central, flags);
      Put16(&central, item.method);
      Put16(&central, item.dosTime);
      Put16(&central, item.dosDate);
      Put32(&central, crc);
      Put32(&central, item.centralCompSize >= 0 ? static_cast<uint32_t>(item.centralCompSize) : comp);
      Put32(&central, item.centralUncSize >= 0 ? static_cast<uint32_t>(item.centralUncSize) : unc);
      Put16(&central, static_cast<uint32_t>(item.name.size()));
      Put16(&central, 0);
      Put16(&central, 0);
      Put16(&central, 0);
      Put16(&central, 0);
      Put32(&central, item.externalAttr);
      Put32(&central, offset);
      central += item.name;
    }
    const uint32_t cdOffset = static_cast<uint32_t>(local.size() - prefix.size());
    std::string out = local + central;
    Put32(&out, 0x06054B50);
    Put16(&out, 0);
    Put16(&out, 0);
    const uint32_t entries = static_cast<uint32_t>(entriesDeclared >= 0 ? entriesDeclared : items.size());
    Put16(&out, entries);
    Put16(&out, entriesTotal >= 0 ? static_cast<uint32_t>(entriesTotal) : entries);
    Put32(&out, static_cast<uint32_t>(central.size()));
    Put32(&out, cdOffset);
    Put16(&out, static_cast<uint32_t>(comment.size()));
    return out + comment;
  }
};

}  // namespace zip_test
