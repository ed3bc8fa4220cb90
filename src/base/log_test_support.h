// Test support for the log and its neighbours: a temporary directory in the
// core's Windows path form, a fake platform, and a log file opened in it that
// the test reads back byte for byte.
#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "base/log.h"
#include "base/log_encoder.h"
#include "gtest/gtest.h"
#include "platform/fake_platform.h"

namespace orvane_test {

class TempDir {
 public:
  TempDir() {
    std::random_device random;
    path_ = std::filesystem::temp_directory_path() / ("orvane_foundations_" + std::to_string(random()));
    std::filesystem::create_directories(path_);
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  // The core speaks Windows paths; the native backend translates them.
  std::u16string core() const {
    std::u16string text = path_.u16string();
    for (char16_t& c : text) c = c == u'/' ? u'\\' : c;
    return text;
  }

 private:
  std::filesystem::path path_;
};

inline std::string ReadFileBytes(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// The fixed prefix of a line with the fake's clock and ids.
inline std::string LinePrefix(const std::string& level, const std::string& tag = "launcher") {
  return "2025-11-14 13:22:06.123 [" + level + "][ 4312][ 9120] [" + tag + "] ";
}

constexpr char kBanner[] = "------------ Log start -------------";

// A fake platform, clean log state and, with OpenLog(), a log file in a
// temporary directory.
class LogFileTest : public ::testing::Test {
 protected:
  void SetUp() override { ResetLogStateForTesting(); }
  void TearDown() override { ResetLogStateForTesting(); }

  void OpenLog(const std::u16string& tag = u"launcher") {
    SetLogFileTag(tag);
    OpenLogFile(temp.core() + u"\\log", u"test.log");
  }
  // A fresh log for the next row of a table: state reset, file removed.
  void ReopenLog() {
    ResetLogStateForTesting();
    std::filesystem::remove(LogPath());
    OpenLog();
  }
  std::filesystem::path LogPath() const { return temp.path() / "log" / "test.log"; }
  std::string LogText() const { return ReadFileBytes(LogPath()); }
  // The lines of the log, each without its CR LF.
  std::vector<std::string> LogLines() const {
    const std::string text = LogText();
    std::vector<std::string> lines;
    for (size_t pos = 0, end; pos < text.size(); pos = end + 2) {
      end = text.find("\r\n", pos);
      lines.push_back(text.substr(pos, end - pos));
      if (end == std::string::npos) break;
    }
    return lines;
  }

  platform::FakePlatform fake;
  TempDir temp;
};

}  // namespace orvane_test
