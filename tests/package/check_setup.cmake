# The installer's whole lifecycle on the installed toolkit package: builds
# tools/setup against the package as a product's installer is built, then
# installs 1.0 from a zip, starts it through the launcher (the probe stands in
# for the application and lingers), updates to 2.0 while 1.0 still runs, lets
# 1.0 end, starts again (2.0 runs, 1.0 is cleared away) and uninstalls.
# Called by ctest with -D: BUILD_DIR, WORK_DIR, SOURCE_DIR, GENERATOR,
# BUILD_TYPE, LAUNCHER, PROBE and, for the Windows build under Wine,
# TOOLCHAIN and EMULATOR. Under Wine every program runs in one prefix of this
# test's own, against Wine's real registry and shell links.

include("${CMAKE_CURRENT_LIST_DIR}/package_steps.cmake")

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

file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
run_step("cmake --install" "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}")
set(configure_args -S "${SOURCE_DIR}/tools/setup" -B "${WORK_DIR}/setup-build" -G "${GENERATOR}"
    "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}")
set(run)
if(TOOLCHAIN)
  file(GLOB_RECURSE config "${prefix}/*/OrvaneToolkitConfig.cmake")
  list(GET config 0 config_file)
  get_filename_component(package_dir "${config_file}" DIRECTORY)
  list(APPEND configure_args "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}" "-DOrvaneToolkit_DIR=${package_dir}")
  set(run "${EMULATOR}")
  # One prefix for the installer, the launcher and the probe, kept between
  # runs (a new one costs ten seconds or more).
  set(ENV{ORVANE_WINEPREFIX} "${WORK_DIR}-wineprefix")
endif()
run_step("configuring orvane-setup" "${CMAKE_COMMAND}" ${configure_args})
run_step("building orvane-setup" "${CMAKE_COMMAND}" --build "${WORK_DIR}/setup-build")
if(TOOLCHAIN)
  set(setup ${run} "${WORK_DIR}/setup-build/orvane-setup.exe")
else()
  set(setup "${WORK_DIR}/setup-build/orvane-setup")
endif()

# Two releases of the application: the probe as its main executable and a
# file that says which release it is.
foreach(version 1.0 2.0)
  set(content "${WORK_DIR}/content-${version}")
  file(MAKE_DIRECTORY "${content}")
  file(COPY_FILE "${PROBE}" "${content}/Orvane.exe")
  file(WRITE "${content}/release.txt" "${version}")
  run_step("making ${version}.zip" "${CMAKE_COMMAND}" -E chdir "${content}"
           "${CMAKE_COMMAND}" -E tar cf "${WORK_DIR}/${version}.zip" --format=zip Orvane.exe release.txt)
endforeach()
file(WRITE "${WORK_DIR}/broken.zip" "this is not an archive\n")

set(root "${WORK_DIR}/install root")
arg_path(root_arg "${root}")
foreach(name 1.0.zip 2.0.zip broken.zip)
  arg_path(zip_${name} "${WORK_DIR}/${name}")
endforeach()
get_filename_component(launcher_name "${LAUNCHER}" NAME)
arg_path(launcher_arg "${LAUNCHER}")
set(launcher "${root}/${launcher_name}")
set(start_launcher ${run} "${launcher}")
if(TOOLCHAIN)
  # Wine's own profile: the programs see its LOCALAPPDATA and APPDATA.
  set(profile "$ENV{ORVANE_WINEPREFIX}/drive_c/users/*")
  # The product's data of an earlier run of this test goes first.
  file(GLOB old_data "${profile}/AppData/Local/Orvane")
  if(old_data)
    file(REMOVE_RECURSE ${old_data})
  endif()
else()
  set(ENV{LOCALAPPDATA} "${WORK_DIR}/local")
  set(ENV{APPDATA} "${WORK_DIR}/roaming")
endif()

# The probe's record and hold files, as the probe takes them.
function(probe_env record hold)
  arg_path(record_arg "${WORK_DIR}/${record}")
  set(ENV{ORVANE_PROBE_RECORD} "${record_arg}")
  if(hold)
    arg_path(hold_arg "${WORK_DIR}/${hold}")
    set(ENV{ORVANE_PROBE_HOLD} "${hold_arg}")
  else()
    unset(ENV{ORVANE_PROBE_HOLD})
  endif()
