// The profile list of the application's "Local State" file: the JSON document
// that the application's runtime keeps in the user data directory. Its object
// "profile" holds "info_cache", one member per profile directory (named like
// "Default" or "Profile 1") whose "name" is the profile's display name. The
// file belongs to the user's data, so it is read as untrusted input.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

inline constexpr char16_t kLocalStateFileName[] = u"Local State";

// A file larger than this is refused unread: a real one holds a few hundred
// kilobytes.
constexpr size_t kLocalStateMaxBytes = 16 * 1024 * 1024;

struct CProfileInfo {
  std::u16string directory;  // the profile's directory below the user data directory: one plain name
  std::u16string name;       // its display name; empty when the entry has none
};

namespace Utils {

// The profiles of a Local State document, in the document's order. A member
// whose value is not an object, whose name is not one plain directory name
// (empty, "." or "..", holding '\', '/', ':' or a control character, or
// longer than 255), or that repeats an earlier directory (case ignored) is
// left out; one warning line counts them. False, with `profiles` empty and an error line,
// when the text is no JSON object or holds no "profile"/"info_cache" object.
bool ParseProfileList(const std::string& json, std::vector<CProfileInfo>* profiles);

// Reads userDataDir\Local State and parses it. False, with `profiles` empty
// and an error line, for a missing, unreadable, empty, oversized, truncated
// or otherwise broken file.
bool GetProfileList(const std::u16string& userDataDir, std::vector<CProfileInfo>* profiles);

}  // namespace Utils
