// Writes the fuzz target's seed archives with the tests' own generator:
//   c++ -std=c++17 -I src fuzz/make_seeds.cpp -lz -o /tmp/make_seeds && /tmp/make_seeds fuzz/corpus/zip_reader
#include <fstream>
#include <string>

#include "toolkit/zip_builder_for_tests.h"

using zip_test::Archive;
using zip_test::Item;

namespace {

Item MakeItem(const std::string& name, const std::string& data, uint16_t method) {
  Item item;
  item.name = name;
  item.data = data;
  item.method = method;
  return item;
}

void Save(const std::string& dir, const std::string& name, const Archive& archive) {
  std::ofstream out(dir + "/" + name, std::ios::binary);
  const std::string bytes = archive.Build();
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace

int main(int argc, char** argv) {
  const std::string dir = argc > 1 ? argv[1] : ".";
  const std::string data(300, '\x11');
  Archive a;
  a.items = {MakeItem("s", data, 0), MakeItem("d/e", data, 8)};
  Save(dir, "stored_and_deflated", a);

  Archive encrypted;
  Item secret = MakeItem("p", data, 8);
  secret.password = "fuzz";
  Item flagged = MakeItem("q", "\x01\x02", 0);
  flagged.password = "fuzz";
  flagged.dataDescriptorFlag = true;
  encrypted.items = {secret, flagged};
  Save(dir, "encrypted", encrypted);

  Archive timed;
  Item ut = MakeItem("t", "\x05", 0);
  ut.localExtra = zip_test::UtExtra(7, {1u, 2u, 3u});
  Item dos = MakeItem("u/", "", 0);
  dos.versionMadeBy = 0x0014;
  dos.externalAttr = 0x10;
  timed.items = {ut, dos};
  timed.prefix = std::string(8, '\0');
  timed.comment = "\x7f";
  Save(dir, "times_prefix_comment", timed);

  Archive names;
  names.items = {MakeItem("../x", "\x01", 0), MakeItem("C:\\a\\..\\b", "\x02", 0), MakeItem("e", "", 0)};
  Save(dir, "names", names);

  Archive damaged;
  Item cut = MakeItem("c", data, 8);
  cut.truncateData = true;
  Item longer = MakeItem("l", "\x03\x04", 0);
  longer.centralUncSize = 9;
  longer.localUncSize = 9;
  Item broken = MakeItem("b", "\x05", 0);
  broken.breakCentralSignature = true;
  damaged.items = {cut, longer, broken, MakeItem("after", "\x06", 0)};
  Save(dir, "damaged", damaged);

  // Regression: 150 good central headers, a broken one, and an end record
  // declaring 65,535 entries. A walk that went back to the first header for
  // every index past the break took minutes over this input. The local
  // headers disagree with the central ones, so that no run spends its time
  // writing files.
  Archive walk;
  for (int i = 0; i < 151; ++i) {
    walk.items.push_back(MakeItem("f" + std::to_string(i), "", 0));
    walk.items.back().localMethod = 8;
  }
  walk.items[150].breakCentralSignature = true;
  walk.entriesDeclared = 65535;
  Save(dir, "regression-walk-past-broken-header", walk);
  return 0;
}
