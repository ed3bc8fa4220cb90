#include "layout/old_versions.h"

#include <string>

#include "app/launcher_app.h"
#include "base/format.h"
#include "base/log.h"
#include "base/text.h"
#include "layout/file_io.h"
#include "layout/paths.h"
#include "layout/version_dirs.h"
#include "maintenance/code_signature.h"
#include "platform/error_codes.h"
#include "platform/files/files.h"

namespace {

constexpr char16_t kToDeleteMark[] = u".todelete";

bool IsDirectory(const platform::DirEntry& entry) {
  return (entry.attributes & platform::kFileAttributeDirectory) != 0;
}

bool EndsWith(const std::u16string& text, const std::u16string& tail) {
  return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

// StrStrIW: the mark anywhere in the name, ASCII case folded.
bool ContainsToDeleteMark(const std::u16string& name) {
  const std::u16string mark = kToDeleteMark;
  for (size_t i = 0; i + mark.size() <= name.size(); ++i) {
    if (CompareNoCase(name.substr(i, mark.size()), mark) == 0) return true;
  }
  return false;
}

}  // namespace

std::u16string ToDeleteName(const std::u16string& name) {
  const int32_t stamp = static_cast<int32_t>(static_cast<uint32_t>(GetCurrentTimeMs() / 1000));
  return FormatWideString(u"%s%s-%d", name, kToDeleteMark, stamp);
}

bool HasLauncherSignedFile(const std::u16string& dir, int32_t depth) {
  std::u16string launcherSigner;
  GetFileSignerName(GetModuleFilePath(), launcherSigner);
  if (launcherSigner.empty()) return false;

  std::vector<platform::DirEntry> entries;
  if (!ListEntries(JoinPath(dir, u"\\*"), &entries)) return false;
  for (const platform::DirEntry& entry : entries) {
    const std::u16string path = JoinPath(dir, entry.name);
    if (IsDirectory(entry)) {
      if (depth > 1 && HasLauncherSignedFile(path, depth - 1)) return true;
      continue;
    }
    // Case-sensitive on purpose: "X.EXE" does not count.
    if (!EndsWith(entry.name, u".exe") && !EndsWith(entry.name, u".dll")) continue;
    std::u16string signer;
    GetFileSignerName(path, signer);
    if (CompareNoCase(signer, launcherSigner) == 0) return true;
  }
  return false;
}

int32_t EnumVersionDirs(const CProductConfig& config, const std::u16string& installRoot,
                        std::vector<std::u16string>* list) {
  std::vector<platform::DirEntry> entries;
  if (!ListEntries(JoinPath(installRoot, u"\\*"), &entries)) return 0;
  int32_t count = 0;
  for (const platform::DirEntry& entry : entries) {
    if (!IsDirectory(entry)) continue;
    const std::u16string path = JoinPath(installRoot, entry.name);
    bool fromManifest = false;
    if (!ProbeVersionDir(path, config, nullptr, &fromManifest) && !HasLauncherSignedFile(path, 1)) {
      LogDebug(u"Directory '%s' not vorn version dir, skip", path);
      continue;
    }
    list->push_back(path);
    ++count;
  }
  return count;
}

int32_t EnumEmptyDirs(const std::u16string& root, std::vector<std::u16string>* list) {
  std::vector<platform::DirEntry> entries;
  if (!ListEntries(JoinPath(root, u"\\*"), &entries)) return 0;
  int32_t count = 0;
  for (const platform::DirEntry& entry : entries) {
    if (!IsDirectory(entry)) continue;
    const std::u16string path = JoinPath(root, entry.name);
    std::vector<platform::DirEntry> inside;
    // A directory whose listing cannot even start counts as empty too.
    if (ListEntries(JoinPath(path, u"\\*"), &inside) && !inside.empty()) continue;
    LogInfo(u"%s is empty.", path);
    list->push_back(path);
    ++count;
  }
  return count;
}

namespace {

bool IsLink(uint32_t attributes) { return (attributes & platform::kFileAttributeReparsePoint) != 0; }

// Removes a junction or a symbolic link as the entry it is: a directory link
// with RemoveDirectoryW, a file link with DeleteFileW, neither of which follows
// it. What it leads to may lie outside the install root and is never entered.
void RemoveLink(const std::u16string& path, uint32_t attributes, bool delayUntilReboot) {
  auto& files = platform::Service<platform::Files>();
  if ((attributes & platform::kFileAttributeDirectory) != 0) {
    if (!files.RemoveOneDirectory(path)) {
      LogError(u"Delete directory '%s' failed, error=%d", path, static_cast<int32_t>(platform::LastError()));
    }
    return;
  }
  if (files.DeleteOneFile(path)) return;
  LogError(u"Delete file '%s' failed, error=%d", path, static_cast<int32_t>(platform::LastError()));
  if (delayUntilReboot && !files.MovePath(path, u"", platform::kMoveFileDelayUntilReboot)) {
    LogError(u"Set restart delete file '%s' failed, error=%d", path, static_cast<int32_t>(platform::LastError()));
  }
}

// The walk below a directory that is known not to be a link.
void DeleteRealDirectoryTree(const std::u16string& dir, bool delayUntilReboot) {
  auto& files = platform::Service<platform::Files>();
  std::vector<platform::DirEntry> entries;
  if (ListEntries(JoinPath(dir, u"\\*"), &entries)) {
    for (const platform::DirEntry& entry : entries) {
      const std::u16string path = JoinPath(dir, entry.name);
      if (IsLink(entry.attributes)) {
        RemoveLink(path, entry.attributes, delayUntilReboot);
        continue;
      }
      if (IsDirectory(entry)) {
        DeleteRealDirectoryTree(path, delayUntilReboot);
        continue;
      }
      files.SetAttributes(path, files.GetAttributes(path) & ~platform::kFileAttributeReadOnly);
      if (files.DeleteOneFile(path)) continue;
      LogError(u"Delete file '%s' failed, error=%d", path, static_cast<int32_t>(platform::LastError()));
      if (delayUntilReboot && !files.MovePath(path, u"", platform::kMoveFileDelayUntilReboot)) {
        LogError(u"Set restart delete file '%s' failed, error=%d", path, static_cast<int32_t>(platform::LastError()));
      }
    }
  }
  if (!files.RemoveOneDirectory(dir)) {
    LogError(u"Delete directory '%s' failed, error=%d", dir, static_cast<int32_t>(platform::LastError()));
  }
}

}  // namespace

bool DeleteDirectoryTree(const std::u16string& dir, bool delayUntilReboot) {
  // The directory handed in may itself be a link (a version directory that is
  // a junction to a copy elsewhere): then only the link goes.
  const uint32_t attributes = platform::Service<platform::Files>().GetAttributes(dir);
  if (attributes != 0xFFFFFFFFu && IsLink(attributes)) {
    RemoveLink(dir, attributes, delayUntilReboot);
  } else {
    DeleteRealDirectoryTree(dir, delayUntilReboot);
  }
  return true;
}

void CLauncherApp::_DeleteOldVersions() {
  if (m_versionDirName.empty()) return;
  auto& files = platform::Service<platform::Files>();
  LogInfo(u"Delete electron directory except %s", m_versionDirName);

  std::vector<std::u16string> versions;
  EnumVersionDirs(GetProductConfig(), m_launcherDir, &versions);
  for (std::u16string path : versions) {
    const std::u16string name = GetFileNamePart(path, true);
    if (CompareNoCase(name, m_versionDirName) == 0) continue;
    // Moved aside first: a directory with a file in use refuses the move as a
    // whole and stays complete, instead of being half deleted.
    if (!ContainsToDeleteMark(name)) {
      const std::u16string target = JoinPath(m_launcherDir, ToDeleteName(name));
      LogInfo(u"Rename %s to %s", path, target);
      if (!files.MovePath(path, target, 0)) {
        LogError(u"Rename %s to %s failed, error=%d", path, target, static_cast<int32_t>(platform::LastError()));
        continue;
      }
      path = target;
    }
    LogInfo(u"Delete directory %s", path);
    if (!DeleteDirectoryTree(path, false)) {
      LogError(u"Delete electron directory %s failed, error=%d", path, static_cast<int32_t>(platform::LastError()));
    }
  }

  std::vector<std::u16string> empty;
  EnumEmptyDirs(m_launcherDir, &empty);
  for (const std::u16string& path : empty) {
    LogInfo(u"Delete empty directory %s", path);
    if (!DeleteDirectoryTree(path, false)) {
      LogError(u"Delete electron directory %s failed, error=%d", path, static_cast<int32_t>(platform::LastError()));
    }
  }
}
