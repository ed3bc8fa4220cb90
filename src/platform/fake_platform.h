// The whole fake world in one object, for unit tests: a fake of every concern
// of the seam (files, environment, clock, processes, registry, crypto, message
// boxes, resources, system information) and of the last error, all sharing
// one recorder, so the call log holds every call in order across concerns and
// any single call can be made to fail with a chosen Windows error:
//
//   platform::FakePlatform fake;
//   fake.nowMs = ...;                        // the state of any concern
//   fake.FailCall("MovePath", 32);           // the next MovePath fails
//   ... the code under test ...
//   EXPECT_EQ(fake.CallCount("StartProcess"), 1u);
//
// Files, crypto and code pages pass through to the native backend (tests work
// in temporary directories); the rest answers from state the test sets. A
// test that needs one concern only installs that fake alone (fake_clock.h,
// fake_processes.h, ...).
#pragma once

#include "platform/crypto/fake_crypto.h"
#include "platform/fake_recorder.h"
#include "platform/files/fake_files.h"
#include "platform/processes/fake_processes.h"
#include "platform/registry/fake_registry.h"
#include "platform/system/fake_clock.h"
#include "platform/system/fake_environment.h"
#include "platform/system/fake_resources.h"
#include "platform/system/fake_system_info.h"
#include "platform/system/fake_user_interface.h"

namespace platform {

class FakePlatform : public FakeRecorder,
                     public FakeFiles,
                     public FakeEnvironment,
                     public FakeClock,
                     public FakeProcesses,
                     public FakeRegistry,
                     public FakeCrypto,
                     public FakeUserInterface,
                     public FakeResources,
                     public FakeSystemInfo {
 public:
  // Installs every fake for its lifetime.
  FakePlatform()
      : FakeFiles(this),
        FakeEnvironment(this),
        FakeClock(this),
        FakeProcesses(this),
        FakeRegistry(this),
        FakeCrypto(this),
        FakeUserInterface(this),
        FakeResources(this),
        FakeSystemInfo(this) {}

  using FakeRecorder::LastError;
  using FakeRecorder::SetLastErrorCode;
};

}  // namespace platform
