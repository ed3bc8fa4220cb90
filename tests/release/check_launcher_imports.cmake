# The launcher's import table: what it names is mapped and attached before
# the first line of the launcher runs, so it holds only what a start needs.
# The libraries of the work after the start and of the broker are looked up
# on first use instead (src/platform/system_library_win.h).
#
#   cmake -DOBJDUMP=<objdump> -DPROGRAM=<Orvane.exe> -P check_launcher_imports.cmake
cmake_minimum_required(VERSION 3.25)
set(after_start bcrypt.dll crypt32.dll wintrust.dll oleaut32.dll version.dll)

execute_process(COMMAND "${OBJDUMP}" -p "${PROGRAM}" OUTPUT_VARIABLE dump RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${OBJDUMP} -p ${PROGRAM} failed (${rc})")
endif()
string(REGEX MATCHALL "DLL Name: [^\n]+" lines "${dump}")
set(imported)
foreach(line IN LISTS lines)
  string(REGEX REPLACE "DLL Name: *" "" name "${line}")
  string(STRIP "${name}" name)
  string(TOLOWER "${name}" name)
  list(APPEND imported "${name}")
endforeach()
if(NOT "kernel32.dll" IN_LIST imported)
  message(FATAL_ERROR "no import table read from ${PROGRAM}: ${imported}")
endif()
foreach(name IN LISTS after_start)
  if(name IN_LIST imported)
    message(FATAL_ERROR "${PROGRAM} imports ${name}, which only the work after the start needs: look it up on first use")
  endif()
endforeach()
message(STATUS "imports: ${imported}")
