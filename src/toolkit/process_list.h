// The running processes written to the log, so that an installer's log shows
// what was running when it met a file in use or a process that would not end.
#pragma once

#include <cstdint>

namespace Utils {

// Takes the process snapshot that the process finders walk and logs one line
// per process: "Utils::LogProcessList, pid:%u parent:%u name:%s", after a
// line with their number. The number of processes logged; 0 when the
// snapshot can't be taken or holds nothing (a warning line says so).
int32_t LogProcessList();

}  // namespace Utils
