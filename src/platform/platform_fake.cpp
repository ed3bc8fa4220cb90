// The fake backend for unit tests: files, crypto and code pages pass through
// to the native backend, everything else answers from state the test sets.
// Every call is recorded, and any single call can be made to fail.
#include <algorithm>
#include <type_traits>

#include "platform/fake_platform.h"

#include "platform/ascii.h"

namespace platform {

struct FakePlatform::KernelObject {
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

std::u16string Ascii(const std::string& text) { return std::u16string(text.begin(), text.end()); }

std::u16string Decimal(uint64_t value) { return Ascii(std::to_string(value)); }

// Days since 1970-01-01 to a civil date (proleptic Gregorian).
void CivilFromDays(int64_t days, int* year, int* month, int* day) {
  days += 719468;
  const int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const int64_t doe = days - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  const int64_t d = doy - (153 * mp + 2) / 5 + 1;
  const int64_t m = mp < 10 ? mp + 3 : mp - 9;
  *year = static_cast<int>(yoe + era * 400 + (m <= 2 ? 1 : 0));
  *month = static_cast<int>(m);
  *day = static_cast<int>(d);
}

}  // namespace

FakePlatform::FakePlatform() : real_(Native()), override_(this) {}

FakePlatform::~FakePlatform() {
  for (auto& object : objects_) {
    if (object->real != nullptr) real_.CloseObject(object->real);
  }
}

size_t FakePlatform::CallCount(const std::string& op) const {
  return static_cast<size_t>(
      std::count_if(calls_.begin(), calls_.end(), [&](const Call& call) { return call.op == op; }));
}

void FakePlatform::FailCall(const std::string& op, uint32_t error, int nth) {
  injections_.push_back(Injection{op, error, nth < 1 ? 1 : nth});
}

bool FakePlatform::Enter(const char* op, const std::u16string& detail) {
  calls_.push_back(Call{op, detail});
  for (auto it = injections_.begin(); it != injections_.end(); ++it) {
    if (it->op != op) continue;
    if (--it->remaining > 0) continue;
    injected_ = it->error;
    lastError_ = it->error;
    injections_.erase(it);
    return true;
  }
  return false;
}

uint32_t FakePlatform::LastError() { return lastError_; }

void FakePlatform::SetLastErrorCode(uint32_t code) { lastError_ = code; }

std::u16string FakePlatform::RegistryPath(Hive hive, const std::u16string& subKey) {
  const char16_t* root = hive == Hive::kClassesRoot ? u"HKCR" : hive == Hive::kLocalMachine ? u"HKLM" : u"HKCU";
  return std::u16string(root) + u"\\" + subKey;
}

// --- Files: the native backend, so tests see real files ----------------------

bool FakePlatform::PathExists(const std::u16string& path) {
  if (Enter("PathExists", path)) return false;
  const bool result = real_.PathExists(path);
  lastError_ = real_.LastError();
  return result;
}

bool FakePlatform::PathIsDir(const std::u16string& path) {
  if (Enter("PathIsDir", path)) return false;
  const bool result = real_.PathIsDir(path);
  lastError_ = real_.LastError();
  return result;
}

int32_t FakePlatform::MakeDirectoryTree(const std::u16string& path) {
  if (Enter("MakeDirectoryTree", path)) return static_cast<int32_t>(InjectedError());
  const int32_t result = real_.MakeDirectoryTree(path);
  lastError_ = real_.LastError();
  return result;
}

bool FakePlatform::MovePath(const std::u16string& from, const std::u16string& to, uint32_t flags) {
  if (Enter("MovePath", from + u" -> " + to)) return false;
  const bool result = real_.MovePath(from, to, flags);
  lastError_ = real_.LastError();
  return result;
}

bool FakePlatform::DeleteOneFile(const std::u16string& path) {
  if (Enter("DeleteOneFile", path)) return false;
  // DeleteFileW refuses a junction or directory link (it takes
  // RemoveDirectoryW), where unlink would remove it; keep Windows' answer so a
  // test sees the call a Windows run would reject.
  constexpr uint32_t kDirectoryLink = kFileAttributeReparsePoint | kFileAttributeDirectory;
  const uint32_t attributes = real_.GetAttributes(path);
  if (attributes != 0xFFFFFFFFu && (attributes & kDirectoryLink) == kDirectoryLink) {
    lastError_ = kErrorAccessDenied;
    return false;
  }
  const bool result = real_.DeleteOneFile(path);
  lastError_ = real_.LastError();
  return result;
}

bool FakePlatform::RemoveOneDirectory(const std::u16string& path) {
  if (Enter("RemoveOneDirectory", path)) return false;
  const bool result = real_.RemoveOneDirectory(path);
  lastError_ = real_.LastError();
  return result;
}

bool FakePlatform::FindEntries(const std::u16string& pattern, std::vector<DirEntry>* entries) {
  if (Enter("FindEntries", pattern)) return false;
  const bool result = real_.FindEntries(pattern, entries);
  lastError_ = real_.LastError();
  return result;
}

uint32_t FakePlatform::GetAttributes(const std::u16string& path) {
  if (Enter("GetAttributes", path)) return 0xFFFFFFFFu;
  const uint32_t result = real_.GetAttributes(path);
  lastError_ = real_.LastError();
  return result;
}

bool FakePlatform::SetAttributes(const std::u16string& path, uint32_t attributes) {
  if (Enter("SetAttributes", path)) return false;
  const bool result = real_.SetAttributes(path, attributes);
  lastError_ = real_.LastError();
  return result;
}

std::FILE* FakePlatform::OpenStream(const std::u16string& path, const char* mode) {
  if (Enter("OpenStream", path)) return nullptr;
  std::FILE* result = real_.OpenStream(path, mode);
  lastError_ = real_.LastError();
  return result;
}

bool FakePlatform::AppendShared(std::FILE* stream, const std::string& bytes) {
  if (Enter("AppendShared", u"")) return false;
  return real_.AppendShared(stream, bytes);
}

// --- Environment -------------------------------------------------------------

std::u16string FakePlatform::ModuleFilePath() {
  if (Enter("ModuleFilePath", u"")) return std::u16string();
  return modulePath;
}

void FakePlatform::SetEnvValue(const std::u16string& name, const std::u16string& value) { env_[name] = value; }

void FakePlatform::UnsetEnvValue(const std::u16string& name) { env_[name] = std::nullopt; }

bool FakePlatform::GetEnv(const std::u16string& name, std::u16string* value) {
  if (Enter("GetEnv", name)) return false;
  for (const auto& [key, entry] : env_) {
    if (!EqualsIgnoreAsciiCase(key, name)) continue;
    if (!entry.has_value()) {
      lastError_ = 203;  // ERROR_ENVVAR_NOT_FOUND
      return false;
    }
    *value = *entry;
    lastError_ = kErrorSuccess;
    return true;
  }
  const bool result = real_.GetEnv(name, value);
  lastError_ = real_.LastError();
  return result;
}

bool FakePlatform::SetEnv(const std::u16string& name, const std::u16string* value) {
  if (Enter("SetEnv", name)) return false;
  for (auto it = env_.begin(); it != env_.end();) {
    it = EqualsIgnoreAsciiCase(it->first, name) ? env_.erase(it) : std::next(it);
  }
  if (value != nullptr) {
    env_[name] = *value;
  } else {
    env_[name] = std::nullopt;
  }
  lastError_ = kErrorSuccess;
  return true;
}

uint32_t FakePlatform::ProcessId() {
  if (Enter("ProcessId", u"")) return 0;
  return processId;
}

uint32_t FakePlatform::ThreadId() {
  if (Enter("ThreadId", u"")) return 0;
  return threadId;
}

std::u16string FakePlatform::CurrentDirectory() {
  if (Enter("CurrentDirectory", u"")) return std::u16string();
  return real_.CurrentDirectory();
}

void FakePlatform::WriteStdout(const std::string& text) {
  if (Enter("WriteStdout", Ascii(text))) return;
  stdoutText += text;
}

// --- Clock ---------------------------------------------------------------------

uint64_t FakePlatform::NowMs() {
  if (Enter("NowMs", u"")) return 0;
  return nowMs;
}

bool FakePlatform::ToLocalTime(int64_t seconds, LocalTimeParts* out) {
  if (Enter("ToLocalTime", Decimal(static_cast<uint64_t>(seconds)))) return false;
  const int64_t local = seconds + localOffsetSeconds;
  if (seconds < 0 || local < 0 || seconds > 32535215999) {
    lastError_ = kErrorInvalidParameter;
    return false;
  }
  CivilFromDays(local / 86400, &out->year, &out->month, &out->day);
  const int64_t rest = local % 86400;
  out->hour = static_cast<int>(rest / 3600);
  out->minute = static_cast<int>(rest / 60 % 60);
  out->second = static_cast<int>(rest % 60);
  return true;
}

uint64_t FakePlatform::MonotonicNs() {
  if (Enter("MonotonicNs", u"")) return 0;
  return nowMs * 1000000u;
}

void FakePlatform::SleepMs(uint32_t ms) {
  if (Enter("SleepMs", Decimal(ms))) return;
  nowMs += ms;  // time passes at once
}

// --- Processes and kernel objects -------------------------------------------------

bool FakePlatform::StartProcess(const std::u16string& applicationName, const std::u16string& commandLine,
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
    if (!real_.StartProcess(applicationName, commandLine, currentDirectory, &real)) {
      lastError_ = real_.LastError();
      return false;
    }
    real_.CloseObject(real.thread);
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
  lastError_ = kErrorSuccess;
  return true;
}

Handle FakePlatform::NewMutex(const std::u16string& name, bool initialOwner) {
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
  lastError_ = exists ? kErrorAlreadyExists : kErrorSuccess;
  return handle;
}

Handle FakePlatform::NewSemaphore(const std::u16string& name, int32_t initial, int32_t maximum) {
  if (Enter("NewSemaphore", name)) return nullptr;
  if (maximum <= 0 || initial < 0 || initial > maximum) {
    lastError_ = kErrorInvalidParameter;
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
  lastError_ = exists ? kErrorAlreadyExists : kErrorSuccess;
  return handle;
}

Handle FakePlatform::OpenSemaphoreByName(uint32_t access, const std::u16string& name) {
  if (Enter("OpenSemaphoreByName", name)) return nullptr;
  if (name.empty() || !Contains(existingSemaphores, name)) {
    lastError_ = kErrorFileNotFound;
    return nullptr;
  }
  auto semaphore = std::make_unique<KernelObject>();
  semaphore->kind = KernelObject::Kind::kSemaphore;
  semaphore->name = name;
  const KernelObject* open = FindSemaphoreIn(objects_, name);
  semaphore->count = open != nullptr
                         ? open->count
                         : std::make_shared<KernelObject::Count>(KernelObject::Count{0, 0x7FFFFFFF, false});
  Handle handle = semaphore.get();
  objects_.push_back(std::move(semaphore));
  lastError_ = kErrorSuccess;
  return handle;
}

bool FakePlatform::ReleaseSem(Handle semaphore, int32_t count, int32_t* previous) {
  KernelObject* object = FindObject(objects_, semaphore);
  if (Enter("ReleaseSem", object != nullptr ? object->name : u"")) return false;
  if (object == nullptr || object->kind != KernelObject::Kind::kSemaphore) {
    lastError_ = kErrorInvalidHandle;
    return false;
  }
  releasedSemaphores.push_back(object->name);
  if (count <= 0) {
    lastError_ = kErrorInvalidParameter;
    return false;
  }
  KernelObject::Count& shared = *object->count;
  if (static_cast<int64_t>(shared.value) + count > shared.maximum) {
    lastError_ = kErrorTooManyPosts;
    return false;
  }
  if (previous != nullptr) *previous = shared.value;
  shared.value += count;
  lastError_ = kErrorSuccess;
  return true;
}

uint32_t FakePlatform::WaitOne(Handle handle, uint32_t timeoutMs) {
  KernelObject* object = FindObject(objects_, handle);
  if (Enter("WaitOne", object != nullptr ? object->name : u"")) return kWaitFailed;
  waitTimeouts.push_back(timeoutMs);
  if (object == nullptr) {
    lastError_ = kErrorInvalidHandle;
    return kWaitFailed;
  }
  if (!waitResults.empty()) {
    const uint32_t result = waitResults.front();
    waitResults.pop_front();
    return result;
  }
  if (object->real != nullptr) {
    const uint32_t result = real_.WaitOne(object->real, timeoutMs);
    lastError_ = real_.LastError();
    return result;
  }
  if (object->kind == KernelObject::Kind::kSemaphore) {
    if (object->count->value == 0) return kWaitTimeout;
    --object->count->value;
  }
  return kWaitObject0;  // mutexes are got, fake processes have ended
}

bool FakePlatform::CloseObject(Handle handle) {
  auto it = std::find_if(objects_.begin(), objects_.end(), [&](const auto& o) { return o.get() == handle; });
  if (Enter("CloseObject", it != objects_.end() ? (*it)->name : u"")) return false;
  if (it == objects_.end()) {
    lastError_ = kErrorInvalidHandle;
    return false;
  }
  std::unique_ptr<KernelObject> object = std::move(*it);
  objects_.erase(it);
  if (object->real != nullptr) real_.CloseObject(object->real);
  // A semaphore the code made exists only while a handle of it is open.
  if (object->kind == KernelObject::Kind::kSemaphore && object->count->madeHere && !object->name.empty() &&
      FindSemaphoreIn(objects_, object->name) == nullptr) {
    auto name = std::find(existingSemaphores.begin(), existingSemaphores.end(), object->name);
    if (name != existingSemaphores.end()) existingSemaphores.erase(name);
  }
  lastError_ = kErrorSuccess;
  return true;
}

// A process handle of the fake, or null (last error 6) for any other handle.
FakePlatform::KernelObject* FakePlatform::ProcessObject(Handle handle) {
  KernelObject* object = FindObject(objects_, handle);
  if (object == nullptr || object->kind != KernelObject::Kind::kProcess) {
    lastError_ = kErrorInvalidHandle;
    return nullptr;
  }
  return object;
}

bool FakePlatform::ExitCodeOf(Handle process, uint32_t* code) {
  KernelObject* found = FindObject(objects_, process);
  if (Enter("ExitCodeOf", found != nullptr ? found->name : u"")) return false;
  KernelObject* object = ProcessObject(process);
  if (object == nullptr) return false;
  if (object->real != nullptr) {
    const bool result = real_.ExitCodeOf(object->real, code);
    lastError_ = real_.LastError();
    return result;
  }
  *code = fakeExitCode;
  lastError_ = kErrorSuccess;
  return true;
}

bool FakePlatform::Terminate(Handle process, uint32_t exitCode) {
  KernelObject* found = FindObject(objects_, process);
  if (Enter("Terminate", found != nullptr ? found->name : u"")) return false;
  KernelObject* object = ProcessObject(process);
  if (object == nullptr) return false;
  if (object->real != nullptr) {
    const bool result = real_.Terminate(object->real, exitCode);
    lastError_ = real_.LastError();
    return result;
  }
  lastError_ = kErrorSuccess;
  return true;
}

bool FakePlatform::SnapshotProcesses(std::vector<ProcessEntry>* entries) {
  if (Enter("SnapshotProcesses", u"")) return false;
  *entries = processList;
  lastError_ = kErrorSuccess;
  return true;
}

}  // namespace platform
