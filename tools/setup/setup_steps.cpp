#include "setup_steps.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include "layout/paths.h"
#include "layout/shortcuts.h"
#include "setup_paths.h"
#include "setup_process.h"
#include "setup_report.h"
#include "setup_task.h"
#include "toolkit/autorun.h"
#include "toolkit/file_md5.h"
#include "toolkit/icon_cache.h"
#include "toolkit/install_location.h"
#include "toolkit/install_report.h"
#include "toolkit/process_end.h"
#include "toolkit/process_finders.h"
#include "toolkit/shortcut_create.h"
#include "toolkit/zip_extract.h"

namespace fs = std::filesystem;

namespace setup {
namespace {

constexpr char16_t kIniName[] = u"Orvane.ini";
constexpr char16_t kStartMenuDir[] = u"Microsoft\\Windows\\Start Menu\\Programs";
constexpr char16_t kPinnedDir[] = u"Microsoft\\Internet Explorer\\Quick Launch\\User Pinned\\TaskBar";

int Fail(const std::string& message) {
  std::fprintf(stderr, "orvane-setup: %s\n", message.c_str());
  return 1;
}

void Say(const std::string& line) {
  std::printf("%s\n", line.c_str());
  std::fflush(stdout);
}

std::string Show(const std::u16string& path) { return ToUtf8(path); }

void ReportStage(uint32_t stage) {
  EventReport report = MakeStageReport(stage);
  EventReporter::GetInstance().Report(report);
}

int FailStep(int32_t code, const std::string& message) {
  EventReport report = MakeErrorReport(code, 0);
  EventReporter::GetInstance().Report(report);
  return Fail(message);
}

std::u16string DataDir(const CProductConfig& config) { return GetLocalAppDataPath(config.data_dir, true); }

// The install root: the one given, else the recorded install location, else
// the default of the user's scope.
std::u16string ChooseRoot(const CProductConfig& config, const Options& options) {
  if (!options.root.empty()) return ToolkitPath(fs::absolute(NativePath(options.root)));
  std::u16string root = GetInstalledDir(config, kInstallScopeUser, true);
  if (root.empty()) root = GetDefaultInstallDir(config, kInstallScopeUser);
  while (root.size() > 1 && root.back() == u'\\') root.pop_back();
  return root;
}

bool ApplicationRuns(const CProductConfig& config, const std::u16string& root) {
  std::vector<CFoundProcess> found;
  CVornProcessFinder().Find(config, &found, root + u"\\");
  return !found.empty();
}

std::string ReadText(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Replaces the file's content through a new file moved over it, so that a
// reader sees the old name or the new one, never a part.
bool WriteFileWhole(const fs::path& file, const std::string& content) {
  const fs::path temp = file.string() + ".new";
  {
    std::ofstream out(temp, std::ios::binary | std::ios::trunc);
    out << content;
    if (!out.flush()) return false;
  }
  std::error_code error;
  fs::rename(temp, file, error);
  if (error) fs::remove(temp, error);
  return !error;
}

// Unpacks into root\version with a progress bar; on failure the directory
// is removed again, so nothing half-written is left to be started.
bool Unpack(const std::u16string& archive, const fs::path& target, std::string* error) {
  std::error_code ignored;
  fs::remove_all(target, ignored);
  int32_t failure = 0;
  std::string failureText;
  int lastShown = -1;
  const bool ok = ExtractZipFile(archive, ToolkitPath(target), [&](int32_t code, const std::u16string& message) {
    if (code < 0) {
      failure = code;
      failureText = ToUtf8(message);
      return;
    }
    const int percent = code > 100 ? 100 : static_cast<int>(code);
    if (percent == lastShown) return;
    lastShown = percent;
    const int filled = percent / 5;
    std::printf("\r[%s%s] %3d%%", std::string(static_cast<size_t>(filled), '#').c_str(),
                std::string(static_cast<size_t>(20 - filled), '.').c_str(), percent);
    std::fflush(stdout);
  }, 0, 100);
  if (lastShown >= 0) std::printf("\n");
  if (ok && failure == 0) return true;
  fs::remove_all(target, ignored);
  *error = "the archive did not unpack (" + std::to_string(failure) + " " + failureText + ")";
  return false;
}

// A zip item carries no execute right that the toolkit reads; on Linux the
// application's main executable is given it, as a package manager would.
bool MakeMainExecutableRunnable(const CProductConfig& config, const fs::path& versionDir) {
#ifdef _WIN32
  (void)config;
  (void)versionDir;
  return true;
#else
  std::error_code error;
  const fs::path exe = versionDir / NativePath(config.exe_file_name);
  if (!fs::is_regular_file(exe, error)) return true;  // the launcher says what is missing when it starts
  fs::permissions(exe, fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec,
                  fs::perm_options::add, error);
  return !error;
#endif
}

// Runs the placed launcher with --command=rebuild_taskschedule. Its exit code
// is 0 whatever happened; the registration's result is the `ret` of the
// report record it appends.
void RegisterTask(const CProductConfig& config, const fs::path& launcher) {
  const fs::path reportFile = NativePath(JoinPath(JoinPath(DataDir(config), u"update"), u"update_report.json"));
  const size_t before = ReadText(reportFile).size();
  uint32_t exitCode = 0;
  if (!RunAndWait(launcher, {u"--command=rebuild_taskschedule"}, &exitCode)) {
    Say("update task: the launcher could not be started, installed without a task");
    return;
  }
  const std::string added = ReadText(reportFile).substr(before);
  const size_t record = added.rfind("\"update_launcher_add_task\"");
  const std::string key = "\"extra2_val\":\"";
  const size_t at = record == std::string::npos ? std::string::npos : added.find(key, record);
  if (at == std::string::npos) {
    Say("update task: none registered (the launcher ended with " + std::to_string(exitCode) +
        " and reported no registration)");
    return;
  }
  const std::string ret = added.substr(at + key.size(), added.find('"', at + key.size()) - at - key.size());
  Say(ret == "0" ? "update task: registered" : "update task: not registered (ret=" + ret + "), installed without one");
}

std::u16string StartMenuShortcut(const CProductConfig& config) {
  return JoinPath(GetRoamingAppDataPath(kStartMenuDir, false), config.product_name_en + u".lnk");
}

}  // namespace

int Install(const CProductConfig& config, const Options& options) {
  const std::u16string root = ChooseRoot(config, options);
  if (root.empty()) return Fail("no install location could be chosen or made");
  Say("install root: " + Show(root));
  const std::u16string dataDir = DataDir(config);
  EventReporter::GetInstance().SetDelegate(std::make_unique<JsonLinesReportDelegate>(
      NativePath(JoinPath(JoinPath(dataDir, u"update"), u"install_report.json"))));
  ReportStage(1);
  ReportStage(2);
  if (ApplicationRuns(config, root)) {
    return FailStep(kInstallErrorKillProcessTimeout, "the application is running from " + Show(root) + "; close it first");
  }
  fs::path launcherSource = options.launcher.empty() ? NativePath(JoinPath(GetDirectoryPart(GetModuleFilePath()),
                                                                            kLauncherFileName))
                                                     : fs::absolute(NativePath(options.launcher));
  std::error_code error;
  if (!fs::is_regular_file(launcherSource, error)) return Fail("no launcher at " + launcherSource.string());

  ReportStage(6);
  const fs::path rootPath = NativePath(root);
  fs::create_directories(rootPath, error);
  std::string unpackError;
  if (!Unpack(options.archive, rootPath / NativePath(options.version), &unpackError)) {
    return FailStep(kInstallErrorUnzipPackageFailed, unpackError);
  }
  MakeMainExecutableRunnable(config, rootPath / NativePath(options.version));
  ReportStage(9);
  const fs::path launcher = rootPath / launcherSource.filename();
  fs::copy_file(launcherSource, launcher, fs::copy_options::overwrite_existing, error);
  if (error) return FailStep(kInstallErrorReleaseLauncherFailed, "the launcher could not be placed: " + error.message());
  ReportStage(10);
  if (!WriteFileWhole(rootPath / NativePath(kIniName), ToUtf8(options.version))) {
    return FailStep(kInstallErrorUpdateLauncherIniFailed, "Orvane.ini could not be written");
  }
#ifdef _WIN32
  // Recorded, so that an update or uninstall that is not told the root finds it.
  if (!SetInstalledDir(config, kInstallScopeUser, root)) {
    return FailStep(kInstallErrorUpdateRegistryFailed, "the install location could not be recorded");
  }
#else
  Say("install location: this system has no registry; not recorded");
#endif
  RegisterTask(config, launcher);
  const std::u16string launcherPath = ToolkitPath(launcher);
  if (options.autorunSeconds) {
#ifdef _WIN32
    if (!Utils::SetAutorunValue(config, launcherPath, *options.autorunSeconds)) {
      return FailStep(kInstallErrorUpdateRegistryFailed, "the autorun value could not be written");
    }
    Say("autorun: starts after " + std::to_string(*options.autorunSeconds) + " s");
#else
    Say("autorun: this system has no Run key; not written");
#endif
  }
  ReportStage(11);
#ifdef _WIN32
  const std::u16string shortcut = StartMenuShortcut(config);
  std::error_code ignored;
  fs::create_directories(NativePath(shortcut).parent_path(), ignored);
  if (!Utils::CreateShortcut(shortcut, launcherPath, u"", root + u"\\", Utils::GetProductAppUserModelId(config))) {
    return FailStep(kInstallErrorCreateShortcutFailed, "the Start-menu shortcut could not be created");
  }
  Say("shortcut: " + Show(shortcut));
#else
  Say("shortcut: this system has no shell links; none created");
#endif
  ReportStage(13);
  Say("installed " + Show(options.version));
  return 0;
}

int Update(const CProductConfig& config, const Options& options) {
  const std::u16string root = ChooseRoot(config, options);
  const fs::path rootPath = NativePath(root);
  std::error_code error;
  if (root.empty() || !fs::exists(rootPath / NativePath(kIniName), error)) {
    return Fail("no installation at " + (root.empty() ? std::string("the default location") : Show(root)));
  }
  if (!options.md5.empty()) {
    std::u16string md5;
    if (!Utils::GetFileMd5(options.archive, &md5)) return Fail("the archive could not be read for its digest");
    if (md5 != options.md5) return Fail("the archive's MD5 is " + Show(md5) + ", not " + Show(options.md5));
  }
  const std::u16string running = FromUtf8(ReadText(rootPath / NativePath(kIniName)));
  if (SameName(options.version, config.version_dir_name) || SameName(options.version, running)) {
    return Fail("--version " + Show(options.version) + " names the copy in use; choose a new name");
  }
  // The marker keeps a launcher started meanwhile from clearing the half-made
  // copy away; it goes whatever the outcome.
  const fs::path marker = NativePath(JoinPath(JoinPath(DataDir(config), u"update"), u"update.task"));
  fs::create_directories(marker.parent_path(), error);
  if (!WriteFileWhole(marker, "orvane-setup")) return Fail("the update marker could not be written");
  std::string unpackError;
  int result = 0;
  if (!Unpack(options.archive, rootPath / NativePath(options.version), &unpackError)) {
    result = Fail(unpackError + "; the running copy is untouched");
  } else if (!MakeMainExecutableRunnable(config, rootPath / NativePath(options.version)) ||
             !WriteFileWhole(rootPath / NativePath(kIniName), ToUtf8(options.version))) {
    fs::remove_all(rootPath / NativePath(options.version), error);
    result = Fail("Orvane.ini could not be written; the running copy is untouched");
  }
  fs::remove(marker, error);
  if (result == 0) Say("updated to " + Show(options.version) + "; the next start switches over");
  return result;
}

int Uninstall(const CProductConfig& config, const Options& options) {
  const std::u16string root = ChooseRoot(config, options);
  if (root.empty()) return Fail("no installation found");
  Say("install root: " + Show(root));
  std::vector<CFoundProcess> found;
  CDirectoryProcessFinder().Find(&found, root + u"\\");
  if (Utils::EndProcesses(found, 5000) != 0) return Fail("a process of the product could not be ended");
  Say("processes ended: " + std::to_string(found.size()));

  Say(DescribeTaskRemoval(RemoveUpdateTask(config, root, kLauncherFileName)));
#ifdef _WIN32
  if (!Utils::RemoveAutorunValue(config)) return Fail("the autorun value could not be removed");
  // The recorded location goes with the installation it names, not another's.
  if (SameName(GetInstalledDir(config, kInstallScopeUser, false), root + u"\\") &&
      !RemoveInstalledDir(config, kInstallScopeUser)) {
    return Fail("the recorded install location could not be removed");
  }
  std::error_code ignored;
  fs::remove(NativePath(StartMenuShortcut(config)), ignored);
  std::vector<CShortcutInfo> pinned;
  const std::u16string pinnedDir = GetRoamingAppDataPath(kPinnedDir, false);
  ScanShortcuts(pinnedDir, [&](const CShortcutInfo& info, bool* matched, bool* stop) {
    MatchShortcutByDirectory(root + u"\\", info, matched, stop);
  }, &pinned);
  for (const CShortcutInfo& info : pinned) fs::remove(NativePath(info.lnkPath), ignored);
  Say("shortcuts removed: " + std::to_string(pinned.size() + 1));
  int32_t icons = 0;
  Utils::RemoveIconCache(&icons);
#endif
  std::error_code error;
  fs::remove_all(NativePath(root), error);
  if (error) return Fail("the install root could not be removed: " + error.message());
  Say("uninstalled");
  return 0;
}

}  // namespace setup
