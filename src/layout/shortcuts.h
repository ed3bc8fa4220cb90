// Shortcut scan and the pinned task-bar repair: the .lnk files of one
// directory, read through the shell's link object, matched by a callback.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// One shortcut as read from disk.
struct CShortcutInfo {
  std::u16string lnkPath;         // full path of the .lnk file
  std::u16string fileName;        // with extension
  std::u16string displayName;     // without extension
  std::u16string exePath;         // the shortcut's target
  std::u16string arguments;
  std::u16string appUserModelId;  // only when the property is text
};

// Called once per shortcut that has a target, both flags cleared: `matched`
// adds it to the result, `stop` ends the scan after it.
using ShortcutMatch = std::function<void(const CShortcutInfo& info, bool* matched, bool* stop)>;

// The target lies at or below the bound directory (ASCII case folded).
void MatchShortcutByDirectory(const std::u16string& directory, const CShortcutInfo& info, bool* matched,
                              bool* stop);
// The AppUserModelID equals the bound one (ASCII case folded).
void MatchShortcutByAppId(const std::u16string& appId, const CShortcutInfo& info, bool* matched, bool* stop);

// Walks dir\*.lnk; the number of shortcuts matched, each appended to `list`
// when one is given. A shortcut without a file-system target is skipped.
int32_t ScanShortcuts(const std::u16string& dir, const ShortcutMatch& match, std::vector<CShortcutInfo>* list);

// Reads target, arguments and AppUserModelID; true if a target was read.
bool ReadShortcut(const std::u16string& path, CShortcutInfo* info);

// Rewrites the shortcut: each non-empty value is set (icon, target,
// arguments, working directory, then the AppUserModelID) and the file
// saved. True if the save succeeded.
bool UpdateShortcut(const std::u16string& lnkPath, const std::u16string& target, const std::u16string& arguments,
                    const std::u16string& workingDir, const std::u16string& iconPath, int32_t iconIndex,
                    const std::u16string& appId);
