# Helpers of the installer's lifecycle check (check_setup.cmake).
# The including script requires CMake 3.25, so a walk of the prefix stays in
# it: links (the profile's Templates leads to the home directory) are listed,
# not followed (CMP0009).

# Waits for `file` to exist: each probe writes its record first thing.
function(wait_for_file file what)
  foreach(i RANGE 600)
    if(EXISTS "${file}")
      return()
    endif()
    execute_process(COMMAND "${CMAKE_COMMAND}" -E sleep 0.05)
  endforeach()
  message(FATAL_ERROR "${what}: ${file} never appeared")
endfunction()

function(expect condition message)
  if(${condition})
  else()
    message(FATAL_ERROR "${message}")
  endif()
endfunction()

# A path as the programs under test take it: Wine sees the Linux file system
# as drive Z:.
function(arg_path out path)
  if(TOOLCHAIN)
    string(REPLACE "/" "\\" path "Z:${path}")
  endif()
  set(${out} "${path}" PARENT_SCOPE)
endfunction()

# Under Wine: the places where the product can leave something in the prefix.
# `user_dir` is the profile's directory, `run` the Wine runner.
set(run_key "HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Run")
function(product_places out)
  set(${out} "${user_dir}/AppData/Local" "${user_dir}/AppData/Roaming" "${wine_c}/Program Files"
      "${wine_c}/Program Files (x86)" "${wine_c}/ProgramData" "${wine_c}/windows/system32/tasks" PARENT_SCOPE)
endfunction()

# Every file or directory of the product in `places` (named Orvane, in any
# case), but its user data, which an uninstall leaves to the user.
function(product_traces out)
  set(found)
  foreach(place ${ARGN})
    file(GLOB_RECURSE entries LIST_DIRECTORIES true "${place}/*")
    foreach(entry ${entries})
      string(TOLOWER "${entry}" lower)
      string(TOLOWER "${place}" lower_place)
      if(lower MATCHES "orvane" AND NOT lower MATCHES "/orvane/user data(/|$)")
        string(REPLACE "${lower_place}/" "" rest "${lower}")
        # The directory holding the user data is the user data's.
        if(NOT rest STREQUAL "orvane" OR NOT EXISTS "${entry}/User Data")
          list(APPEND found "${entry}")
        endif()
      endif()
    endforeach()
  endforeach()
  set(${out} "${found}" PARENT_SCOPE)
endfunction()

# Under Wine: removes what an earlier run of this test left of the product
# in the prefix (its data included), so that what the uninstall leaves is
# seen.
function(forget_product)
  if(EXISTS "${task_file}")
    execute_process(COMMAND ${run} schtasks /delete /tn OrvaneUpdateTaskMachineUA /f OUTPUT_QUIET ERROR_QUIET)
  endif()
  product_places(places)
  product_traces(traces ${places})
  file(GLOB data "${user_dir}/AppData/Local/Orvane")
  if(traces OR data)
    file(REMOVE_RECURSE ${traces} ${data})
  endif()
  execute_process(COMMAND ${run} reg delete "${run_key}" /v Orvane /f OUTPUT_QUIET ERROR_QUIET)
  execute_process(COMMAND ${run} reg delete "HKCU\\Software\\Orvane" /v InstallDir /f OUTPUT_QUIET ERROR_QUIET)
endfunction()

# The lines of the launcher's log that hold `text`.
function(log_lines out log text)
  set(lines)
  if(EXISTS "${log}")
    file(STRINGS "${log}" lines REGEX "${text}")
  endif()
  set(${out} "${lines}" PARENT_SCOPE)
endfunction()
