// The task scheduler's COM interface, one call per operation, so that the
// order of the calls and the reaction to each failure stay with the core.
// A service of its own (see service.h).
//
// Every operation returns the HRESULT of its call. Objects are opaque COM
// interface pointers and are given back with Release.
#pragma once

#include <cstdint>
#include <string>

#include "platform/service.h"

namespace platform {

using TaskObject = void*;

// Values of the task scheduler's enumerations that the launcher uses.
enum : int32_t {
  kTaskActionExec = 0,           // TASK_ACTION_EXEC
  kTaskLogonInteractiveToken = 3,  // TASK_LOGON_INTERACTIVE_TOKEN
  kTaskRunLevelHighest = 1,      // TASK_RUNLEVEL_HIGHEST
  kTaskCreateOrUpdate = 6,       // TASK_CREATE_OR_UPDATE
};

// HRESULTs the core looks at or that a backend produces.
enum : uint32_t {
  kRpcETooLate = 0x80010119u,        // RPC_E_TOO_LATE
  kRegdbEClassNotReg = 0x80040154u,  // REGDB_E_CLASSNOTREG
  kEOutOfMemory = 0x8007000Eu,       // E_OUTOFMEMORY
};

class TaskScheduler {
 public:
  virtual ~TaskScheduler() = default;

  // CoInitialize(null).
  virtual int32_t CoInitialize() = 0;
  // CoInitializeSecurity(null, -1, null, null, RPC_C_AUTHN_LEVEL_PKT_PRIVACY,
  // RPC_C_IMP_LEVEL_IMPERSONATE, null, 0, null).
  virtual int32_t CoInitializeSecurity() = 0;
  virtual void CoUninitialize() = 0;
  // CoCreateInstance(CLSID_TaskScheduler, null, CLSCTX_INPROC_SERVER,
  // IID_ITaskService).
  virtual int32_t CreateTaskService(TaskObject* service) = 0;
  // ITaskService::Connect with four empty variants.
  virtual int32_t Connect(TaskObject service) = 0;
  // ITaskService::GetFolder.
  virtual int32_t GetFolder(TaskObject service, const std::u16string& path, TaskObject* folder) = 0;
  // ITaskFolder::DeleteTask(name, 0).
  virtual int32_t DeleteTask(TaskObject folder, const std::u16string& name) = 0;
  // ITaskService::NewTask(0).
  virtual int32_t NewTask(TaskObject service, TaskObject* definition) = 0;
  // ITaskDefinition::get_RegistrationInfo, get_Principal, get_Settings,
  // get_Actions.
  virtual int32_t GetRegistrationInfo(TaskObject definition, TaskObject* info) = 0;
  virtual int32_t GetPrincipal(TaskObject definition, TaskObject* principal) = 0;
  virtual int32_t GetSettings(TaskObject definition, TaskObject* settings) = 0;
  virtual int32_t GetActions(TaskObject definition, TaskObject* actions) = 0;
  // IRegistrationInfo::put_Author(null) and put_Description.
  virtual int32_t PutAuthorNull(TaskObject info) = 0;
  virtual int32_t PutDescription(TaskObject info, const std::u16string& description) = 0;
  // IPrincipal::put_LogonType and put_RunLevel.
  virtual int32_t PutLogonType(TaskObject principal, int32_t logonType) = 0;
  virtual int32_t PutRunLevel(TaskObject principal, int32_t runLevel) = 0;
  // ITaskSettings::put_StartWhenAvailable and put_DisallowStartIfOnBatteries
  // (VARIANT_TRUE or VARIANT_FALSE).
  virtual int32_t PutStartWhenAvailable(TaskObject settings, bool value) = 0;
  virtual int32_t PutDisallowStartIfOnBatteries(TaskObject settings, bool value) = 0;
  // IActionCollection::Create.
  virtual int32_t CreateAction(TaskObject actions, int32_t type, TaskObject* action) = 0;
  // IAction::QueryInterface(IID_IExecAction).
  virtual int32_t QueryExecAction(TaskObject action, TaskObject* execAction) = 0;
  // IExecAction::put_Path and put_Arguments.
  virtual int32_t PutPath(TaskObject execAction, const std::u16string& path) = 0;
  virtual int32_t PutArguments(TaskObject execAction, const std::u16string& arguments) = 0;
  // GetUserNameW into a zeroed buffer of 260 characters; the result of the
  // call is not examined.
  virtual std::u16string UserName() = 0;
  // ITaskFolder::RegisterTaskDefinition(name, definition, flags,
  // VT_BSTR userId, empty password, logonType, VT_BSTR sddl, &registered).
  virtual int32_t RegisterTaskDefinition(TaskObject folder, const std::u16string& name, TaskObject definition,
                                         int32_t flags, const std::u16string& userId, int32_t logonType,
                                         const std::u16string& sddl, TaskObject* registered) = 0;
  // ITaskFolder::GetTask: the registered task of that name.
  virtual int32_t GetTask(TaskObject folder, const std::u16string& name, TaskObject* registered) = 0;
  // IRegisteredTask::get_Definition.
  virtual int32_t GetDefinition(TaskObject registered, TaskObject* definition) = 0;
  // IActionCollection::get_Item (the first action is 1).
  virtual int32_t GetActionItem(TaskObject actions, int32_t index, TaskObject* action) = 0;
  // IExecAction::get_Path.
  virtual int32_t GetPath(TaskObject execAction, std::u16string* path) = 0;
  // IRegisteredTask::Run with one VT_BSTR variant holding `parameter`.
  virtual int32_t RunTask(TaskObject registered, const std::u16string& parameter, TaskObject* running) = 0;
  // IRunningTask::get_EnginePID.
  virtual int32_t GetEnginePid(TaskObject running, uint32_t* pid) = 0;
  // IRunningTask::Stop.
  virtual int32_t StopTask(TaskObject running) = 0;
  // IUnknown::Release; null is ignored.
  virtual void Release(TaskObject object) = 0;
};

}  // namespace platform
