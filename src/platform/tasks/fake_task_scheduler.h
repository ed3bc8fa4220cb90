// The fake task scheduler, for unit tests: it keeps the definition that the
// calls build, records each call in order ("NewTask", "PutDescription", ...)
// and makes any one call fail with a chosen HRESULT.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/tasks/task_scheduler.h"

namespace platform {

class FakeTaskScheduler final : public TaskScheduler {
 public:
  // The definition as built, and what the registration was given.
  struct Definition {
    bool authorPutNull = false;
    std::u16string description;
    int32_t logonType = -1, runLevel = -1;
    int startWhenAvailable = -1, disallowStartIfOnBatteries = -1;  // -1: never put
    std::vector<int32_t> actionTypes;
    std::u16string path, arguments;
  };
  struct Registration {
    std::u16string folder, name, userId, sddl;
    int32_t flags = 0, logonType = 0;
    Definition definition;
  };
  std::vector<Registration> registered;
  std::vector<std::u16string> deleted;  // names given to DeleteTask
  // Tasks GetTask finds: name to the path of its first action. A successful
  // DeleteTask removes the name.
  std::map<std::u16string, std::u16string> tasks;
  std::vector<std::u16string> runs;  // parameters given to RunTask
  uint32_t enginePid = 0;            // what GetEnginePid answers
  std::u16string userName = u"alice";

  // The next call of `op` answers `hr` (and hands out no object).
  std::map<std::string, int32_t> failures;
  // Answers of calls that succeed in other ways (S_FALSE, RPC_E_TOO_LATE).
  std::map<std::string, int32_t> answers;

  std::vector<std::string> calls;
  int liveObjects = 0;  // handed out and not released
  int initialized = 0;  // CoInitialize minus CoUninitialize

  int32_t CoInitialize() override;
  int32_t CoInitializeSecurity() override;
  void CoUninitialize() override;
  int32_t CreateTaskService(TaskObject* service) override;
  int32_t Connect(TaskObject service) override;
  int32_t GetFolder(TaskObject service, const std::u16string& path, TaskObject* folder) override;
  int32_t DeleteTask(TaskObject folder, const std::u16string& name) override;
  int32_t NewTask(TaskObject service, TaskObject* definition) override;
  int32_t GetRegistrationInfo(TaskObject definition, TaskObject* info) override;
  int32_t GetPrincipal(TaskObject definition, TaskObject* principal) override;
  int32_t GetSettings(TaskObject definition, TaskObject* settings) override;
  int32_t GetActions(TaskObject definition, TaskObject* actions) override;
  int32_t PutAuthorNull(TaskObject info) override;
  int32_t PutDescription(TaskObject info, const std::u16string& description) override;
  int32_t PutLogonType(TaskObject principal, int32_t logonType) override;
  int32_t PutRunLevel(TaskObject principal, int32_t runLevel) override;
  int32_t PutStartWhenAvailable(TaskObject settings, bool value) override;
  int32_t PutDisallowStartIfOnBatteries(TaskObject settings, bool value) override;
  int32_t CreateAction(TaskObject actions, int32_t type, TaskObject* action) override;
  int32_t QueryExecAction(TaskObject action, TaskObject* execAction) override;
  int32_t PutPath(TaskObject execAction, const std::u16string& path) override;
  int32_t PutArguments(TaskObject execAction, const std::u16string& arguments) override;
  std::u16string UserName() override;
  int32_t RegisterTaskDefinition(TaskObject folder, const std::u16string& name, TaskObject definition, int32_t flags,
                                 const std::u16string& userId, int32_t logonType, const std::u16string& sddl,
                                 TaskObject* registered) override;
  int32_t GetTask(TaskObject folder, const std::u16string& name, TaskObject* registered) override;
  int32_t GetDefinition(TaskObject registered, TaskObject* definition) override;
  int32_t GetActionItem(TaskObject actions, int32_t index, TaskObject* action) override;
  int32_t GetPath(TaskObject execAction, std::u16string* path) override;
  int32_t RunTask(TaskObject registered, const std::u16string& parameter, TaskObject* running) override;
  int32_t GetEnginePid(TaskObject running, uint32_t* pid) override;
  int32_t StopTask(TaskObject running) override;
  void Release(TaskObject object) override;

 private:
  // Records the call; the failure's HRESULT when it must fail, else 0 or
  // the scripted answer.
  int32_t Enter(const std::string& op);
  // A call that hands out an object.
  int32_t HandOut(const std::string& op, TaskObject* out);

  Definition building_;
  std::u16string folderPath_;
  std::u16string found_;  // the task GetTask found last
  int token_ = 0;
  ScopedService<TaskScheduler> scope_{this};
};

}  // namespace platform
