// Ending the product's processes before their files are removed: what an
// uninstaller does with the processes that a finder of process_finders.h
// reported.
#pragma once

#include <cstdint>
#include <vector>

#include "toolkit/process_finders.h"

namespace Utils {

// Ends each listed process (exit code 1) and waits up to `timeoutMs` for
// each. A process that had ended already counts as ended. The number of
// processes still alive afterwards, each logged with its error; 0 when every
// one has ended. The calling process is never ended.
int32_t EndProcesses(const std::vector<CFoundProcess>& processes, uint32_t timeoutMs);

}  // namespace Utils
