// The task scheduler on Linux: there is none. COM stands initialised by the
// entry point as on Windows (CoInitialize answers S_FALSE, and the security
// call RPC_E_TOO_LATE), and creating the scheduler's class fails as on a
// system where it is not registered (REGDB_E_CLASSNOTREG). Nothing after
// that can be reached; those calls answer E_POINTER for the object that
// cannot exist.
#include "platform/tasks/task_scheduler.h"

namespace platform {
namespace {

constexpr int32_t kSFalse = 1;
constexpr int32_t kEPointer = static_cast<int32_t>(0x80004003u);

class PosixTaskScheduler final : public TaskScheduler {
 public:
  int32_t CoInitialize() override { return kSFalse; }
  int32_t CoInitializeSecurity() override { return static_cast<int32_t>(kRpcETooLate); }
  void CoUninitialize() override {}
  int32_t CreateTaskService(TaskObject* service) override {
    *service = nullptr;
    return static_cast<int32_t>(kRegdbEClassNotReg);
  }
  int32_t Connect(TaskObject) override { return kEPointer; }
  int32_t GetFolder(TaskObject, const std::u16string&, TaskObject* folder) override { return None(folder); }
  int32_t DeleteTask(TaskObject, const std::u16string&) override { return kEPointer; }
  int32_t NewTask(TaskObject, TaskObject* definition) override { return None(definition); }
  int32_t GetRegistrationInfo(TaskObject, TaskObject* info) override { return None(info); }
  int32_t GetPrincipal(TaskObject, TaskObject* principal) override { return None(principal); }
  int32_t GetSettings(TaskObject, TaskObject* settings) override { return None(settings); }
  int32_t GetActions(TaskObject, TaskObject* actions) override { return None(actions); }
  int32_t PutAuthorNull(TaskObject) override { return kEPointer; }
  int32_t PutDescription(TaskObject, const std::u16string&) override { return kEPointer; }
  int32_t PutLogonType(TaskObject, int32_t) override { return kEPointer; }
  int32_t PutRunLevel(TaskObject, int32_t) override { return kEPointer; }
  int32_t PutStartWhenAvailable(TaskObject, bool) override { return kEPointer; }
  int32_t PutDisallowStartIfOnBatteries(TaskObject, bool) override { return kEPointer; }
  int32_t CreateAction(TaskObject, int32_t, TaskObject* action) override { return None(action); }
  int32_t QueryExecAction(TaskObject, TaskObject* execAction) override { return None(execAction); }
  int32_t PutPath(TaskObject, const std::u16string&) override { return kEPointer; }
  int32_t PutArguments(TaskObject, const std::u16string&) override { return kEPointer; }
  std::u16string UserName() override { return std::u16string(); }
  int32_t RegisterTaskDefinition(TaskObject, const std::u16string&, TaskObject, int32_t, const std::u16string&,
                                 int32_t, const std::u16string&, TaskObject* registered) override {
    return None(registered);
  }
  int32_t GetTask(TaskObject, const std::u16string&, TaskObject* registered) override { return None(registered); }
  int32_t GetDefinition(TaskObject, TaskObject* definition) override { return None(definition); }
  int32_t GetActionItem(TaskObject, int32_t, TaskObject* action) override { return None(action); }
  int32_t GetPath(TaskObject, std::u16string* path) override {
    path->clear();
    return kEPointer;
  }
  int32_t RunTask(TaskObject, const std::u16string&, TaskObject* running) override { return None(running); }
  int32_t GetEnginePid(TaskObject, uint32_t* pid) override {
    *pid = 0;
    return kEPointer;
  }
  int32_t StopTask(TaskObject) override { return kEPointer; }
  void Release(TaskObject) override {}

 private:
  static int32_t None(TaskObject* out) {
    *out = nullptr;
    return kEPointer;
  }
};

}  // namespace

template <>
TaskScheduler& NativeService<TaskScheduler>() {
  static PosixTaskScheduler scheduler;
  return scheduler;
}

}  // namespace platform
