// The fake file system: the native backend underneath, every call recorded.
#include "platform/files/fake_files.h"

namespace platform {

bool FakeFiles::PathExists(const std::u16string& path) {
  if (Enter("PathExists", path)) return false;
  const bool result = NativeService<Files>().PathExists(path);
  TakeNativeError();
  return result;
}

bool FakeFiles::PathIsDir(const std::u16string& path) {
  if (Enter("PathIsDir", path)) return false;
  const bool result = NativeService<Files>().PathIsDir(path);
  TakeNativeError();
  return result;
}

int32_t FakeFiles::MakeDirectoryTree(const std::u16string& path) {
  if (Enter("MakeDirectoryTree", path)) return static_cast<int32_t>(InjectedError());
  const int32_t result = NativeService<Files>().MakeDirectoryTree(path);
  TakeNativeError();
  return result;
}

bool FakeFiles::MovePath(const std::u16string& from, const std::u16string& to, uint32_t flags) {
  if (Enter("MovePath", from + u" -> " + to)) return false;
  const bool result = NativeService<Files>().MovePath(from, to, flags);
  TakeNativeError();
  return result;
}

bool FakeFiles::DeleteOneFile(const std::u16string& path) {
  if (Enter("DeleteOneFile", path)) return false;
  // DeleteFileW refuses a junction or directory link (it takes
  // RemoveDirectoryW), where unlink would remove it; keep Windows' answer so a
  // test sees the call a Windows run would reject.
  constexpr uint32_t kDirectoryLink = kFileAttributeReparsePoint | kFileAttributeDirectory;
  const uint32_t attributes = NativeService<Files>().GetAttributes(path);
  if (attributes != 0xFFFFFFFFu && (attributes & kDirectoryLink) == kDirectoryLink) {
    SetError(kErrorAccessDenied);
    return false;
  }
  const bool result = NativeService<Files>().DeleteOneFile(path);
  TakeNativeError();
  return result;
}

bool FakeFiles::RemoveOneDirectory(const std::u16string& path) {
  if (Enter("RemoveOneDirectory", path)) return false;
  const bool result = NativeService<Files>().RemoveOneDirectory(path);
  TakeNativeError();
  return result;
}

bool FakeFiles::FindEntries(const std::u16string& pattern, std::vector<DirEntry>* entries) {
  if (Enter("FindEntries", pattern)) return false;
  const bool result = NativeService<Files>().FindEntries(pattern, entries);
  TakeNativeError();
  return result;
}

uint32_t FakeFiles::GetAttributes(const std::u16string& path) {
  if (Enter("GetAttributes", path)) return 0xFFFFFFFFu;
  const uint32_t result = NativeService<Files>().GetAttributes(path);
  TakeNativeError();
  return result;
}

bool FakeFiles::SetAttributes(const std::u16string& path, uint32_t attributes) {
  if (Enter("SetAttributes", path)) return false;
  const bool result = NativeService<Files>().SetAttributes(path, attributes);
  TakeNativeError();
  return result;
}

std::FILE* FakeFiles::OpenStream(const std::u16string& path, const char* mode) {
  if (Enter("OpenStream", path)) return nullptr;
  std::FILE* result = NativeService<Files>().OpenStream(path, mode);
  TakeNativeError();
  return result;
}

bool FakeFiles::AppendShared(std::FILE* stream, const std::string& bytes) {
  if (Enter("AppendShared", u"")) return false;
  return NativeService<Files>().AppendShared(stream, bytes);
}

}  // namespace platform
