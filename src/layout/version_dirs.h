// Version directories below the install root: which one is current, where its
// main executable lies, manifest.json, and the order of versions.
#pragma once

#include <cstdint>
#include <string>

#include "base/product_config.h"

// The ini's directory, then version_dir_name, then the highest launchable
// version found by a scan. An ini that holds no plain directory name is read
// as absent. False (outputs unchanged but fromManifest) when none holds a
// main executable.
bool FindMainExe(const CProductConfig& config, const std::u16string& installRoot, std::u16string* versionDirName,
                 std::u16string* mainExePath, bool* fromManifest);

// True when `dir` holds a main executable (by manifest, exe_file_name or
// "Orvane.exe"). A file that is the running launcher itself, by file
// identity, is never a main executable. exePath (may be null) is written only
// on true; fromManifest always.
bool ProbeVersionDir(const std::u16string& dir, const CProductConfig& config, std::u16string* exePath,
                     bool* fromManifest);

// True when dir\manifest.json's "launchName" names an existing file that is
// not the running launcher itself.
bool ReadManifestLaunchName(const std::u16string& dir, std::u16string* exePath, std::u16string* errorText);

// True when `name` names one directory right below the install root and
// nothing else: not empty or blank, no `\`, `/` or `:`, and no trailing dot
// or blank. Windows drops trailing dots and blanks from a name, so `.`, `..`,
// `...` and `. ` name the root or its parent and `app.` names `app`.
bool IsPlainDirName(const std::u16string& name);

// True when `path` leads to the running launcher's own executable, decided by
// file identity, not by the path's spelling. False when either file cannot
// be identified.
bool IsLauncherItself(const std::u16string& path);

// Positive when a is newer, negative when older, 0 for the same version.
int32_t CompareVersionDirNames(const std::u16string& a, const std::u16string& b);
int32_t CompareVersions(const std::u16string& a, const std::u16string& b);
// Up to four dotted 16-bit fields into two words. False only for a null text.
bool ParseVersion(const char16_t* text, uint32_t* high, uint32_t* low);
