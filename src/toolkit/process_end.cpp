#include "toolkit/process_end.h"

#include "base/log.h"
#include "platform/processes/process_end.h"
#include "platform/system/environment.h"
#include "platform/types.h"

namespace Utils {

int32_t EndProcesses(const std::vector<CFoundProcess>& processes, uint32_t timeoutMs) {
  platform::ProcessEnd& end = platform::Service<platform::ProcessEnd>();
  const uint32_t self = platform::Service<platform::Environment>().ProcessId();
  int32_t alive = 0;
  for (const CFoundProcess& process : processes) {
    if (process.processId == 0 || process.processId == self) continue;
    const uint32_t error = end.EndProcessById(process.processId, 1, timeoutMs);
    // 87: no process has the identifier any more, it ended on its own.
    if (error == 0 || error == platform::kErrorInvalidParameter) {
      LogInfo(u"EndProcesses: ended %u %s", process.processId, process.path);
    } else {
      LogError(u"EndProcesses: %u %s still runs, error=%u", process.processId, process.path, error);
      ++alive;
    }
  }
  return alive;
}

}  // namespace Utils
