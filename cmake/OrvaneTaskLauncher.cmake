# Where the elevated scheduled task's copy of the launcher lives when the
# install root is not administrators-only (a per-user install). It must lie
# in a place only administrators can change and outside every install root,
# so it starts at the Common Program Files folder; %install_dir_name% stands
# for the configuration's install_dir_name. The copy's file name is the
# configuration's exe_file_name.

set(ORVANE_TASK_LAUNCHER_DIR "%CommonProgramFiles%\\%install_dir_name%\\Update" CACHE STRING
    "Directory of the scheduled task's launcher copy: %CommonProgramFiles%\\ followed by one or more names")

# Fails the configuration unless `dir` is "%CommonProgramFiles%" followed by
# one or more plain Windows names (no "." or "..", none of <>:"/|?*, no
# trailing blank or dot), where %install_dir_name% may stand for a name or a
# part of one.
function(orvane_check_task_launcher_dir dir)
  set(prefix "%CommonProgramFiles%\\")
  string(LENGTH "${prefix}" prefix_length)
  string(SUBSTRING "${dir}" 0 ${prefix_length} head)
  if(NOT head STREQUAL prefix)
    message(FATAL_ERROR "ORVANE_TASK_LAUNCHER_DIR '${dir}' must begin with %CommonProgramFiles%\\")
  endif()
  string(SUBSTRING "${dir}" ${prefix_length} -1 rest)
  string(REPLACE "%install_dir_name%" "x" plain "${rest}")
  string(REPLACE "\\" ";" names "${plain}")
  if(rest STREQUAL "")
    message(FATAL_ERROR "ORVANE_TASK_LAUNCHER_DIR '${dir}' names no directory below %CommonProgramFiles%")
  endif()
  foreach(name IN LISTS names)
    if(name STREQUAL "" OR name STREQUAL "." OR name STREQUAL ".." OR name MATCHES "[<>:\"/|?*%]" OR
       name MATCHES "[ .]$")
      message(FATAL_ERROR "ORVANE_TASK_LAUNCHER_DIR '${dir}': '${name}' is not a plain directory name")
    endif()
  endforeach()
endfunction()

orvane_check_task_launcher_dir("${ORVANE_TASK_LAUNCHER_DIR}")
string(LENGTH "%CommonProgramFiles%\\" _orvane_prefix_length)
string(SUBSTRING "${ORVANE_TASK_LAUNCHER_DIR}" ${_orvane_prefix_length} -1 _orvane_task_dir_rest)
string(REPLACE "\\" "\\\\" _orvane_task_dir_rest "${_orvane_task_dir_rest}")
file(WRITE "${CMAKE_BINARY_DIR}/generated/task_launcher_dir.h.tmp"
     "// Generated from ORVANE_TASK_LAUNCHER_DIR\n#pragma once\n"
     "// Below the Common Program Files folder; %install_dir_name% to be replaced.\n"
     "inline constexpr char16_t kTaskLauncherSubDirTemplate[] = u\"${_orvane_task_dir_rest}\";\n")
configure_file("${CMAKE_BINARY_DIR}/generated/task_launcher_dir.h.tmp"
               "${CMAKE_BINARY_DIR}/generated/task_launcher_dir.h" COPYONLY)
