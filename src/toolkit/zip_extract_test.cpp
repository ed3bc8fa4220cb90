#include "toolkit/zip_extract.h"

#include <functional>
#include <random>

#include "gtest/gtest.h"
#include "platform/error_codes.h"
#include "platform/files/fake_file_handles.h"
#include "platform/service.h"
#include "toolkit/toolkit_test_support.h"
#include "toolkit/zip_builder_for_tests.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/stat.h>
#endif

namespace {

using orvane_test::ReadFileBytes;
using orvane_test::Wide;
using zip_test::Archive;
using zip_test::Item;

using Call = std::pair<int32_t, std::u16string>;  // code, message

Archive Numbered(int count) {
  Archive archive;
  for (int i = 0; i < count; ++i) {
    archive.items.emplace_back();
    archive.items.back().name = "f" + std::to_string(i) + ".txt";
    archive.items.back().data = "data";
  }
  return archive;
}

class ZipExtractTest : public ::testing::Test {
 protected:
  std::u16string Write(const Archive& archive, const std::string& file = "a.zip") {
    orvane_test::WriteBytes(temp.path() / file, archive.Build());
    return temp.core() + u"\\" + Wide(file);
  }
  ExtractCallback Recorder() {
    return [this](int32_t code, const std::u16string& message) { calls.push_back({code, message}); };
  }
  // The calls so far, forgotten here; `cut` drops the system's number after "error=".
  std::vector<Call> Take(bool cut = false) {
    std::vector<Call> taken;
    taken.swap(calls);
    for (Call& call : taken) {
      const size_t at = call.second.rfind(u"error=");
      if (cut && at != std::u16string::npos) call.second.resize(at + 6);
    }
    return taken;
  }
  std::u16string Out() const { return temp.core() + u"\\out"; }

