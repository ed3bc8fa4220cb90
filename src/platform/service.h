// How the core reaches the operating system: every concern (files, the
// environment, the clock, processes, the registry, code trust, the task
// scheduler, shell links, ...) is one small abstract interface with its own
// three backends, so a reader meets one concern at a time and a test fake
// overrides only the concern its test needs (fake_platform.h installs them
// all at once). The thread's last error has its own service (error_codes.h).
//
//   class CodeTrust { public: virtual ~CodeTrust() = default; ... };
//
//   // in code_trust_win.cpp and code_trust_posix.cpp, one of them per build:
//   template <> CodeTrust& NativeService<CodeTrust>() { static WinCodeTrust t; return t; }
//
//   // the core, taking the reference once where it calls several times:
//   auto& trust = platform::Service<CodeTrust>();
//   trust.Verify(...);
//
//   // a test fake installs itself for its lifetime:
//   class FakeCodeTrust : public CodeTrust { ScopedService<CodeTrust> scope_{this}; ... };
#pragma once

namespace platform {

// The native backend of service T in this build, created on first use. Each
// backend file specialises it for its service.
template <class T>
T& NativeService();

template <class T>
struct ServiceOverride {
  static inline T* current = nullptr;
};

// The current backend of service T: the native one unless a ScopedService
// is active.
template <class T>
T& Service() {
  T* replacement = ServiceOverride<T>::current;
  return replacement != nullptr ? *replacement : NativeService<T>();
}

// Installs another backend of service T for the life of the object (tests).
template <class T>
class ScopedService {
 public:
  explicit ScopedService(T* replacement) : previous_(ServiceOverride<T>::current) {
    ServiceOverride<T>::current = replacement;
  }
  ~ScopedService() { ServiceOverride<T>::current = previous_; }
  ScopedService(const ScopedService&) = delete;
  ScopedService& operator=(const ScopedService&) = delete;

 private:
  T* previous_;
};

}  // namespace platform