endfunction()

# Starts the launcher; a lingering probe inherits its standard handles, so
# they go to files and nothing waits for a pipe the probe holds open.
function(start what record)
  execute_process(COMMAND ${start_launcher} RESULT_VARIABLE rc OUTPUT_FILE "${WORK_DIR}/${record}.out"
                  ERROR_FILE "${WORK_DIR}/${record}.err")
  expect("rc;EQUAL;0" "${what}: the launcher ended with ${rc}")
  wait_for_file("${WORK_DIR}/${record}" "${what}")
endfunction()

# Install 1.0.
run_step("install 1.0" ${setup} install "${zip_1.0.zip}" --version 1.0 --root "${root_arg}" --autorun 30
         --launcher "${launcher_arg}")
set(install_output "${step_output}")
expect("EXISTS;${root}/1.0/Orvane.exe" "1.0 was not unpacked:\n${install_output}")
expect("EXISTS;${launcher}" "the launcher was not placed")
file(READ "${root}/Orvane.ini" ini)
expect("ini;STREQUAL;1.0" "Orvane.ini holds '${ini}'")
string(REGEX MATCHALL "update task: [^\n]*" task_lines "${install_output}")
list(LENGTH task_lines task_count)
expect("task_count;EQUAL;1" "the task's outcome should be said once:\n${install_output}")
if(TOOLCHAIN)
  file(GLOB data "${profile}/AppData/Local/Orvane/User Data")
else()
  set(data "${WORK_DIR}/local/Orvane/User Data")
endif()
file(STRINGS "${data}/update/install_report.json" stages REGEX "install_stage")
list(LENGTH stages stage_count)
expect("stage_count;GREATER;5" "stage reports missing: ${stages}")
expect("stages;MATCHES;install_success" "no install_success stage: ${stages}")
message(STATUS "install: ${task_lines}; ${stage_count} stage reports")
if(TOOLCHAIN)
  # The autorun value in Wine's registry, and the Start-menu shortcut.
  run_step("reading the autorun value" ${run} reg query "HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Run" /v Orvane)
  expect("step_output;MATCHES;--launch_from=auto-launch --auto_launch_delay_seconds=30" "autorun value: ${step_output}")
  file(GLOB start_menu "${profile}/AppData/Roaming/Microsoft/Windows/Start Menu/Programs/Orvane.lnk")
  expect("start_menu" "no Start-menu shortcut:\n${install_output}")
  message(STATUS "install: autorun value and ${start_menu}")
  # Pinning copies the shortcut into the task bar's folder, as the shell does.
  get_filename_component(roaming "${start_menu}/../../../../.." ABSOLUTE)
  set(pinned_dir "${roaming}/Microsoft/Internet Explorer/Quick Launch/User Pinned/TaskBar")
  file(MAKE_DIRECTORY "${pinned_dir}")
  file(COPY_FILE "${start_menu}" "${pinned_dir}/Orvane.lnk")
endif()

# Start 1.0 and keep it; a second install refuses while it runs.
probe_env(run1.json release1)
start("the first start" run1.json)
probe_env(unused.json "")
execute_process(COMMAND ${setup} install "${zip_1.0.zip}" --version 1.0 --root "${root_arg}"
                --launcher "${launcher_arg}" RESULT_VARIABLE rc ERROR_VARIABLE err)
expect("NOT;rc;EQUAL;0" "install over a running application succeeded")
expect("err;MATCHES;running" "unclear refusal: ${err}")