  orvane_test::TempDir temp;
  orvane_test::ReportRecorder reports;
  std::vector<Call> calls;
};

TEST_F(ZipExtractTest, ProgressNumbers) {
  struct Row { int items; int32_t from, to; std::vector<int32_t> codes; } rows[] = {
      {0, 10, 20, {20}}, {4, 10, 20, {10, 12, 15, 17, 20}}, {5, 0, 3, {0, 0, 1, 1, 2, 3}},
      {3, 0, 100, {0, 33, 66, 100}}, {2, 5, 5, {4, 4, 5}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.items);
    EXPECT_TRUE(ExtractZipFile(Write(Numbered(row.items)), Out(), Recorder(), row.from, row.to));
    std::vector<Call> want;
    for (int32_t code : row.codes) want.push_back({code, u""});
    EXPECT_EQ(Take(), want);
  }
  EXPECT_TRUE(reports.reports.empty());
}

TEST_F(ZipExtractTest, FailuresAreCalledBack) {
  const std::u16string good = Write(Numbered(2));
  orvane_test::WriteBytes(temp.path() / "broken.zip", "this is no archive at all");
  const std::u16string broken = temp.core() + u"\\broken.zip";
  orvane_test::WriteBytes(temp.path() / "file", "x");
  const std::u16string blocked = temp.core() + u"\\file\\sub";
  const std::u16string missing = temp.core() + u"\\missing.zip";

  EXPECT_FALSE(ExtractZipFile(u"", Out(), Recorder(), 0, 100));
  EXPECT_FALSE(ExtractZipFile(missing, Out(), Recorder(), 0, 100));
  EXPECT_FALSE(ExtractZipFile(good, u"", Recorder(), 0, 100));
  EXPECT_TRUE(reports.reports.empty());
  EXPECT_FALSE(ExtractZipFile(good, blocked, Recorder(), 0, 100));
  platform::SetLastErrorCode(0);
  EXPECT_FALSE(ExtractZipFile(broken, Out(), Recorder(), 0, 100));
  EXPECT_EQ(Take(true), (std::vector<Call>{{-1, u"empty path, zipPath=''"},
                                           {-1, u"zip not found, path='" + missing + u"'"},
                                           {-1, u"empty dest path"},
                                           {-1, u"create target dir failed,path='" + blocked + u"', error="},
                                           {-9996, u"OpenZip '" + broken + u"' failed, error="}}));
  ASSERT_EQ(reports.reports.size(), 1u);
  EXPECT_EQ(reports.reports[0], (EventReport{{"error", "UnzipPackageFailed"}, {"last_error_code", "0"}}));
}

// The third of four items cannot be reached or must not be written. The two
// before it are empty, so a failure taken for the empty file's would pass
// unseen: each row must fail the run there, naming that item, or its index
// where the archive gives no name.
TEST_F(ZipExtractTest, AnItemThatCannotBeWrittenStopsTheRun) {
  struct Row { const char* what; std::function<void(Item*)> damage; std::u16string message; } rows[] = {
      {"escaping name", [](Item* it) { it->name = "../escape.txt"; }, u"UnzipItem '../escape.txt' failed, error="},
      {"empty escaping name", [](Item* it) { it->name = "../escape.txt"; it->data.clear(); },
       u"UnzipItem '../escape.txt' failed, error="},
      {"empty device", [](Item* it) { it->name = "sub/nul.txt"; it->data.clear(); },
       u"UnzipItem 'sub/nul.txt' failed, error="},
      {"stream", [](Item* it) { it->name = "f1.txt:hidden"; }, u"UnzipItem 'f1.txt:hidden' failed, error="},
      {"broken central header", [](Item* it) { it->breakCentralSignature = true; }, u"GetZipItem 2 failed, error="},
      {"local header differs", [](Item* it) { it->localMethod = 0; }, u"UnzipItem 'f2.txt' failed, error="},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    Archive archive = Numbered(4);
    archive.items[0].data.clear();
    archive.items[1].data.clear();
    row.damage(&archive.items[2]);
    std::filesystem::remove_all(temp.path() / "out");
    reports.reports.clear();
    EXPECT_FALSE(ExtractZipFile(Write(archive), Out(), Recorder(), 0, 40));
    EXPECT_EQ(Take(true), (std::vector<Call>{{0, u""}, {10, u""}, {-9996, row.message}}));
    EXPECT_EQ(reports.reports.size(), 1u);
    EXPECT_TRUE(std::filesystem::exists(temp.path() / "out" / "f1.txt"));
    EXPECT_FALSE(std::filesystem::exists(temp.path() / "out" / "f3.txt"));
  }
  EXPECT_FALSE(std::filesystem::exists(temp.path() / "escape.txt"));
}

TEST_F(ZipExtractTest, FromAHandleThatStaysOpen) {
  Archive archive = Numbered(2);
  archive.prefix = "an installer's own bytes in front";
  const std::u16string path = Write(archive);
  platform::FileHandles& io = platform::Service<platform::FileHandles>();
  const platform::Handle file =
      io.CreateFileHandle(path, platform::kGenericRead, platform::kFileShareRead, platform::kOpenExisting, 0);
  ASSERT_NE(file, platform::InvalidFileHandle());
  EXPECT_TRUE(ExtractZipHandle(file, Out(), Recorder(), 0, 2));
  EXPECT_EQ(Take(), (std::vector<Call>{{0, u""}, {1, u""}, {2, u""}}));
  EXPECT_EQ(ReadFileBytes(temp.path() / "out" / "f1.txt"), "data");
  EXPECT_NE(io.SetFilePointer(file, 0, platform::kFileBegin), platform::kInvalidSetFilePointer);

  {
    platform::FakeFileHandles fake;
    fake.SetUnseekable(true);
    EXPECT_FALSE(ExtractZipHandle(file, Out(), Recorder(), 0, 2));
  }
  char hex[16];
  std::snprintf(hex, sizeof hex, "0x%08x", static_cast<uint32_t>(reinterpret_cast<uintptr_t>(file)));
  EXPECT_EQ(Take(), (std::vector<Call>{{-1, u"OpenZipHandle '" + Wide(hex) + u"' failed, error=1"}}));
  io.CloseHandle(file);

  EXPECT_FALSE(ExtractZipHandle(platform::InvalidFileHandle(), Out(), Recorder(), 0, 2));
  EXPECT_EQ(Take(), (std::vector<Call>{{-1, u"invalid file handle"}}));
  EXPECT_TRUE(reports.reports.empty());
}

// Each item's headers are read once and in order: its local header, then its
// name, extra field and first block of data in one read; the central
// directory comes a block at a time; the archive is read front to back
// without seeking between items.
TEST_F(ZipExtractTest, EachHeaderIsReadOnceAndInOrder) {
  const std::u16string path = Write(Numbered(200));
  platform::FakeFileHandles fake;
  EXPECT_TRUE(ExtractZipFile(path, Out(), nullptr, 0, 100));
  EXPECT_EQ(ReadFileBytes(temp.path() / "out" / "f199.txt"), "data");
  EXPECT_LE(fake.CallCount("ReadFile"), 2 * 200 + 4);
  EXPECT_LE(fake.CallCount("SetFilePointer"), 5);
}

// A real tree in and out, over what is there: every file byte-identical,
// with its time and its read-only attribute.
int64_t ModifiedSeconds(const std::filesystem::path& path) {
#ifdef _WIN32
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExW(path.wstring().c_str(), GetFileExInfoStandard, &data)) return -1;
  const uint64_t ticks = (static_cast<uint64_t>(data.ftLastWriteTime.dwHighDateTime) << 32) |
                         data.ftLastWriteTime.dwLowDateTime;
  return static_cast<int64_t>(ticks / 10000000ull) - 11644473600ll;
#else
  struct stat st;
  if (stat(path.c_str(), &st) != 0) return -1;
  return st.st_mtime;
#endif
}

