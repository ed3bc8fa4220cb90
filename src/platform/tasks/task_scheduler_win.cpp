#include <windows.h>
#include <oleauto.h>
#include <taskschd.h>

#include "platform/system_library_win.h"
#include "platform/tasks/task_scheduler.h"
#include "platform/text/win_text.h"

namespace platform {
namespace {

// The task scheduler's class and the interfaces the launcher asks for.
const CLSID kClsidTaskScheduler = {0x0F87369F, 0xA4E5, 0x4CFC, {0xBD, 0x3E, 0x73, 0xE6, 0x15, 0x45, 0x72, 0xDD}};
const IID kIidTaskService = {0x2FABA4C7, 0x4DA9, 0x4013, {0x96, 0x97, 0x20, 0xCC, 0x3F, 0xD4, 0x0F, 0x85}};
const IID kIidExecAction = {0x4C3D624D, 0xFD6B, 0x49A3, {0xB9, 0xB7, 0x09, 0xCB, 0x3C, 0xD3, 0xF0, 0x47}};

// The task is registered after the start: oleaut32's string and variant
// calls are looked up when first needed. Without them a string is null and
// the task service's call fails with its own error.
#define OLEAUT_PROC(function) ORVANE_SYSTEM_PROC(L"oleaut32.dll", function)

BSTR AllocString(const wchar_t* text) {
  auto* alloc = OLEAUT_PROC(SysAllocString);
  return alloc != nullptr ? alloc(text) : nullptr;
}

void FreeString(BSTR text) {
  auto* release = OLEAUT_PROC(SysFreeString);
  if (release != nullptr) release(text);
}

UINT StringLength(BSTR text) {
  auto* length = OLEAUT_PROC(SysStringLen);
  return length != nullptr ? length(text) : 0;
}

void InitVariant(VARIANT* variant) {
  auto* init = OLEAUT_PROC(VariantInit);
  if (init != nullptr) {
    init(variant);
  } else {
    variant->vt = VT_EMPTY;
  }
}

void ClearVariant(VARIANT* variant) {
  auto* clear = OLEAUT_PROC(VariantClear);
  if (clear != nullptr) clear(variant);
}

// A BSTR for the length of one call.
class Bstr {
 public:
  explicit Bstr(const std::u16string& text) : value_(AllocString(AsWide(text))) {}
  ~Bstr() { FreeString(value_); }
  Bstr(const Bstr&) = delete;
  Bstr& operator=(const Bstr&) = delete;
  BSTR get() const { return value_; }

