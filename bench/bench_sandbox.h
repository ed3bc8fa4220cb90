// A temporary install root for the whole-process benchmarks: the launcher
// copied in beside "app" holding the probe as Orvane.exe, the user's data
// directories and the kernel-object namespace redirected into it, and the
// probe's record file, so that a benchmark never touches the real profile.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/error_codes.h"
#include "platform/processes/processes.h"
#include "platform/system/clock.h"
#include "platform/system/environment.h"
#include "platform/text/unicode.h"

// The built programs; the build defines these, a run may name others.
#ifndef ORVANE_BENCH_LAUNCHER
#define ORVANE_BENCH_LAUNCHER ""
#endif
#ifndef ORVANE_BENCH_PROBE
#define ORVANE_BENCH_PROBE ""
#endif
#ifndef ORVANE_BENCH_BARE_START
#define ORVANE_BENCH_BARE_START ""
#endif

namespace bench {

namespace fs = std::filesystem;

// A program path from the command line, the environment or the build. Under
// Wine the build hands over Linux paths: /x/y is Z:\x\y there.
inline fs::path ProgramPath(const std::string& given) {
  std::string text = given;
#ifdef _WIN32
  if (!text.empty() && text[0] == '/') {
    std::replace(text.begin(), text.end(), '/', '\\');
    text = "Z:" + text;
  }
#endif
  return fs::u8path(text);
}

inline std::u16string WinForm16(const fs::path& path) {
  std::string text = path.u8string();
  std::replace(text.begin(), text.end(), '/', '\\');
  return platform::Utf8ToUtf16(text);
}

inline std::u16string Native16(const fs::path& path) { return platform::Utf8ToUtf16(path.u8string()); }

class Sandbox {
 public:
  Sandbox(const fs::path& launcher, const fs::path& probe, const std::string& name) {
    std::error_code ec;
    base_ = fs::temp_directory_path(ec) /
            (name + "-" + std::to_string(platform::Service<platform::Environment>().ProcessId()));
    fs::remove_all(base_, ec);
    root_ = base_ / "root";
    fs::create_directories(root_ / "app");
    fs::create_directories(base_ / "local");
    fs::create_directories(base_ / "roaming");
    fs::create_directories(base_ / "objects");
    launcher_ = root_ / launcher.filename();
    appExe_ = root_ / "app" / "Orvane.exe";
    fs::copy_file(launcher, launcher_, fs::copy_options::overwrite_existing);
    fs::copy_file(probe, appExe_, fs::copy_options::overwrite_existing);
    record_ = base_ / "records.jsonl";
    SetEnv(u"LOCALAPPDATA", Native16(base_ / "local"));
    SetEnv(u"APPDATA", Native16(base_ / "roaming"));
    SetEnv(u"ORVANE_OBJECT_NAMESPACE", Native16(base_ / "objects"));
    SetEnv(u"ORVANE_PROBE_RECORD", Native16(record_));
    for (const char16_t* name : {u"ORVANE_PROBE_STAY_MS", u"DISPLAY", u"WAYLAND_DISPLAY"}) {
      platform::Service<platform::Environment>().SetEnv(name, nullptr);
    }
  }
  ~Sandbox() {
    std::error_code ec;
    for (int i = 0; i < 20; ++i) {
      fs::remove_all(base_, ec);
      if (!fs::exists(base_, ec)) break;
      platform::Service<platform::Clock>().SleepMs(100);
    }
  }

  const fs::path& launcher() const { return launcher_; }
  const fs::path& appExe() const { return appExe_; }
  const fs::path& record() const { return record_; }

  // Number of probe records written so far.
  size_t RecordCount() const {
    std::ifstream in(record_, std::ios::binary);
    return static_cast<size_t>(std::count(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>(), '\n'));
  }

  // start_ns of the last record once there are `count` of them; 0 on time-out.
  uint64_t WaitForStartNs(size_t count, uint32_t timeoutMs) const {
    auto& clock = platform::Service<platform::Clock>();
    const uint64_t deadline = clock.MonotonicNs() + uint64_t{timeoutMs} * 1000000;
    while (clock.MonotonicNs() < deadline) {
      std::ifstream in(record_, std::ios::binary);
      std::stringstream text;
      text << in.rdbuf();
      std::vector<std::string> lines;
      std::string line;
      while (std::getline(text, line)) lines.push_back(line);
      if (lines.size() >= count) {
        const std::string& last = lines[count - 1];
        const std::string key = "\"start_ns\":";
        const size_t at = last.find(key);
        return at == std::string::npos ? 0 : std::strtoull(last.c_str() + at + key.size(), nullptr, 10);
      }
      clock.SleepMs(1);
    }
    return 0;
  }

 private:
  static void SetEnv(const std::u16string& name, const std::u16string& value) {
    platform::Service<platform::Environment>().SetEnv(name, &value);
  }

  fs::path base_;
  fs::path root_;
  fs::path launcher_;
  fs::path appExe_;
  fs::path record_;
};

inline double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  const size_t n = values.size();
  return n % 2 == 1 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

}  // namespace bench