# Failed updates leave the running copy untouched.
file(MD5 "${WORK_DIR}/2.0.zip" md5)
foreach(case "broken.zip|2.0|did not unpack" "2.0.zip|app|names the copy in use"
             "2.0.zip|2.0|MD5 is|--md5;00000000000000000000000000000000")
  string(REPLACE "|" ";" case "${case}")
  list(GET case 0 zip)
  list(GET case 1 version)
  list(GET case 2 expected)
  set(extra)
  list(LENGTH case n)
  if(n GREATER 3)
    list(SUBLIST case 3 -1 extra)
  endif()
  execute_process(COMMAND ${setup} update "${zip_${zip}}" --version ${version} --root "${root_arg}" ${extra}
                  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  expect("NOT;rc;EQUAL;0" "update from ${zip} as ${version} succeeded:\n${out}")
  expect("err;MATCHES;${expected}" "update from ${zip}: ${err}")
  file(READ "${root}/Orvane.ini" ini)
  file(GLOB left "${root}/2.0" "${data}/update/update.task")
  expect("NOT;left" "a failed update left ${left}")
  file(READ "${root}/app/release.txt" running)
  expect("running;STREQUAL;1.0;AND;ini;STREQUAL;app" "a failed update touched the running copy (${running}, ini ${ini})")
endforeach()

# Update to 2.0 while 1.0 runs.
run_step("update to 2.0" ${setup} update "${zip_2.0.zip}" --version 2.0 --root "${root_arg}" --md5 "${md5}")
file(READ "${root}/Orvane.ini" ini)
file(READ "${root}/2.0/release.txt" staged)
expect("ini;STREQUAL;2.0;AND;staged;STREQUAL;2.0" "the update did not stage 2.0 (ini ${ini})")
expect("NOT;EXISTS;${data}/update/update.task" "the update marker stayed")

# Let 1.0 end: the probe ends once its hold file appears; its end is seen in
# the process list (Linux's, or Wine's through tasklist).
file(READ "${WORK_DIR}/run1.json" record1)
string(REGEX MATCH "\"pid\":([0-9]+)" _ "${record1}")
set(pid1 "${CMAKE_MATCH_1}")
file(WRITE "${WORK_DIR}/release1" "")
set(ended FALSE)
foreach(i RANGE 600)
  if(TOOLCHAIN)
    execute_process(COMMAND ${run} tasklist /fo csv OUTPUT_VARIABLE listed ERROR_QUIET)
    if(NOT listed MATCHES "\"${pid1}\"")
      set(ended TRUE)
    endif()
  else()
    set(state "")
    if(EXISTS "/proc/${pid1}/stat")
      file(READ "/proc/${pid1}/stat" state)
    endif()
    if(state STREQUAL "" OR state MATCHES "^[0-9]+ \\([^)]*\\) Z")
      set(ended TRUE)
    endif()
  endif()
  if(ended)
    break()
  endif()
  execute_process(COMMAND "${CMAKE_COMMAND}" -E sleep 0.05)
endforeach()
expect("ended" "1.0 (process ${pid1}) did not end")

# Start again: 2.0 runs from the configured directory and 1.0 is cleared away.
probe_env(run2.json "")
start("the second start" run2.json)
file(READ "${root}/app/release.txt" running)
file(GLOB versions LIST_DIRECTORIES true RELATIVE "${root}" "${root}/*")
expect("running;STREQUAL;2.0" "the second start ran ${running}")
list(SORT versions)
string(JOIN "," versions ${versions})
if(TOOLCHAIN)
  set(expected_root "Orvane.exe,Orvane.ini,app")
else()
  set(expected_root "Orvane.ini,app,${launcher_name}")
endif()
expect("versions;STREQUAL;${expected_root}" "after the switch the root holds: ${versions}")
message(STATUS "update: 2.0 runs, root holds ${versions}")

# Uninstall while 2.0 runs: its process is ended and nothing of the product
# is left: the root, the autorun value, the shortcuts.
probe_env(run3.json never)
start("the third start" run3.json)
probe_env(unused.json "")
run_step("uninstall" ${setup} uninstall --root "${root_arg}")
expect("step_output;MATCHES;processes ended: 1" "the running application was not ended:\n${step_output}")
expect("NOT;EXISTS;${root}" "the install root stayed")
message(STATUS "uninstall: ${step_output}")
if(TOOLCHAIN)
  execute_process(COMMAND ${run} reg query "HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Run" /v Orvane
                  RESULT_VARIABLE rc OUTPUT_QUIET ERROR_QUIET)
  expect("NOT;rc;EQUAL;0" "the autorun value stayed")
  file(GLOB left_links "${start_menu}" "${pinned_dir}/Orvane.lnk")
  expect("NOT;left_links" "shortcuts stayed: ${left_links}")
endif()
