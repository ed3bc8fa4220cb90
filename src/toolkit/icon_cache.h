// Removal of the shell's icon cache of the current user, so that icons the
// product changed or took away are drawn afresh: %LOCALAPPDATA%\IconCache.db
// and %LOCALAPPDATA%\Microsoft\Windows\Explorer\iconcache_*.db.
#pragma once

#include <cstdint>

namespace Utils {

// Deletes every cache file, then tells the shell that associations changed
// so that it rebuilds its icons. Best-effort: a file that can't be deleted
// (in use) is left, logged, and the others still go. True when no cache
// file is left and the shell was told; false when %LOCALAPPDATA% is unknown
// (nothing is touched), a file was left, or the shell could not be told (on
// Linux, which has no such shell). `removed`, when given, receives the number
// of files deleted.
bool RemoveIconCache(int32_t* removed);

}  // namespace Utils
