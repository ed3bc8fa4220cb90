// The fake processes and kernel objects: starts recorded, objects in memory.
#include <algorithm>
#include <type_traits>

#include "platform/processes/fake_processes.h"

namespace platform {

namespace {

bool Contains(const std::vector<std::u16string>& list, const std::u16string& name) {
  return std::find(list.begin(), list.end(), name) != list.end();
}

// The object behind a handle, or null (deduced, as the type is private).
template <class Objects>
auto FindObject(const Objects& objects, Handle handle) -> decltype(objects.front().get()) {
  for (const auto& object : objects) {
    if (object.get() == handle) return object.get();
  }
  return nullptr;
}

// An open semaphore handle of that name, or null.
template <class Objects>
auto FindSemaphoreIn(const Objects& objects, const std::u16string& name) -> decltype(objects.front().get()) {
  for (const auto& object : objects) {
    if (object->kind == std::remove_reference_t<decltype(*object)>::Kind::kSemaphore && object->name == name) {
      return object.get();
    }
  }
  return nullptr;
}

}  // namespace

struct FakeProcesses::KernelObject {
  enum class Kind { kMutex, kSemaphore, kProcess, kThread };
  Kind kind = Kind::kMutex;
  std::u16string name;
  Handle real = nullptr;  // a real process handle when spawned for real
  // A semaphore's count, shared by every open handle of its name.
  struct Count {
    int32_t value = 0;
    int32_t maximum = 0;
    bool madeHere = false;  // created by the code, not by "another process"
  };
  std::shared_ptr<Count> count;
};

FakeProcesses::FakeProcesses(FakeRecorder* shared) : RecordingFake(shared) {}

FakeProcesses::~FakeProcesses() {
  for (auto& object : objects_) {
    if (object->real != nullptr) NativeService<Processes>().CloseObject(object->real);
  }
}

bool FakeProcesses::StartProcess(const std::u16string& applicationName, const std::u16string& commandLine,
                                 const std::u16string& currentDirectory, ProcessInfo* info) {
  if (Enter("StartProcess", commandLine)) return false;
  startedProcesses.push_back(StartRecord{commandLine, currentDirectory, applicationName});
  auto process = std::make_unique<KernelObject>();
  process->kind = KernelObject::Kind::kProcess;
  process->name = commandLine;
  auto thread = std::make_unique<KernelObject>();
  thread->kind = KernelObject::Kind::kThread;
  if (spawnForReal) {
    ProcessInfo real;
    if (!NativeService<Processes>().StartProcess(applicationName, commandLine, currentDirectory, &real)) {
      TakeNativeError();
      return false;
    }
    NativeService<Processes>().CloseObject(real.thread);
    process->real = real.process;
    info->pid = real.pid;
    info->tid = real.tid;
  } else {
    static uint32_t nextPid = 7000;
    info->pid = nextPid;
    info->tid = nextPid + 1;
    nextPid += 4;
  }
  info->process = process.get();
  info->thread = thread.get();
  objects_.push_back(std::move(process));
  objects_.push_back(std::move(thread));
  SetError(kErrorSuccess);
  return true;
}

Handle FakeProcesses::NewMutex(const std::u16string& name, bool initialOwner) {
  if (Enter("NewMutex", name)) return nullptr;
  bool exists = Contains(heldMutexes, name);
  for (const auto& object : objects_) {
    if (object->kind == KernelObject::Kind::kMutex && !name.empty() && object->name == name) exists = true;
  }
  auto mutex = std::make_unique<KernelObject>();
  mutex->kind = KernelObject::Kind::kMutex;
  mutex->name = name;
  Handle handle = mutex.get();
  objects_.push_back(std::move(mutex));
  SetError(exists ? kErrorAlreadyExists : kErrorSuccess);
  return handle;
}

Handle FakeProcesses::NewSemaphore(const std::u16string& name, int32_t initial, int32_t maximum) {
  if (Enter("NewSemaphore", name)) return nullptr;
  if (maximum <= 0 || initial < 0 || initial > maximum) {
    SetError(kErrorInvalidParameter);
    return nullptr;
  }
  auto semaphore = std::make_unique<KernelObject>();
  semaphore->kind = KernelObject::Kind::kSemaphore;
  semaphore->name = name;
  const KernelObject* open = name.empty() ? nullptr : FindSemaphoreIn(objects_, name);
  bool exists = true;
  if (open != nullptr) {
    semaphore->count = open->count;
  } else if (!name.empty() && Contains(existingSemaphores, name)) {
    // Made by another process: its count starts at 0, its maximum is unknown.
    semaphore->count = std::make_shared<KernelObject::Count>(KernelObject::Count{0, 0x7FFFFFFF, false});
  } else {
    exists = false;
    semaphore->count = std::make_shared<KernelObject::Count>(KernelObject::Count{initial, maximum, true});
    if (!name.empty()) existingSemaphores.push_back(name);
  }
  Handle handle = semaphore.get();
  objects_.push_back(std::move(semaphore));
  SetError(exists ? kErrorAlreadyExists : kErrorSuccess);
  return handle;
}

Handle FakeProcesses::OpenSemaphoreByName(uint32_t access, const std::u16string& name) {
  if (Enter("OpenSemaphoreByName", name)) return nullptr;
  if (name.empty() || !Contains(existingSemaphores, name)) {
    SetError(kErrorFileNotFound);
    return nullptr;
  }
  auto semaphore = std::make_unique<KernelObject>();
  semaphore->kind = KernelObject::Kind::kSemaphore;
  semaphore->name = name;
  const KernelObject* open = FindSemaphoreIn(objects_, name);
  semaphore->count =
      open != nullptr ? open->count : std::make_shared<KernelObject::Count>(KernelObject::Count{0, 0x7FFFFFFF, false});
  Handle handle = semaphore.get();
  objects_.push_back(std::move(semaphore));
  SetError(kErrorSuccess);
  return handle;
}

bool FakeProcesses::ReleaseSem(Handle semaphore, int32_t count, int32_t* previous) {
  KernelObject* object = FindObject(objects_, semaphore);
  if (Enter("ReleaseSem", object != nullptr ? object->name : u"")) return false;
  if (object == nullptr || object->kind != KernelObject::Kind::kSemaphore) {
    SetError(kErrorInvalidHandle);
    return false;
  }
  releasedSemaphores.push_back(object->name);
  if (count <= 0) {
    SetError(kErrorInvalidParameter);
    return false;
  }
  KernelObject::Count& shared = *object->count;
  if (static_cast<int64_t>(shared.value) + count > shared.maximum) {
    SetError(kErrorTooManyPosts);
    return false;
  }
  if (previous != nullptr) *previous = shared.value;
  shared.value += count;
  SetError(kErrorSuccess);
  return true;
}

uint32_t FakeProcesses::WaitOne(Handle handle, uint32_t timeoutMs) {
  KernelObject* object = FindObject(objects_, handle);
  if (Enter("WaitOne", object != nullptr ? object->name : u"")) return kWaitFailed;
  waitTimeouts.push_back(timeoutMs);
  if (object == nullptr) {
    SetError(kErrorInvalidHandle);
    return kWaitFailed;
  }
  if (!waitResults.empty()) {
    const uint32_t result = waitResults.front();
    waitResults.pop_front();
    return result;
  }
  if (object->real != nullptr) {
    const uint32_t result = NativeService<Processes>().WaitOne(object->real, timeoutMs);
    TakeNativeError();
    return result;
  }
  if (object->kind == KernelObject::Kind::kSemaphore) {
    if (object->count->value == 0) return kWaitTimeout;
    --object->count->value;
  }
  return kWaitObject0;  // mutexes are got, fake processes have ended
}

bool FakeProcesses::CloseObject(Handle handle) {
  auto it = std::find_if(objects_.begin(), objects_.end(), [&](const auto& o) { return o.get() == handle; });
  if (Enter("CloseObject", it != objects_.end() ? (*it)->name : u"")) return false;
  if (it == objects_.end()) {
    SetError(kErrorInvalidHandle);
    return false;
  }
  std::unique_ptr<KernelObject> object = std::move(*it);
  objects_.erase(it);
  if (object->real != nullptr) NativeService<Processes>().CloseObject(object->real);
  // A semaphore the code made exists only while a handle of it is open.
  if (object->kind == KernelObject::Kind::kSemaphore && object->count->madeHere && !object->name.empty() &&
      FindSemaphoreIn(objects_, object->name) == nullptr) {
    auto name = std::find(existingSemaphores.begin(), existingSemaphores.end(), object->name);
    if (name != existingSemaphores.end()) existingSemaphores.erase(name);
  }
  SetError(kErrorSuccess);
  return true;
}

// A process handle of the fake, or null (last error 6) for any other handle.

// A process handle of the fake, or null (last error 6) for any other handle.
FakeProcesses::KernelObject* FakeProcesses::ProcessObject(Handle handle) {
  KernelObject* object = FindObject(objects_, handle);
  if (object == nullptr || object->kind != KernelObject::Kind::kProcess) {
    SetError(kErrorInvalidHandle);
    return nullptr;
  }
  return object;
}

bool FakeProcesses::ExitCodeOf(Handle process, uint32_t* code) {
  KernelObject* found = FindObject(objects_, process);
  if (Enter("ExitCodeOf", found != nullptr ? found->name : u"")) return false;
  KernelObject* object = ProcessObject(process);
  if (object == nullptr) return false;
  if (object->real != nullptr) {
    const bool result = NativeService<Processes>().ExitCodeOf(object->real, code);
    TakeNativeError();
    return result;
  }
  *code = fakeExitCode;
  SetError(kErrorSuccess);
  return true;
}

bool FakeProcesses::Terminate(Handle process, uint32_t exitCode) {
  KernelObject* found = FindObject(objects_, process);
  if (Enter("Terminate", found != nullptr ? found->name : u"")) return false;
  KernelObject* object = ProcessObject(process);
  if (object == nullptr) return false;
  if (object->real != nullptr) {
    const bool result = NativeService<Processes>().Terminate(object->real, exitCode);
    TakeNativeError();
    return result;
  }
  SetError(kErrorSuccess);
  return true;
}

bool FakeProcesses::SnapshotProcesses(std::vector<ProcessEntry>* entries) {
  if (Enter("SnapshotProcesses", u"")) return false;
  *entries = processList;
  SetError(kErrorSuccess);
  return true;
}

}  // namespace platform
