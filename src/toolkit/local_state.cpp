#include "toolkit/local_state.h"

#include <cstdio>
#include <memory>
#include <set>

#include "base/log.h"
#include "base/text.h"
#include "cJSON.h"
#include "layout/paths.h"
#include "platform/error_codes.h"
#include "platform/files/files.h"
#include "platform/text/ascii.h"

namespace {

constexpr size_t kMaxDirectoryName = 255;
constexpr size_t kReadChunk = 64 * 1024;

struct JsonDeleter {
  void operator()(cJSON* json) const { cJSON_Delete(json); }
};

struct StreamCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};

// One plain directory name: no way up, across or out of the user data
// directory, and nothing the file system would refuse or read otherwise.
bool IsPlainDirectoryName(const std::u16string& name) {
  if (name.empty() || name.size() > kMaxDirectoryName || name == u"." || name == u"..") return false;
  for (char16_t c : name) {
    if (c < 0x20 || c == u'\\' || c == u'/' || c == u':') return false;
  }
  return true;
}

// Directory names meet without regard to ASCII case, as the file system
// matches them.
std::u16string Folded(const std::u16string& name) {
  std::u16string out = name;
  for (char16_t& c : out) c = platform::FoldAscii(c);
  return out;
}

// The whole file, at most `limit` bytes; false (and the reason logged) when
// it can't be opened or read, or is larger.
bool ReadLimited(const std::u16string& path, size_t limit, std::string* text) {
  auto& files = platform::Service<platform::Files>();
  const std::unique_ptr<std::FILE, StreamCloser> file(files.OpenStream(path, "rb"));
  if (file == nullptr) {
    LogError(u"Utils::GetProfileList, open '%s' failed, error=%d", path, platform::LastError());
    return false;
  }
  char chunk[kReadChunk];
  for (;;) {
    const size_t read = std::fread(chunk, 1, sizeof(chunk), file.get());
    if (text->size() + read > limit) {
      LogError(u"Utils::GetProfileList, '%s' is larger than %u bytes", path, static_cast<uint32_t>(limit));
      return false;
    }
    text->append(chunk, read);
    if (read < sizeof(chunk)) break;
  }
  if (std::ferror(file.get()) != 0) {
    LogError(u"Utils::GetProfileList, read '%s' failed after %u bytes", path, static_cast<uint32_t>(text->size()));
    return false;
  }
  return true;
}

}  // namespace

namespace Utils {

bool ParseProfileList(const std::string& json, std::vector<CProfileInfo>* profiles) {
  profiles->clear();
  // A byte-order mark is no JSON, but an editor may have added one.
  const size_t start = json.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
  // The whole text must be the document: the length includes the string's
  // terminator, where the parse must end.
  const char* end = nullptr;
  const std::unique_ptr<cJSON, JsonDeleter> root(
      cJSON_ParseWithLengthOpts(json.c_str() + start, json.size() - start + 1, &end, 1));
  if (root == nullptr || end != json.c_str() + json.size() || !cJSON_IsObject(root.get())) {
    LogError(u"Utils::GetProfileList, Local State is no JSON object (%u bytes)", static_cast<uint32_t>(json.size()));
    return false;
  }
  const cJSON* profile = cJSON_GetObjectItemCaseSensitive(root.get(), "profile");
  const cJSON* cache = cJSON_IsObject(profile) ? cJSON_GetObjectItemCaseSensitive(profile, "info_cache") : nullptr;
  if (!cJSON_IsObject(cache)) {
    LogError(u"Utils::GetProfileList, Local State holds no profile list");
    return false;
  }
  uint32_t skipped = 0;
  std::set<std::u16string> seen;  // a set: a hostile file may hold many thousand entries
  for (const cJSON* entry = cache->child; entry != nullptr; entry = entry->next) {
    const std::u16string directory = entry->string != nullptr ? Utf8ToWide(entry->string) : std::u16string();
    if (!cJSON_IsObject(entry) || !IsPlainDirectoryName(directory) || !seen.insert(Folded(directory)).second) {
      ++skipped;
      continue;
    }
    const cJSON* name = cJSON_GetObjectItemCaseSensitive(entry, "name");
    profiles->push_back({directory, cJSON_IsString(name) && name->valuestring != nullptr
                                        ? Utf8ToWide(name->valuestring)
                                        : std::u16string()});
  }
  // One line for all: a hostile file must not fill the log.
  if (skipped != 0) LogWarn(u"Utils::GetProfileList, %u profile entries skipped", skipped);
  LogInfo(u"Utils::GetProfileList, %u profiles", static_cast<uint32_t>(profiles->size()));
  return true;
}

bool GetProfileList(const std::u16string& userDataDir, std::vector<CProfileInfo>* profiles) {
  profiles->clear();
  std::string text;
  if (!ReadLimited(JoinPath(userDataDir, kLocalStateFileName), kLocalStateMaxBytes, &text)) return false;
  return ParseProfileList(text, profiles);
}

}  // namespace Utils
