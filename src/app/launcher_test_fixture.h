// Test support for the launcher's run: a temporary install root and profile on
// disk, the fake platform pointed at them, and the embedded documents.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <random>
#include <string>

#include "app/auto_launch_gate.h"
#include "app/launcher_app.h"
#include "base/log.h"
#include "base/log_encoder.h"
#include "gtest/gtest.h"
#include "platform/fake_platform.h"

namespace launcher_test {

namespace fs = std::filesystem;

// Windows form of a path on disk; the backends translate separators.
inline std::u16string WinPath(const fs::path& path) {
  std::u16string text = path.generic_u16string();
  for (char16_t& c : text) c = c == u'/' ? u'\\' : c;
  return text;
}

inline std::string Narrow(const std::u16string& text) {
  std::string out;
  for (char16_t c : text) out += c < 0x80 ? static_cast<char>(c) : '?';
  return out;
}

inline std::string ReadAll(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteAll(const fs::path& path, const std::string& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
}

// The run only needs the locale table to parse.
inline const char kTestLocale[] =
    "\xEF\xBB\xBF{\"Vorn_Installer_LaterButton\":{\"en\":\"L\",\"jp\":\"L\",\"cn\":\"L\"}}";

class LauncherTest : public ::testing::Test {
 protected:
  LauncherTest() {
    std::random_device random;
    base_ = fs::temp_directory_path() / ("orvane_app_test_" + std::to_string(random()) + std::to_string(random()));
    root = base_ / "install";
    fs::create_directories(root);
    fake.modulePath = WinPath(root / "Orvane.exe");
    fake.SetEnvValue(u"LOCALAPPDATA", WinPath(base_ / "local"));
    RestoreResources();
  }
  ~LauncherTest() override {
    ResetAutoLaunchGateForTesting();
    ResetLogStateForTesting();
    ResetLogEncoderForTesting();
    std::error_code ignored;
    fs::remove_all(base_, ignored);
  }

  void RestoreResources() {
    fake.SetResource(104, u"BIN", ReadAll(ORVANE_SOURCE_DIR "/src/resources/config.json"));
    fake.SetResource(110, u"BIN", kTestLocale);
  }

  // A fresh application object, gate, log and user data for the next row.
  void ResetApp() {
    ResetAutoLaunchGateForTesting();
    ResetLogStateForTesting();
    std::error_code ignored;
    fs::remove_all(UserData(), ignored);
    RestoreResources();
    fake.startedProcesses.clear();
    fake.messageBoxes.clear();
    app.~CLauncherApp();
    new (&app) CLauncherApp();
  }

  // Runs the sequence into the language step, which fails for want of the
  // locale table: paths, command line and configuration are then set, the
  // log is open, and the gate has not been consulted.
  void Prime(const std::u16string& commandLine = u"") {
    fake.RemoveResource(110, u"BIN");
    ASSERT_EQ(app.Run(commandLine.c_str()), -3);
    fake.SetResource(110, u"BIN", kTestLocale);
    fake.ClearCalls();
  }

  fs::path UserData() const { return base_ / "local" / "Orvane" / "User Data"; }
  std::string Log() const { return ReadAll(UserData() / "sdk_storage" / "log" / "Orvane-launcher.log"); }
  void MakeExe(const std::string& relative) { WriteAll(root / relative, "MZ"); }

  platform::FakePlatform fake;
  fs::path base_;
  fs::path root;
  CLauncherApp app;
};

}  // namespace launcher_test
