// The other two maintenance commands against the built launcher: the
// uninstaller hand-off with a probe as uninstall.exe (a missing one is
// UninstallerTest.HandOffRows'), and the scheduled
// task's registration (under Wine read back from Wine's task scheduler).
#include <optional>
#include <string>
#include <vector>

#include "e2e_support.h"
#include "gtest/gtest.h"
#include "maintenance/task_schedule.h"
#include "platform/text/unicode.h"
#include "toolkit/task_housekeeping.h"

#ifdef _WIN32
#include <windows.h>
#include <oleauto.h>
#include <taskschd.h>
#endif

namespace e2e {
namespace {

constexpr char kDescription[] =
    "Please make sure to use the latest version of Orvane. If the task is disabled or interrupted, your Orvane will "
    "not be able to be up-to-date, which means that potential security holes will not be fixed and some features "
    "will not work properly.";

TEST(Uninstall, HandsOverWithoutArgumentsAndEnds) {
  Sandbox box("UninstallHandOff");
  const fs::path launcher = box.InstallLauncher();
  const fs::path uninstaller = box.AddVersion(".", "uninstall.exe");

  const RunResult run = box.Run(launcher, "--command=run_uninstall --silent --lang=fr");
  EXPECT_TRUE(EndedWith(run, 0)) << run.stderrText;
  const std::vector<ProbeRecord> records = box.WaitForRecords(1);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_TRUE(records[0].argv.empty());  // the launcher's switches stay behind
  EXPECT_EQ(records[0].exe, WinForm(fs::canonical(uninstaller)));
  EXPECT_EQ(ReadFile(box.ReportPath()), "") << "no report for this command";
}

#ifndef _WIN32
// Linux has no task scheduler: the class is not registered, the failure is
// logged and reported, and the command still ends with 0.
TEST(TaskSchedule, WithoutASchedulerTheFailureIsReportedAndTheExitCodeIsZero) {
  Sandbox box("TaskScheduleNone");
  const fs::path launcher = box.InstallLauncher();
  const RunResult run = box.Run(launcher, "--command=rebuild_taskschedule");
  EXPECT_TRUE(EndedWith(run, 0)) << run.stderrText;
  const LogView log(box.LogPath());
  EXPECT_TRUE(HasLinesInOrder(log, {{"INFO", "AdminEnv:1"}, {"ERRO", "Failed to create an instance of ITaskService: 80040154"}},
                              kDefaultSpanMode))
      << log.Dump();
  const std::string report = ReadFile(box.ReportPath());
  EXPECT_NE(report.find("\"event_name\":\"update_launcher_add_task\""), std::string::npos) << report;
  EXPECT_NE(report.find("\"extra2_key\":\"ret\",\"extra2_val\":\"-2147221164\""), std::string::npos) << report;
}
#else
std::string Narrow(BSTR text) {
  std::string out;
  for (const wchar_t* p = text; p != nullptr && *p != 0; ++p) out += *p < 0x80 ? static_cast<char>(*p) : '?';
  return out;
}

// What Wine's task scheduler holds for a task, read through its COM interface.
// Wine's collections answer E_NOTIMPL to get_Count, so the stored XML is
// what is read. None when the task is not found.
std::optional<std::string> ReadTask(const wchar_t* name) {
  std::optional<std::string> task;
  ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  const CLSID clsid = {0x0F87369F, 0xA4E5, 0x4CFC, {0xBD, 0x3E, 0x73, 0xE6, 0x15, 0x45, 0x72, 0xDD}};
  const IID iid = {0x2FABA4C7, 0x4DA9, 0x4013, {0x96, 0x97, 0x20, 0xCC, 0x3F, 0xD4, 0x0F, 0x85}};
  ITaskService* service = nullptr;
  if (SUCCEEDED(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, iid, reinterpret_cast<void**>(&service)))) {
    VARIANT empty;
    ::VariantInit(&empty);
    ITaskFolder* folder = nullptr;
    IRegisteredTask* registered = nullptr;
    ITaskDefinition* definition = nullptr;
    BSTR root = ::SysAllocString(L"\\");
    BSTR taskName = ::SysAllocString(name);
    if (SUCCEEDED(service->Connect(empty, empty, empty, empty)) && SUCCEEDED(service->GetFolder(root, &folder)) &&
        SUCCEEDED(folder->GetTask(taskName, &registered)) && SUCCEEDED(registered->get_Definition(&definition))) {
      BSTR xmlText = nullptr;
      task = SUCCEEDED(registered->get_Xml(&xmlText)) ? Narrow(xmlText) : "";
      ::SysFreeString(xmlText);
      definition->Release();
    }
    if (registered != nullptr) registered->Release();
    if (folder != nullptr) folder->Release();
    ::SysFreeString(root);
    ::SysFreeString(taskName);
    service->Release();
  }
  ::CoUninitialize();
  return task;
}

// Under Wine every file and directory is owned by the user
// (S-1-5-21-0-0-0-1000) and no access list that is set is kept (see
// docs/WINE.md), so neither the install root nor the copy's directory passes
// the check: the earlier task is deleted, no task is registered, and the
// report's ret is E_ACCESSDENIED.
TEST(TaskSchedule, UnderWineNoDirectoryPassesAndNoTaskIsLeft) {
  Sandbox box("TaskScheduleWine");
  const fs::path launcher = box.InstallLauncher();
  ClearLeftoverTask();
  const std::u16string copy = GetTaskLauncherCopyPath(ShippedNames());
  ASSERT_FALSE(copy.empty());
  const std::string copyDir = platform::Utf16ToUtf8(copy.substr(0, copy.rfind(u'\\')));
  // An earlier task that names the launcher in a directory the user can write.
  ASSERT_EQ(RegisterUpdateTask(u"OrvaneUpdateTaskMachineUA", platform::Utf8ToUtf16(WinForm(launcher)),
                               u"--command=run_update $(Arg0)", u"earlier"),
            0);
  ASSERT_TRUE(ReadTask(L"OrvaneUpdateTaskMachineUA").has_value());

  EXPECT_TRUE(EndedWith(box.Run(launcher, "--command=rebuild_taskschedule"), 0));
  const LogView log(box.LogPath());
  EXPECT_TRUE(HasLinesInOrder(
      log,
      {{"INFO", "PrepareTaskLauncher, the task runs a copy: '" + WinForm(launcher) + "' is owned by S-1-5-21-0-0-0-1000"},
       {"ERRO", "PrepareTaskLauncher, directory refused: '" + copyDir + "' is owned by S-1-5-21-0-0-0-1000"},
       {"ERRO", "Cannot place the launcher the task runs: 80070005"}},
      kDefaultSpanMode))
      << log.Dump();
  const std::string report = ReadFile(box.ReportPath());
  EXPECT_NE(report.find("\"event_name\":\"update_launcher_add_task\",\"fail_reason\":\"\",\"extra1_key\":\"version\","
                        "\"extra1_val\":\"1.78.4\",\"extra2_key\":\"ret\",\"extra2_val\":\"-2147024891\""),
            std::string::npos)
      << report;
  EXPECT_FALSE(ReadTask(L"OrvaneUpdateTaskMachineUA").has_value()) << "no task may name a file the user can write";
  EXPECT_FALSE(fs::exists(fs::path(copy))) << "nothing is copied into a directory that failed the check";
  EXPECT_TRUE(RemoveTaskLauncherCopy(ShippedNames()));  // the empty directories made go again
  EXPECT_FALSE(fs::exists(fs::path(copyDir)));
}

// What Wine's scheduler keeps of the definition the launcher registers,
// registered here with the copy's path. Wine drops some fields on storing
// (see docs/WINE.md); those are checked to be what Wine is known to keep, and
// the exact values are proven with the fake.
TEST(TaskSchedule, TheDefinitionWineKeeps) {
  const std::u16string copy = GetTaskLauncherCopyPath(ShippedNames());
  for (int run = 0; run < 2; ++run) {  // a second registration replaces the task
    ASSERT_EQ(RegisterUpdateTask(u"OrvaneUpdateTaskMachineUA", copy, u"--command=run_update $(Arg0)",
                                 platform::Utf8ToUtf16(kDescription)),
              0);
  }
  const std::optional<std::string> task = ReadTask(L"OrvaneUpdateTaskMachineUA");
  ASSERT_TRUE(task.has_value());
  const std::string& xml = *task;
  auto count = [&xml](const std::string& what) {
    size_t n = 0;
    for (size_t at = xml.find(what); at != std::string::npos; at = xml.find(what, at + 1)) ++n;
    return n;
  };
  for (const std::string& element :
       {"<Description>" + std::string(kDescription) + "</Description>", std::string("<Triggers/>"),
        std::string("<StartWhenAvailable>true</StartWhenAvailable>"),
        std::string("<DisallowStartIfOnBatteries>false</DisallowStartIfOnBatteries>"),
        // Settings the launcher leaves alone keep a new definition's values.
        std::string("<StopIfGoingOnBatteries>true</StopIfGoingOnBatteries>"),
        std::string("<ExecutionTimeLimit>PT72H</ExecutionTimeLimit>"), std::string("<Enabled>true</Enabled>"),
        std::string("<Hidden>false</Hidden>")}) {
    EXPECT_EQ(count(element), 1u) << element << " in " << xml;
  }
  EXPECT_EQ(count("<Author>"), 0u) << xml;
  EXPECT_EQ(count("<Exec/>") + count("<Exec>"), 1u) << "one exec action: " << xml;
  // Wine stores the action without its path and arguments and the principal
  // empty (docs/WINE.md); should it ever keep them, they must be these.
  for (const std::string& kept : {"<Command>" + platform::Utf16ToUtf8(copy) + "</Command>",
                                  std::string("<Arguments>--command=run_update $(Arg0)</Arguments>"),
                                  std::string("<RunLevel>HighestAvailable</RunLevel>")}) {
    if (count(kept.substr(0, kept.find('>') + 1)) != 0) {
      EXPECT_EQ(count(kept), 1u) << xml;
    }
  }
  EXPECT_EQ(DeleteUpdateTask(u"OrvaneUpdateTaskMachineUA", u""), 0);  // the path Wine gives back
}
#endif

}  // namespace
}  // namespace e2e
