// Product paths: every path the launcher builds goes through these. Paths are
// Windows paths; the separator rules below are part of the contract.
#pragma once

#include <string>

// GetModuleFileNameW into a buffer of 2048 characters: the running module's
// full path, silently cut at 2047 characters.
std::u16string GetModuleFilePath();

// PathFindFileNameW: the offset of the last component of `path` (a trailing
// separator stays part of it, "C:\a\b\" gives "b\"). path.size() for an empty
// path.
size_t FindFileNameOffset(const std::u16string& path);

// PathFindExtensionW applied to `name`: the offset of the extension's dot, or
// name.size() when there is none.
size_t FindExtensionOffset(const std::u16string& name);

// The directory part with its trailing separator ("C:\a\b.exe" gives
// "C:\a\"), or the empty string when the path has no directory part.
std::u16string GetDirectoryPart(const std::u16string& path);

// The last component, trailing separators removed; without the extension
// when keepExtension is false. An empty last component returns the path.
std::u16string GetFileNamePart(const std::u16string& path, bool keepExtension);

// The path ending in '\' (or the '/' it already ends in); empty stays empty.
std::u16string EnsureTrailingSeparator(const std::u16string& path);

// EnsureTrailingSeparator(base) followed by `relative` as it stands; with an
// empty base, `relative` alone.
std::u16string JoinPath(const std::u16string& base, const std::u16string& relative);

// The variable's value, or the empty string.
std::u16string GetEnvironmentString(const std::u16string& name);

// The directory base\sub with a trailing separator, created when `create` is
// set and it is missing; the empty string when it cannot be created. An empty
// `sub` returns EnsureTrailingSeparator(base) and creates nothing.
std::u16string BuildSubPath(const std::u16string& base, const std::u16string& sub, bool create);

// BuildSubPath under %LOCALAPPDATA% and %APPDATA%.
std::u16string GetLocalAppDataPath(const std::u16string& sub, bool create);
std::u16string GetRoamingAppDataPath(const std::u16string& sub, bool create);