 private:
  BSTR value_;
};

template <class T>
T* As(TaskObject object) {
  return static_cast<T*>(object);
}

class WinTaskScheduler final : public TaskScheduler {
 public:
  int32_t CoInitialize() override { return ::CoInitialize(nullptr); }
  int32_t CoInitializeSecurity() override {
    return ::CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_PKT_PRIVACY,
                                  RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, 0, nullptr);
  }
  void CoUninitialize() override { ::CoUninitialize(); }
  int32_t CreateTaskService(TaskObject* service) override {
    ITaskService* created = nullptr;
    const HRESULT hr = ::CoCreateInstance(kClsidTaskScheduler, nullptr, CLSCTX_INPROC_SERVER, kIidTaskService,
                                          reinterpret_cast<void**>(&created));
    *service = created;
    return hr;
  }
  int32_t Connect(TaskObject service) override {
    VARIANT empty;
    InitVariant(&empty);
    return As<ITaskService>(service)->Connect(empty, empty, empty, empty);
  }
  int32_t GetFolder(TaskObject service, const std::u16string& path, TaskObject* folder) override {
    Bstr bpath(path);
    ITaskFolder* result = nullptr;
    const HRESULT hr = As<ITaskService>(service)->GetFolder(bpath.get(), &result);
    *folder = result;
    return hr;
  }
  int32_t DeleteTask(TaskObject folder, const std::u16string& name) override {
    Bstr bname(name);
    return As<ITaskFolder>(folder)->DeleteTask(bname.get(), 0);
  }
  int32_t NewTask(TaskObject service, TaskObject* definition) override {
    ITaskDefinition* result = nullptr;
    const HRESULT hr = As<ITaskService>(service)->NewTask(0, &result);
    *definition = result;
    return hr;
  }
  int32_t GetRegistrationInfo(TaskObject definition, TaskObject* info) override {
    IRegistrationInfo* result = nullptr;
    const HRESULT hr = As<ITaskDefinition>(definition)->get_RegistrationInfo(&result);
    *info = result;
    return hr;
  }
  int32_t GetPrincipal(TaskObject definition, TaskObject* principal) override {
    IPrincipal* result = nullptr;
    const HRESULT hr = As<ITaskDefinition>(definition)->get_Principal(&result);
    *principal = result;
    return hr;
  }
  int32_t GetSettings(TaskObject definition, TaskObject* settings) override {
    ITaskSettings* result = nullptr;
    const HRESULT hr = As<ITaskDefinition>(definition)->get_Settings(&result);
    *settings = result;
    return hr;
  }
  int32_t GetActions(TaskObject definition, TaskObject* actions) override {
    IActionCollection* result = nullptr;
    const HRESULT hr = As<ITaskDefinition>(definition)->get_Actions(&result);
    *actions = result;
    return hr;
  }
  int32_t PutAuthorNull(TaskObject info) override { return As<IRegistrationInfo>(info)->put_Author(nullptr); }
  int32_t PutDescription(TaskObject info, const std::u16string& description) override {
    Bstr text(description);
    return As<IRegistrationInfo>(info)->put_Description(text.get());
  }
  int32_t PutLogonType(TaskObject principal, int32_t logonType) override {
    return As<IPrincipal>(principal)->put_LogonType(static_cast<TASK_LOGON_TYPE>(logonType));
  }
  int32_t PutRunLevel(TaskObject principal, int32_t runLevel) override {
    return As<IPrincipal>(principal)->put_RunLevel(static_cast<TASK_RUNLEVEL_TYPE>(runLevel));
  }
  int32_t PutStartWhenAvailable(TaskObject settings, bool value) override {
    return As<ITaskSettings>(settings)->put_StartWhenAvailable(value ? VARIANT_TRUE : VARIANT_FALSE);
  }
  int32_t PutDisallowStartIfOnBatteries(TaskObject settings, bool value) override {
    return As<ITaskSettings>(settings)->put_DisallowStartIfOnBatteries(value ? VARIANT_TRUE : VARIANT_FALSE);
  }
  int32_t CreateAction(TaskObject actions, int32_t type, TaskObject* action) override {
    IAction* result = nullptr;
    const HRESULT hr = As<IActionCollection>(actions)->Create(static_cast<TASK_ACTION_TYPE>(type), &result);
    *action = result;
    return hr;
  }
  int32_t QueryExecAction(TaskObject action, TaskObject* execAction) override {
    void* result = nullptr;
    const HRESULT hr = As<IAction>(action)->QueryInterface(kIidExecAction, &result);
    *execAction = result;
    return hr;
  }
  int32_t PutPath(TaskObject execAction, const std::u16string& path) override {
    Bstr text(path);
    return As<IExecAction>(execAction)->put_Path(text.get());
  }
  int32_t PutArguments(TaskObject execAction, const std::u16string& arguments) override {
    Bstr text(arguments);
    return As<IExecAction>(execAction)->put_Arguments(text.get());
  }
  std::u16string UserName() override {
    wchar_t buffer[260] = {};
    DWORD size = 260;
    ::GetUserNameW(buffer, &size);
    return FromWide(buffer);
  }
  int32_t RegisterTaskDefinition(TaskObject folder, const std::u16string& name, TaskObject definition, int32_t flags,
                                 const std::u16string& userId, int32_t logonType, const std::u16string& sddl,
                                 TaskObject* registered) override {
    Bstr bname(name);
    VARIANT user;
    InitVariant(&user);
    user.vt = VT_BSTR;
    user.bstrVal = AllocString(AsWide(userId));
    VARIANT password;
    InitVariant(&password);
    VARIANT descriptor;
    InitVariant(&descriptor);
    descriptor.vt = VT_BSTR;
    descriptor.bstrVal = AllocString(AsWide(sddl));
    HRESULT hr = E_OUTOFMEMORY;
    IRegisteredTask* result = nullptr;
    if (user.bstrVal != nullptr && descriptor.bstrVal != nullptr) {
      hr = As<ITaskFolder>(folder)->RegisterTaskDefinition(bname.get(), As<ITaskDefinition>(definition), flags, user,
                                                           password, static_cast<TASK_LOGON_TYPE>(logonType),
                                                           descriptor, &result);
    }
    ClearVariant(&user);
    ClearVariant(&descriptor);
    *registered = result;
    return hr;
  }
  int32_t GetTask(TaskObject folder, const std::u16string& name, TaskObject* registered) override {
    Bstr bname(name);
    IRegisteredTask* result = nullptr;
    const HRESULT hr = As<ITaskFolder>(folder)->GetTask(bname.get(), &result);
    *registered = result;
    return hr;
  }
  int32_t GetDefinition(TaskObject registered, TaskObject* definition) override {
    ITaskDefinition* result = nullptr;
    const HRESULT hr = As<IRegisteredTask>(registered)->get_Definition(&result);
    *definition = result;
    return hr;
  }
  int32_t GetActionItem(TaskObject actions, int32_t index, TaskObject* action) override {
    IAction* result = nullptr;
    const HRESULT hr = As<IActionCollection>(actions)->get_Item(index, &result);
    *action = result;
    return hr;
  }
  int32_t GetPath(TaskObject execAction, std::u16string* path) override {
    BSTR result = nullptr;
    const HRESULT hr = As<IExecAction>(execAction)->get_Path(&result);
    path->clear();
    if (result != nullptr) {
      path->assign(reinterpret_cast<const char16_t*>(result), StringLength(result));
      FreeString(result);
    }
    return hr;
  }
  int32_t RunTask(TaskObject registered, const std::u16string& parameter, TaskObject* running) override {
    Bstr text(parameter);
    VARIANT argument;
    InitVariant(&argument);
    argument.vt = VT_BSTR;
    argument.bstrVal = text.get();  // still owned by `text`
    IRunningTask* result = nullptr;
    const HRESULT hr = As<IRegisteredTask>(registered)->Run(argument, &result);
    *running = result;
    return hr;
  }
  int32_t GetEnginePid(TaskObject running, uint32_t* pid) override {
    DWORD value = 0;
    const HRESULT hr = As<IRunningTask>(running)->get_EnginePID(&value);
    *pid = value;
    return hr;
  }
  int32_t StopTask(TaskObject running) override { return As<IRunningTask>(running)->Stop(); }
  void Release(TaskObject object) override {
    if (object != nullptr) static_cast<IUnknown*>(object)->Release();
  }
};

}  // namespace

template <>
TaskScheduler& NativeService<TaskScheduler>() {
  static WinTaskScheduler scheduler;
  return scheduler;
}

}  // namespace platform
