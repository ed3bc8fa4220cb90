// Several launchers append to one log at once: every piece must land whole.
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "gtest/gtest.h"
#include "platform/files/files.h"
#include "platform/system/environment.h"

namespace platform {
namespace {

TEST(SharedAppendTest, ConcurrentAppendersNeitherSplitNorOverwriteEachOther) {
  auto& env = NativeService<Environment>();
  auto& files = NativeService<Files>();
  std::u16string dir;
  if (!env.GetEnv(u"TEMP", &dir) || dir.empty()) dir = u"\\tmp";
  const std::u16string path = dir + u"\\orvane-shared-append-" + std::u16string(1, u'a' + env.ProcessId() % 26) +
                              std::u16string(1, u'a' + env.ProcessId() / 26 % 26) + u".log";
  files.DeleteOneFile(path);

  // Pieces larger than any stdio buffer, so a runtime that splits them or
  // writes at a stale end shows it within a few hundred rounds.
  constexpr int kRounds = 300;
  constexpr size_t kPiece = 20000;
  auto writer = [&](char mark) {
    std::FILE* stream = files.OpenStream(path, "a+b");
    ASSERT_NE(stream, nullptr);
    const std::string piece = std::string(kPiece, mark) + "\r\n";
    for (int i = 0; i < kRounds; ++i) EXPECT_TRUE(files.AppendShared(stream, piece));
    std::fclose(stream);
  };
  std::thread first(writer, 'a');
  std::thread second(writer, 'b');
  first.join();
  second.join();

  std::FILE* in = files.OpenStream(path, "rb");
  ASSERT_NE(in, nullptr);
  std::string all;
  char buffer[65536];
  for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, in)) > 0;) all.append(buffer, n);
  std::fclose(in);
  files.DeleteOneFile(path);

  int whole[2] = {0, 0};
  size_t start = 0;
  for (size_t end; (end = all.find("\r\n", start)) != std::string::npos; start = end + 2) {
    const std::string line = all.substr(start, end - start);
    const bool intact = line.size() == kPiece && line.find_first_not_of(line[0]) == std::string::npos;
    ASSERT_TRUE(intact) << "torn piece at byte " << start;
    ++whole[line[0] == 'a' ? 0 : 1];
  }
  EXPECT_EQ(start, all.size());
  EXPECT_EQ(whole[0], kRounds);
  EXPECT_EQ(whole[1], kRounds);
}

}  // namespace
}  // namespace platform
