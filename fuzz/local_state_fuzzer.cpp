// The application's "Local State" file lies in the user's data, where any
// program of the user can write it. The input is that file: it is read from
// disk through the toolkit as an installer reads it, and every profile it
// yields must name one plain directory, once.
#include <cstdint>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "platform/text/ascii.h"
#include "toolkit/local_state.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::filesystem::path dir = fuzz::ScratchDir() / "User Data";
  static const bool made = std::filesystem::create_directories(dir) || true;
  (void)made;
  {
    std::ofstream out(dir / "Local State", std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  std::vector<CProfileInfo> profiles;
  const bool ok = Utils::GetProfileList(fuzz::CorePath(dir), &profiles);
  if (!ok && !profiles.empty()) __builtin_trap();

  std::set<std::u16string> seen;
  for (const CProfileInfo& profile : profiles) {
    const std::u16string& name = profile.directory;
    if (name.empty() || name.size() > 255 || name == u"." || name == u"..") __builtin_trap();
    for (char16_t c : name) {
      if (c < 0x20 || c == u'\\' || c == u'/' || c == u':') __builtin_trap();
    }
    std::u16string folded = name;
    for (char16_t& c : folded) c = platform::FoldAscii(c);
    if (!seen.insert(folded).second) __builtin_trap();
  }
  return 0;
}
