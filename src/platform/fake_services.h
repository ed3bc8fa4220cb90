// Fakes of the small services that only Windows really has, for unit tests.
// Each installs itself for its lifetime, records its calls and answers from
// what the test sets.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/admin_check.h"
#include "platform/named_events.h"
#include "platform/shell_execute.h"
#include "platform/system_libraries.h"

namespace platform {

class FakeAdminCheck final : public AdminCheck {
 public:
  bool sidFails = false;
  bool checkFails = false;
  bool member = true;
  int liveSids = 0;

  bool AllocateAdministratorsSid(Sid* sid) override;
  bool CheckTokenMembership(Sid sid, bool* isMember) override;
  void FreeSid(Sid sid) override;

 private:
  int sid_ = 0;
  ScopedService<AdminCheck> scope_{this};
};

class FakeNamedEvents final : public NamedEvents {
 public:
  struct Event {
    std::u16string name;
    bool manualReset = false, initialState = false;
    int sets = 0;
  };
  std::vector<Event> events;  // every event created, in order
  bool createFails = false;

  Handle CreateNamedEvent(const std::u16string& name, bool manualReset, bool initialState) override;
  bool SignalEvent(Handle event) override;

 private:
  ScopedService<NamedEvents> scope_{this};
};

class FakeShellExecution final : public ShellExecution {
 public:
  struct Call {
    std::u16string verb, file, parameters;
    bool hasDirectory = false;
    std::u16string directory;
    int32_t show = 0;
  };
  std::vector<Call> calls;
  intptr_t answer = 42;
  uint32_t errorOnFailure = 0;  // set as the last error when answer <= 32
  // Receives the last error to set (the fake platform's SetLastErrorCode).
  std::function<void(uint32_t)> setLastError;

  intptr_t ShellExecute(const std::u16string& verb, const std::u16string& file, const std::u16string& parameters,
                        const std::u16string* directory, int32_t show) override;

 private:
  ScopedService<ShellExecution> scope_{this};
};

class FakeSystemLibraries final : public SystemLibraries {
 public:
  bool hasWindowsDirectory = true;
  std::u16string windowsDirectory = u"C:\\Windows";
  bool versionFunctionFound = true;
  uint32_t major = 10, minor = 0, build = 0xF0004A64u;  // flag bits above the build
  std::vector<std::u16string> loaded;  // every LoadLibraryPath call
  size_t versionQueries = 0;

  bool WindowsDirectory(std::u16string* directory) override;
  Module LoadLibraryPath(const std::u16string& path) override;
  bool NtVersionNumbers(Module module, uint32_t* outMajor, uint32_t* outMinor, uint32_t* outBuild) override;

 private:
  int module_ = 0;
  ScopedService<SystemLibraries> scope_{this};
};

}  // namespace platform
