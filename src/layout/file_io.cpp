#include "layout/file_io.h"

#include <cstdio>
#include <cstring>

#include "base/text.h"
#include "platform/files/files.h"

int64_t ReadFileToString(const std::u16string& path, std::string* text) {
  std::FILE* file = platform::Service<platform::Files>().OpenStream(path, "rb");
  if (file == nullptr) return -1;

  int64_t size = -1;
  if (std::fseek(file, 0, SEEK_END) == 0) size = static_cast<int64_t>(std::ftell(file));
  std::fseek(file, 0, SEEK_SET);
  if (size <= 0) {
    std::fclose(file);
    return size;
  }

  text->resize(static_cast<size_t>(size));
  const size_t read = std::fread(&(*text)[0], static_cast<size_t>(size), 1, file);
  std::fclose(file);
  if (read != 1) return -2;

  const size_t nul = text->find('\0');
  if (nul != std::string::npos) text->resize(nul);
  return size;
}

int64_t WriteStringToFile(const std::u16string& path, const std::string& text, bool append) {
  auto& files = platform::Service<platform::Files>();
  std::FILE* file = files.OpenStream(path, append ? "ab" : "wb");
  if (file == nullptr) return -1;
  if (text.empty()) {
    std::fclose(file);
    return 0;
  }
  // Appended records may come from several launchers at once.
  const bool written = append ? files.AppendShared(file, text) : std::fwrite(text.data(), text.size(), 1, file) == 1;
  // Only the write decides; what the close says is not looked at.
  std::fclose(file);
  if (!written) return -2;
  return static_cast<int64_t>(text.size());
}

bool ListEntries(const std::u16string& pattern, std::vector<platform::DirEntry>* entries) {
  std::vector<platform::DirEntry> all;
  if (!platform::Service<platform::Files>().FindEntries(pattern, &all)) return false;
  entries->clear();
  for (platform::DirEntry& entry : all) {
    if (entry.name.empty() || CompareNoCase(entry.name, u".") == 0 || CompareNoCase(entry.name, u"..") == 0) {
      continue;
    }
    entries->push_back(std::move(entry));
  }
  return true;
}
