#include "platform/tasks/fake_task_scheduler.h"

namespace platform {

int32_t FakeTaskScheduler::Enter(const std::string& op) {
  calls.push_back(op);
  if (auto failure = failures.find(op); failure != failures.end()) {
    const int32_t hr = failure->second;
    failures.erase(failure);
    return hr;
  }
  auto answer = answers.find(op);
  return answer != answers.end() ? answer->second : 0;
}

int32_t FakeTaskScheduler::HandOut(const std::string& op, TaskObject* out) {
  const int32_t hr = Enter(op);
  if (hr < 0) {
    *out = nullptr;
    return hr;
  }
  ++liveObjects;
  *out = &token_;
  return hr;
}

int32_t FakeTaskScheduler::CoInitialize() {
  const int32_t hr = Enter("CoInitialize");
  if (hr >= 0) ++initialized;
  return hr;
}
int32_t FakeTaskScheduler::CoInitializeSecurity() { return Enter("CoInitializeSecurity"); }
void FakeTaskScheduler::CoUninitialize() {
  calls.push_back("CoUninitialize");
  --initialized;
}
int32_t FakeTaskScheduler::CreateTaskService(TaskObject* service) { return HandOut("CreateTaskService", service); }
int32_t FakeTaskScheduler::Connect(TaskObject) { return Enter("Connect"); }
int32_t FakeTaskScheduler::GetFolder(TaskObject, const std::u16string& path, TaskObject* folder) {
  folderPath_ = path;
  return HandOut("GetFolder", folder);
}
int32_t FakeTaskScheduler::DeleteTask(TaskObject, const std::u16string& name) {
  deleted.push_back(name);
  const int32_t hr = Enter("DeleteTask");
  if (hr >= 0) tasks.erase(name);
  return hr;
}
int32_t FakeTaskScheduler::GetTask(TaskObject, const std::u16string& name, TaskObject* registered) {
  const auto task = tasks.find(name);
  if (task == tasks.end()) {
    calls.push_back("GetTask");
    *registered = nullptr;
    return static_cast<int32_t>(0x80070002u);  // HRESULT of ERROR_FILE_NOT_FOUND
  }
  found_ = task->second;
  return HandOut("GetTask", registered);
}
int32_t FakeTaskScheduler::GetDefinition(TaskObject, TaskObject* definition) {
  return HandOut("GetDefinition", definition);
}
int32_t FakeTaskScheduler::GetActionItem(TaskObject, int32_t, TaskObject* action) {
  return HandOut("GetActionItem", action);
}
int32_t FakeTaskScheduler::GetPath(TaskObject, std::u16string* path) {
  const int32_t hr = Enter("GetPath");
  *path = hr >= 0 ? found_ : std::u16string();
  return hr;
}
int32_t FakeTaskScheduler::RunTask(TaskObject, const std::u16string& parameter, TaskObject* running) {
  const int32_t hr = HandOut("RunTask", running);
  if (hr >= 0) runs.push_back(parameter);
  return hr;
}
int32_t FakeTaskScheduler::GetEnginePid(TaskObject, uint32_t* pid) {
  const int32_t hr = Enter("GetEnginePid");
  *pid = hr >= 0 ? enginePid : 0;
  return hr;
}
int32_t FakeTaskScheduler::StopTask(TaskObject) { return Enter("StopTask"); }
int32_t FakeTaskScheduler::NewTask(TaskObject, TaskObject* definition) {
  building_ = Definition();
  return HandOut("NewTask", definition);
}
int32_t FakeTaskScheduler::GetRegistrationInfo(TaskObject, TaskObject* info) {
  return HandOut("GetRegistrationInfo", info);
}
int32_t FakeTaskScheduler::GetPrincipal(TaskObject, TaskObject* principal) {
  return HandOut("GetPrincipal", principal);
}
int32_t FakeTaskScheduler::GetSettings(TaskObject, TaskObject* settings) { return HandOut("GetSettings", settings); }
int32_t FakeTaskScheduler::GetActions(TaskObject, TaskObject* actions) { return HandOut("GetActions", actions); }
int32_t FakeTaskScheduler::PutAuthorNull(TaskObject) {
  const int32_t hr = Enter("PutAuthorNull");
  if (hr >= 0) building_.authorPutNull = true;
  return hr;
}
int32_t FakeTaskScheduler::PutDescription(TaskObject, const std::u16string& description) {
  const int32_t hr = Enter("PutDescription");
  if (hr >= 0) building_.description = description;
  return hr;
}
int32_t FakeTaskScheduler::PutLogonType(TaskObject, int32_t logonType) {
  const int32_t hr = Enter("PutLogonType");
  if (hr >= 0) building_.logonType = logonType;
  return hr;
}
int32_t FakeTaskScheduler::PutRunLevel(TaskObject, int32_t runLevel) {
  const int32_t hr = Enter("PutRunLevel");
  if (hr >= 0) building_.runLevel = runLevel;
  return hr;
}
int32_t FakeTaskScheduler::PutStartWhenAvailable(TaskObject, bool value) {
  const int32_t hr = Enter("PutStartWhenAvailable");
  if (hr >= 0) building_.startWhenAvailable = value ? 1 : 0;
  return hr;
}
int32_t FakeTaskScheduler::PutDisallowStartIfOnBatteries(TaskObject, bool value) {
  const int32_t hr = Enter("PutDisallowStartIfOnBatteries");
  if (hr >= 0) building_.disallowStartIfOnBatteries = value ? 1 : 0;
  return hr;
}
int32_t FakeTaskScheduler::CreateAction(TaskObject, int32_t type, TaskObject* action) {
  const int32_t hr = HandOut("CreateAction", action);
  if (hr >= 0) building_.actionTypes.push_back(type);
  return hr;
}
int32_t FakeTaskScheduler::QueryExecAction(TaskObject, TaskObject* execAction) {
  return HandOut("QueryExecAction", execAction);
}
int32_t FakeTaskScheduler::PutPath(TaskObject, const std::u16string& path) {
  const int32_t hr = Enter("PutPath");
  if (hr >= 0) building_.path = path;
  return hr;
}
int32_t FakeTaskScheduler::PutArguments(TaskObject, const std::u16string& arguments) {
  const int32_t hr = Enter("PutArguments");
  if (hr >= 0) building_.arguments = arguments;
  return hr;
}
std::u16string FakeTaskScheduler::UserName() {
  calls.push_back("UserName");
  return userName;
}
int32_t FakeTaskScheduler::RegisterTaskDefinition(TaskObject, const std::u16string& name, TaskObject, int32_t flags,
                                                  const std::u16string& userId, int32_t logonType,
                                                  const std::u16string& sddl, TaskObject* out) {
  const int32_t hr = HandOut("RegisterTaskDefinition", out);
  if (hr >= 0) registered.push_back({folderPath_, name, userId, sddl, flags, logonType, building_});
  return hr;
}
void FakeTaskScheduler::Release(TaskObject object) {
  if (object == nullptr) return;
  calls.push_back("Release");
  --liveObjects;
}

}  // namespace platform
