#include "toolkit/process_list.h"

#include <vector>

#include "base/log.h"
#include "platform/error_codes.h"
#include "platform/processes/processes.h"

namespace Utils {

int32_t LogProcessList() {
  auto& processes = platform::Service<platform::Processes>();
  std::vector<platform::ProcessEntry> entries;
  if (!processes.SnapshotProcesses(&entries)) {
    LogWarn(u"Utils::LogProcessList, create process snapshot failed, error=%d", platform::LastError());
    return 0;
  }
  // The seam walks the snapshot in one call: an empty walk is a first entry
  // that could not be read.
  if (entries.empty()) {
    LogWarn(u"Utils::LogProcessList, process snapshot empty, error=%d", platform::LastError());
    return 0;
  }
  LogInfo(u"Utils::LogProcessList, %u processes", static_cast<uint32_t>(entries.size()));
  for (const platform::ProcessEntry& entry : entries) {
    LogInfo(u"Utils::LogProcessList, pid:%u parent:%u name:%s", entry.pid, entry.parentPid, entry.exeFile);
  }
  return static_cast<int32_t>(entries.size());
}

}  // namespace Utils
