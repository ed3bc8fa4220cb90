#include "layout/version_dirs.h"

#include <map>
#include <vector>

#include "base/log.h"
#include "base/product_config.h"
#include "base/text.h"
#include "cJSON.h"
#include "layout/file_io.h"
#include "layout/launcher_ini.h"
#include "layout/paths.h"
#include "platform/file_identity/file_identity.h"
#include "platform/files/files.h"
#include "platform/system/environment.h"

namespace {

// The executable name every version directory may carry, whatever the
// configuration says.
constexpr char16_t kFixedMainExeName[] = u"Orvane.exe";
constexpr char16_t kManifestName[] = u"manifest.json";

// Candidate order of the scan: the highest version first.
struct NewerFirst {
  bool operator()(const std::u16string& a, const std::u16string& b) const { return CompareVersionDirNames(a, b) > 0; }
};

// Splits a directory name at its first '-' into dotted part and suffix.
void SplitDirName(const std::u16string& name, std::u16string* dotted, std::u16string* suffix) {
  const size_t dash = name.find(u'-');
  if (dash == std::u16string::npos) {
    *dotted = name;
    suffix->clear();
  } else {
    *dotted = name.substr(0, dash);
    *suffix = name.substr(dash + 1);
  }
}

}  // namespace

bool ParseVersion(const char16_t* text, uint32_t* high, uint32_t* low) {
  if (high != nullptr) *high = 0;
  if (low != nullptr) *low = 0;
  if (text == nullptr) return false;

  const std::u16string version(text);
  uint16_t fields[4] = {0, 0, 0, 0};
  size_t position = 0;
  size_t index = 0;
  while (true) {
    if (position >= version.size()) {
      fields[index] = 0;
      break;
    }
    const size_t dot = version.find(u'.', position);
    if (dot == std::u16string::npos) {
      fields[index] = static_cast<uint16_t>(WideToInt(version.substr(position)));
      break;
    }
    fields[index] = static_cast<uint16_t>(WideToInt(version.substr(position, dot - position)));
    position = dot + 1;
    if (++index == 4) break;
  }
  if (high != nullptr) *high = (static_cast<uint32_t>(fields[0]) << 16) | fields[1];
  if (low != nullptr) *low = (static_cast<uint32_t>(fields[2]) << 16) | fields[3];
  return true;
}

int32_t CompareVersions(const std::u16string& a, const std::u16string& b) {
  uint32_t highA = 0, lowA = 0, highB = 0, lowB = 0;
  ParseVersion(a.c_str(), &highA, &lowA);
  ParseVersion(b.c_str(), &highB, &lowB);
  // Unsigned difference read back as signed: a first field of 0x8000 or more
  // wraps around the sign. Version directories never come near it.
  if (highA != highB) return static_cast<int32_t>(highA - highB);
  return static_cast<int32_t>(lowA - lowB);
}

int32_t CompareVersionDirNames(const std::u16string& a, const std::u16string& b) {
  std::u16string dottedA, suffixA, dottedB, suffixB;
  SplitDirName(a, &dottedA, &suffixA);
  SplitDirName(b, &dottedB, &suffixB);
  const int32_t result = CompareVersions(dottedA, dottedB);
  if (result != 0) return result;
  // No suffix outranks any suffix, and the alphabetically earlier suffix
  // counts as the newer one.
  return -CompareNoCase(suffixA, suffixB);
}

bool IsPlainDirName(const std::u16string& name) {
  if (name.find_first_not_of(u" \t\r\n\v\f") == std::u16string::npos) return false;
  if (name.find_first_of(u"\\/:") != std::u16string::npos) return false;
  return name.back() != u'.' && name.back() != u' ';
}

bool IsLauncherItself(const std::u16string& path) {
  return platform::IsSameFile(path, platform::Service<platform::Environment>().ModuleFilePath());
}

