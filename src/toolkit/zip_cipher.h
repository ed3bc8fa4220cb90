// The traditional stream cipher of the ZIP format: three keys set from the
// password and updated with every plain byte.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <string>

namespace zip {

class ZipCipher {
 public:
  void Init(const std::string& password) {
    table_ = get_crc_table();
    k0_ = 0x12345678u;
    k1_ = 0x23456789u;
    k2_ = 0x34567890u;
    for (unsigned char c : password) Update(c);
  }
  void Decrypt(uint8_t* data, uint32_t n) {
    for (uint32_t i = 0; i < n; ++i) {
      const uint32_t t = (k2_ | 2u) & 0xFFFFu;
      data[i] = static_cast<uint8_t>(data[i] ^ static_cast<uint8_t>((t * (t ^ 1u)) >> 8));
      Update(data[i]);
    }
  }

 private:
  uint32_t Crc(uint32_t crc, uint8_t b) const { return static_cast<uint32_t>(table_[(crc ^ b) & 0xFF]) ^ (crc >> 8); }
  void Update(uint8_t c) {
    k0_ = Crc(k0_, c);
    k1_ = (k1_ + (k0_ & 0xFF)) * 134775813u + 1u;
    k2_ = Crc(k2_, static_cast<uint8_t>(k1_ >> 24));
  }
  const z_crc_t* table_ = nullptr;
  uint32_t k0_ = 0, k1_ = 0, k2_ = 0;
};

}  // namespace zip
