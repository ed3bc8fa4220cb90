// Functions of the system libraries that only the work after the start needs
// (signature checks, report encryption, the task's strings, version records,
// hashing) are looked up on first use instead of being imported: a start then
// maps and attaches none of those libraries before the application runs.
//
// Every library comes from the system directory, never from the launcher's
// own directory or the working directory, whether or not the DLL search path
// has been hardened yet.
#pragma once

#include <windows.h>

namespace platform::win {

// `name` exported by `library` (loaded from the system directory and kept
// for the process), or
// null with the thread's last error set: ERROR_MOD_NOT_FOUND when the library
// cannot be loaded, ERROR_PROC_NOT_FOUND when it lacks the name.
FARPROC SystemProcAddress(const wchar_t* library, const char* name);

template <typename Fn>
Fn* SystemProc(const wchar_t* library, const char* name) {
  return reinterpret_cast<Fn*>(reinterpret_cast<void*>(SystemProcAddress(library, name)));
}

// The status a call of the bcrypt kind answers with where the system lacks
// the function (STATUS_ENTRYPOINT_NOT_FOUND): a failure like any other.
constexpr LONG kStatusEntryPointNotFound = static_cast<LONG>(0xC0000139);

// A typed pointer to the system function `function` of `library`, looked up
// once per call site; null when the system lacks it (the last error says why).
// The declaration in the Windows headers gives the type, so a call through it
// is checked like a direct call.
#define ORVANE_SYSTEM_PROC(library, function)                                                                   \
  ([]() {                                                                                                        \
    static decltype(&::function) const found = ::platform::win::SystemProc<decltype(::function)>(library,        \
                                                                                                #function);    \
    return found;                                                                                                \
  }())

}  // namespace platform::win

// bcrypt: the report's encryption and the toolkit's digests.
#define BCRYPT_PROC(function) ORVANE_SYSTEM_PROC(L"bcrypt.dll", function)