bool ReadManifestLaunchName(const std::u16string& dir, std::u16string* exePath, std::u16string* errorText) {
  const std::u16string manifestPath = JoinPath(dir, kManifestName);
  std::string text;
  ReadFileToString(manifestPath, &text);
  if (text.empty()) {
    LogError(u"Read manifest.json failed, path=%s", manifestPath);
    return false;
  }

  const std::u16string wideText = Utf8ToWide(text);
  cJSON* root = cJSON_Parse(text.c_str());
  if (root == nullptr) {
    LogError(u"Parse manifest.json failed, text=%s", wideText);
    return false;
  }
  const std::u16string launchName = Utf8ToWide(ReadJsonString(root, "launchName", ""));
  cJSON_Delete(root);

  if (launchName.empty()) {
    // The caller reports this one, and only when the file names fail too.
    if (errorText != nullptr) *errorText = u"Not find launchName in manifest.json, text=" + wideText;
    return false;
  }
  const std::u16string path = JoinPath(dir, launchName);
  // A name that leads to the launcher (`..\Orvane.exe`) names no
  // application: starting it would only start the launcher again.
  if (!platform::Service<platform::Files>().PathExists(path) || IsLauncherItself(path)) {
    LogError(u"Not exists launchName file, path=%s", path);
    return false;
  }
  if (exePath != nullptr) *exePath = path;
  return true;
}

bool ProbeVersionDir(const std::u16string& dir, const CProductConfig& config, std::u16string* exePath,
                     bool* fromManifest) {
  *fromManifest = false;
  std::u16string errorText;
  if (ReadManifestLaunchName(dir, exePath, &errorText)) {
    *fromManifest = true;
    return true;
  }

  auto& files = platform::Service<platform::Files>();
  // The launcher itself (the root holds it under the fixed name) is no main
  // executable, whichever path leads to it.
  auto isMainExe = [&files](const std::u16string& path) { return files.PathExists(path) && !IsLauncherItself(path); };
  std::u16string path = JoinPath(dir, config.exe_file_name);
  if (!isMainExe(path)) {
    path = JoinPath(dir, kFixedMainExeName);
    if (!isMainExe(path)) {
      if (!errorText.empty()) LogError(u"%s", errorText);
      return false;
    }
  }
  if (exePath != nullptr) *exePath = path;
  return true;
}

bool FindMainExe(const CProductConfig& config, const std::u16string& installRoot, std::u16string* versionDirName,
                 std::u16string* mainExePath, bool* fromManifest) {
  // 1. The directory that the ini file records. A name that is not one plain
  // directory name (`.`, `..`, a path) would lead elsewhere than to a version
  // directory of the root: the file is then read as if it were absent.
  std::u16string iniName = ReadLauncherIni(installRoot);
  if (!iniName.empty() && !IsPlainDirName(iniName)) {
    LogWarn(u"FindMainExe, Orvane.ini names no version directory: '%s'", iniName);
    iniName.clear();
  }
  if (!iniName.empty() && ProbeVersionDir(JoinPath(installRoot, iniName), config, mainExePath, fromManifest)) {
    *versionDirName = iniName;
    return true;
  }

  // 2. The configured default directory.
  if (ProbeVersionDir(JoinPath(installRoot, config.version_dir_name), config, mainExePath, fromManifest)) {
    *versionDirName = config.version_dir_name;
    return true;
  }

  // 3. The highest launchable version below the install root. Directories
  // that compare as the same version share one key: the first one seen names
  // it, the last one seen gives the path.
  std::map<std::u16string, std::u16string, NewerFirst> candidates;
  std::vector<platform::DirEntry> entries;
  if (ListEntries(JoinPath(installRoot, u"\\*"), &entries)) {
    for (const platform::DirEntry& entry : entries) {
      if ((entry.attributes & platform::kFileAttributeDirectory) == 0) continue;
      std::u16string exePath;
      if (!ProbeVersionDir(JoinPath(installRoot, entry.name), config, &exePath, fromManifest)) continue;
      candidates[entry.name] = exePath;
    }
  }
  if (candidates.empty()) return false;
  *versionDirName = candidates.begin()->first;
  *mainExePath = candidates.begin()->second;
  return true;
}