TEST_F(ZipExtractTest, RoundTripOfARealTree) {
  std::mt19937 random(7);
  Archive archive;
  std::vector<std::pair<std::string, uint32_t>> files;  // name, mtime
  for (int i = 0; i < 3000; ++i) {
    const int depth = static_cast<int>(random() % 4);
    std::string name;
    for (int d = 0; d < depth; ++d) name += "dir" + std::to_string(random() % 6) + "/";
    name += "file" + std::to_string(i) + (i % 3 == 0 ? ".bin" : ".txt");
    Item item;
    item.name = name;
    const size_t size = i % 17 == 0 ? 0 : random() % (i % 50 == 0 ? 200000 : 4000);
    item.data.resize(size);
    for (size_t b = 0; b < size; ++b) {
      item.data[b] = i % 3 == 0 ? static_cast<char>(random()) : static_cast<char>('a' + (b * 7 + i) % 26);
    }
    item.method = size % 5 == 0 ? 0 : 8;
    if (i % 11 == 0) item.externalAttr = 0100444u << 16;
    const uint32_t mtime = 1500000000u + static_cast<uint32_t>(random() % 200000000u);
    item.localExtra = zip_test::UtExtra(3, {mtime, mtime + 1});
    files.emplace_back(name, mtime);
    archive.items.push_back(item);
  }
  // A file that is there already, longer than the new one, is replaced.
  orvane_test::WriteBytes(temp.path() / "out" / std::filesystem::u8path(files[1].first), std::string(300000, 'o'));
  EXPECT_TRUE(ExtractZipFile(Write(archive), Out(), nullptr, 0, 100));
  int mismatched = 0;
  for (size_t i = 0; i < files.size(); ++i) {
    const std::filesystem::path path = temp.path() / "out" / std::filesystem::u8path(files[i].first);
    // An empty item is created but gets no times: its read ends without
    // reaching the item's end.
    const bool empty = archive.items[i].data.empty();
    const bool same = ReadFileBytes(path) == archive.items[i].data && std::filesystem::exists(path) &&
                      (empty || ModifiedSeconds(path) == files[i].second);
    const bool readOnly =
        (std::filesystem::status(path).permissions() & std::filesystem::perms::owner_write) == std::filesystem::perms::none;
    if (!same || readOnly != (i % 11 == 0)) {
      if (++mismatched < 5) ADD_FAILURE() << files[i].first;
    }
  }
  EXPECT_EQ(mismatched, 0);
  // Read-only files have to be made writable again before the directory goes.
  for (size_t i = 0; i < files.size(); i += 11) {
    std::filesystem::permissions(temp.path() / "out" / std::filesystem::u8path(files[i].first),
                                 std::filesystem::perms::owner_write, std::filesystem::perm_options::add);
  }
}

}  // namespace
