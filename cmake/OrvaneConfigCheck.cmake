# The product configuration's version_dir_name, checked at configure time.
#
# The launcher moves the directory it starts to version_dir_name and clears
# away every other copy beside it, so the name must name one directory right
# below the install root and nothing else. The rule is the launcher's own for
# a name in Orvane.ini (IsPlainDirName in src/layout/version_dirs.h): not
# empty or blank, no `\`, `/` or `:`, no trailing dot or blank (Windows drops
# those, so `.`, `..`, `...` and `app.` would name the root, its parent or
# `app`). An absent, empty or non-text value is fine: the launcher takes
# "app".
#
# Run as a script to check one file: cmake -DCONFIG=<file> -P OrvaneConfigCheck.cmake

function(orvane_check_config file)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${file}")
  file(READ "${file}" text)
  # The launcher looks keys up without regard to case and takes the first;
  # CMake's reader keeps the last of two equal keys. So a second key is
  # refused rather than guessed at.
  string(TOLOWER "${text}" lower)
  string(REGEX MATCHALL "\"version_dir_name\"[ \t\r\n]*:" keys "${lower}")
  list(LENGTH keys count)
  if(count GREATER 1)
    message(FATAL_ERROR "${file}: version_dir_name is given ${count} times; give it once")
  endif()
  # A document that does not parse is left to the launcher, which refuses it
  # at its start (the test launchers with broken documents are built so).
  string(JSON root_type ERROR_VARIABLE error TYPE "${text}")
  if(error OR NOT root_type STREQUAL "OBJECT")
    return()
  endif()
  string(JSON members LENGTH "${text}")
  if(members EQUAL 0)
    return()
  endif()
  string(ASCII 11 12 vtff)
  math(EXPR last "${members} - 1")
  foreach(i RANGE ${last})
    string(JSON key MEMBER "${text}" ${i})
    string(TOLOWER "${key}" key_lower)
    if(NOT key_lower STREQUAL "version_dir_name")
      continue()
    endif()
    string(JSON type TYPE "${text}" "${key}")
    if(NOT type STREQUAL "STRING")
      continue()
    endif()
    string(JSON value GET "${text}" "${key}")
    if(value STREQUAL "")
      continue()
    endif()
    if(value MATCHES "^[ \t\r\n${vtff}]*$" OR value MATCHES "[\\\\/:]" OR value MATCHES "[. ]$")
      message(FATAL_ERROR "${file}: version_dir_name '${value}' is not one plain directory name "
                          "(no `\\`, `/` or `:`, not blank, not ending in a dot or a blank)")
    endif()
  endforeach()
endfunction()

if(CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE AND DEFINED CONFIG)
  orvane_check_config("${CONFIG}")
endif()
