// Whether the current user can write into a directory, as an installer asks
// before it chooses an install location: answered by doing it, since rights
// come from more places (access lists, read-only media, policies) than any
// test of attributes sees.
#pragma once

#include <string>

namespace Utils {

// Creates a uniquely named empty file in `directory` and removes it again.
// False, with a line saying why, for a directory that is missing, a file in
// its place, or one in which the file can't be created. A test file that
// can't be removed afterwards still answers true (the directory took it) and
// is logged by name.
bool IsDirectoryWritable(const std::u16string& directory);

}  // namespace Utils
