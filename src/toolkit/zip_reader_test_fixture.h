// The fixture of the zip reader's tests: an archive built by the test,
// written to a temporary directory and opened there, with its base directory
// at out\ below it, and the data the items are made of.
#pragma once

#include <filesystem>
#include <random>
#include <string>

#include "gtest/gtest.h"
#include "toolkit/toolkit_test_support.h"
#include "toolkit/zip_builder_for_tests.h"
#include "toolkit/zip_reader.h"

namespace zip_test {

inline std::string Noise(size_t n, uint32_t seed) {
  std::mt19937 random(seed);
  std::string out(n, '\0');
  for (char& c : out) c = static_cast<char>(random());
  return out;
}

inline std::string Text(size_t n) {
  std::string out;
  while (out.size() < n) out += "the quick brown fox jumps over the lazy dog " + std::to_string(out.size());
  out.resize(n);
  return out;
}

// The text of the last result, whose length FormatZipResult answers.
inline std::u16string RecentText() {
  char16_t text[80];
  const uint32_t length = FormatZipResult(ZR_RECENT, text, 80);
  EXPECT_EQ(length, std::char_traits<char16_t>::length(text));
  return text;
}

// `records` extra records of 255 bytes that are not "UT": more than the
// input buffer holds once there are 64 of them.
inline std::string Filler(int records) {
  std::string out;
  for (int i = 0; i < records; ++i) out += std::string("\x01\x00\xff\x00", 4) + std::string(255, 'f');
  return out;
}

inline Item MakeItem(const std::string& name, const std::string& data, uint16_t method = 8, const char* password = "") {
  Item item;
  item.name = name;
  item.data = data;
  item.method = method;
  item.password = password;
  return item;
}

class ZipReaderTest : public ::testing::Test {
 protected:
  ~ZipReaderTest() override {
    if (zip != nullptr) ReleaseZip(zip);
  }
  // Writes and opens the archive, in place of the one open before, with its base directory at out\.
  ZipHandle Open(const Archive& archive, const char* password = nullptr) {
    if (zip != nullptr) ReleaseZip(zip);
    orvane_test::WriteBytes(temp.path() / "a.zip", archive.Build());
    zip = OpenZip(temp.core() + u"\\a.zip", password);
    if (zip != nullptr) {
      EXPECT_EQ(SetUnzipBaseDir(zip, temp.core() + u"\\out"), ZR_OK);
    }
    return zip;
  }
  std::string Out(const std::string& name) { return orvane_test::ReadFileBytes(temp.path() / "out" / name); }
  bool OutExists(const std::string& name) { return std::filesystem::exists(temp.path() / "out" / name); }

  orvane_test::TempDir temp;
  ZipHandle zip = nullptr;
};

}  // namespace zip_test
