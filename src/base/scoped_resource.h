// One resource in hand and the call that gives it back.
//
// A function that acquires several resources declares one guard per resource
// at the step that acquires it, and releases each explicitly with Release()
// at the step that is done with it. The destructor releases only what an
// early return left in hand, in reverse order of the guards' declaration, so
// the order of release reads off the code on every road.
//
//   ScopedResource<platform::TaskObject> definition(release);
//   hr = ts.NewTask(service.get(), definition.receive());
//   if (hr < 0) return fail(...);   // nothing to release: the call gave none
//   ...
//   definition.Release();           // the step that is done with it
#pragma once

#include <functional>
#include <utility>

template <class T>
class ScopedResource {
 public:
  using Releaser = std::function<void(T)>;

  explicit ScopedResource(Releaser release, T value = T{}) : release_(std::move(release)), value_(value) {}
  ~ScopedResource() { Release(); }
  ScopedResource(const ScopedResource&) = delete;
  ScopedResource& operator=(const ScopedResource&) = delete;

  T get() const { return value_; }

  // Where a call that hands out the resource writes it. Whatever the call
  // leaves there is released (a call that fails leaves the empty value).
  T* receive() { return &value_; }

  // Gives the resource back now; nothing happens when none is in hand.
  void Release() {
    if (value_ == T{}) return;
    const T value = value_;
    value_ = T{};
    release_(value);
  }

  // Hands the resource on to the caller, who releases it from then on.
  T Detach() { return std::exchange(value_, T{}); }

 private:
  Releaser release_;
  T value_;
};

// A call to make once, when the step that needs it comes or on an early
// return, whichever is first (COM's uninitialisation, for instance).
class ScopedCall {
 public:
  explicit ScopedCall(std::function<void()> call) : call_(std::move(call)) {}
  ~ScopedCall() { Run(); }
  ScopedCall(const ScopedCall&) = delete;
  ScopedCall& operator=(const ScopedCall&) = delete;

  void Run() {
    if (!call_) return;
    std::function<void()> call = std::move(call_);
    call_ = nullptr;
    call();
  }
  // The call is no longer this function's to make: its caller makes it.
  void Dismiss() { call_ = nullptr; }

 private:
  std::function<void()> call_;
};
