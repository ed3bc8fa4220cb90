# The installer's whole lifecycle on the installed toolkit package: builds
# tools/setup against the package as a product's installer is built, then
# installs 1.0 from a zip, starts it through the launcher (the probe stands in
# for the application and lingers), updates to 2.0 while 1.0 still runs, lets
# 1.0 end, starts again (2.0 runs, 1.0 is cleared away) and uninstalls; then
# installs into the default location and uninstalls again, and finds nothing
# of the product left but its user data.
# Called by ctest with -D: BUILD_DIR, WORK_DIR, SOURCE_DIR, GENERATOR,
# BUILD_TYPE, LAUNCHER, PROBE and, for the Windows build under Wine,
# TOOLCHAIN and EMULATOR. Under Wine every program runs in one prefix of this
# test's own, against Wine's real registry, shell links and task scheduler;
# there the user pins the running 1.0 as the shell does, and the uninstall
# meets a task that Wine keeps without its action's path.

cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/package_steps.cmake")

include("${CMAKE_CURRENT_LIST_DIR}/lifecycle_support.cmake")

file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
run_step("cmake --install" "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}")
set(configure_args -G "${GENERATOR}" "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}")
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
  # No menu entries of the Linux desktop for the shortcuts made here: Wine's
  # menu builder would write them into the real home directory.
  set(ENV{WINEDLLOVERRIDES} "winemenubuilder.exe=d")
endif()
run_step("configuring orvane-setup" "${CMAKE_COMMAND}" -S "${SOURCE_DIR}/tools/setup" -B "${WORK_DIR}/setup-build"
         ${configure_args})
run_step("building orvane-setup" "${CMAKE_COMMAND}" --build "${WORK_DIR}/setup-build")
if(TOOLCHAIN)
  set(setup ${run} "${WORK_DIR}/setup-build/orvane-setup.exe")
  # The consumer pins and reads shortcuts as the shell does.
  run_step("configuring the consumer" "${CMAKE_COMMAND}" -S "${SOURCE_DIR}/tests/package/consumer"
           -B "${WORK_DIR}/consumer" ${configure_args})
  run_step("building the consumer" "${CMAKE_COMMAND}" --build "${WORK_DIR}/consumer")
  set(consumer ${run} "${WORK_DIR}/consumer/toolkit_consumer.exe")
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
  set(wine_c "$ENV{ORVANE_WINEPREFIX}/drive_c")
  # The first program run in a new prefix makes the profile.
  run_step("starting Wine" ${run} cmd /c "exit 0")
  file(GLOB user_dir LIST_DIRECTORIES true "${profile}")
  list(FILTER user_dir EXCLUDE REGEX "/[Pp]ublic$")
  set(local "${user_dir}/AppData/Local")
  set(pinned_dir "${user_dir}/AppData/Roaming/Microsoft/Internet Explorer/Quick Launch/User Pinned/TaskBar")
  set(task_file "${wine_c}/windows/system32/tasks/OrvaneUpdateTaskMachineUA")
  product_places(places)
  # What an earlier run of this test may have left of the product goes first.
  forget_product()
else()
  set(local "${WORK_DIR}/local")
  set(ENV{LOCALAPPDATA} "${local}")
  set(ENV{APPDATA} "${WORK_DIR}/roaming")
  set(places "${local}" "${WORK_DIR}/roaming")
endif()
set(data "${local}/Orvane/User Data")
set(launcher_log "${data}/sdk_storage/log/Orvane-launcher.log")

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
  run_step("reading the install location" ${run} reg query "HKCU\\Software\\Orvane" /v InstallDir)
  string(FIND "${step_output}" "${root_arg}" at)
  expect("NOT;at;EQUAL;-1" "the install location is not recorded: ${step_output}")
  message(STATUS "install: autorun value, install location and ${start_menu}")
endif()

# Start 1.0 and keep it; a second install refuses while it runs.
probe_env(run1.json release1)
start("the first start" run1.json)
if(TOOLCHAIN)
  # The user pins the running 1.0, and the shell writes the shortcut: aimed at
  # the main executable in its version directory, with the window's ID.
  file(MAKE_DIRECTORY "${pinned_dir}")
  arg_path(pinned_arg "${pinned_dir}/Orvane.lnk")
  run_step("pinning 1.0" ${consumer} --pin "${pinned_arg}" "${root_arg}\\app\\Orvane.exe")
  run_step("reading the pinned shortcut" ${consumer} --read-shortcut "${pinned_arg}")
  string(REGEX MATCH "appid (0x[0-9a-f]+) ([^\r\n]*)" _ "${step_output}")
  set(pinned_id_answer "${CMAKE_MATCH_1}")
  set(pinned_id "${CMAKE_MATCH_2}")
  expect("step_output;MATCHES;target [^\n]*app.Orvane.exe" "the pinned shortcut's target:\n${step_output}")
  message(STATUS "pinned: ${pinned_arg}, its AppUserModelID reads back '${pinned_id}' (${pinned_id_answer})")
endif()
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

# Update to 2.0 while 1.0 runs; under Wine from the recorded location.
set(update_root --root "${root_arg}")
if(TOOLCHAIN)
  set(update_root)
endif()
run_step("update to 2.0" ${setup} update "${zip_2.0.zip}" --version 2.0 ${update_root} --md5 "${md5}")
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
if(TOOLCHAIN)
  # The start that switched repaired the pinned shortcuts: it matched this one
  # by its target below the install root, and rewrites it to the launcher only
  # when it carries the product's AppUserModelID. Wine keeps no such ID in a
  # shell link, so there the shortcut is matched and left as it was.
  arg_path(launcher_win "${launcher}")
  run_step("reading the pinned shortcut" ${consumer} --read-shortcut "${pinned_arg}")
  log_lines(matched "${launcher_log}" "Matched shortcut")
  log_lines(decided "${launcher_log}" "PinnedTaskBar Lnked_exe")
  list(LENGTH matched matched_count)
  expect("matched_count;EQUAL;1" "the repair did not match the pinned shortcut once: ${matched}")
  if(pinned_id STREQUAL "com.electron.Orvane")
    expect("decided;MATCHES;redirect" "a pinned shortcut of the product was not redirected: ${decided}")
    string(FIND "${step_output}" "target ${launcher_win}" at)
    expect("NOT;at;EQUAL;-1" "the pinned shortcut does not aim at ${launcher_win}:\n${step_output}")
    message(STATUS "pinned: redirected to the launcher")
  else()
    expect("decided;MATCHES;do nothing" "a pinned shortcut without the product's ID was changed: ${decided}")
    expect("step_output;MATCHES;target [^\n]*app.Orvane.exe" "the pinned shortcut changed:\n${step_output}")
    message(STATUS "pinned: matched by target and left (${decided}): no AppUserModelID (${pinned_id_answer})")
  endif()
endif()

# Uninstall while 2.0 runs: its process is ended and nothing of the product
# is left: the root, the autorun value, the shortcuts.
probe_env(run3.json never)
start("the third start" run3.json)
probe_env(unused.json "")
if(TOOLCHAIN)
  # A task that names this root's launcher, as a per-machine install's does
  # (the install registered none here: see its line above). Wine keeps the
  # task but not its action's path.
  string(REPLACE "&" "&amp;" command_xml "${launcher_arg}")
  file(WRITE "${WORK_DIR}/task.xml" "<?xml version=\"1.0\"?>\n<Task version=\"1.2\" "
       "xmlns=\"http://schemas.microsoft.com/windows/2004/02/mit/task\"><Actions Context=\"Author\"><Exec>"
       "<Command>${command_xml}</Command><Arguments>--command=run_update</Arguments></Exec></Actions></Task>\n")
  arg_path(task_xml "${WORK_DIR}/task.xml")
  run_step("registering a task" ${run} schtasks /create /tn OrvaneUpdateTaskMachineUA /xml "${task_xml}")
endif()
run_step("uninstall" ${setup} uninstall --root "${root_arg}")
set(uninstall_output "${step_output}")
expect("uninstall_output;MATCHES;processes ended: 1" "the running application was not ended:\n${uninstall_output}")
expect("NOT;EXISTS;${root}" "the install root stayed")
message(STATUS "uninstall: ${uninstall_output}")
if(TOOLCHAIN)
  foreach(value "${run_key}|Orvane" "HKCU\\Software\\Orvane|InstallDir")
    string(REPLACE "|" ";/v;" value "${value}")
    execute_process(COMMAND ${run} reg query ${value} RESULT_VARIABLE rc OUTPUT_QUIET ERROR_QUIET)
    expect("NOT;rc;EQUAL;0" "the value ${value} stayed")
  endforeach()
  file(GLOB left_links "${start_menu}" "${pinned_dir}/Orvane.lnk")
  expect("NOT;left_links" "shortcuts stayed: ${left_links}")
  # Wine's answer to the task's removal: the task is found, its action reads
  # back without a path, so it is taken for another installation's and stays.
  # (That the removal deletes a task naming the launcher, and in which order,
  # is shown against the fake scheduler: UninstallTaskTest.)
  set(setup_log "${data}/setup.log")
  log_lines(removal "${setup_log}" "task path not match")
  expect("removal;AND;EXISTS;${task_file}" "Wine's scheduler answered otherwise: ${uninstall_output} ${removal}")
  message(STATUS "uninstall under Wine: the task stays, its action has no path (${removal})")
  run_step("removing Wine's task" ${run} schtasks /delete /tn OrvaneUpdateTaskMachineUA /f)
endif()

# Install into the default location (no --root: the user's scope) and
# uninstall from there; then nothing of the product is left but its data.
run_step("install into the default location" ${setup} install "${zip_1.0.zip}" --version 1.0 --autorun 5
         --launcher "${launcher_arg}")
set(default_root "${local}/Orvane/Application")
expect("EXISTS;${default_root}/1.0/Orvane.exe;AND;EXISTS;${default_root}/Orvane.ini"
       "the default install is not in ${default_root}:\n${step_output}")
run_step("uninstall from the default location" ${setup} uninstall)
expect("NOT;EXISTS;${default_root}" "the default install root stayed:\n${step_output}")
product_traces(traces ${places})
expect("NOT;traces" "the product left: ${traces}")
if(TOOLCHAIN)
  foreach(value "${run_key}|Orvane" "HKCU\\Software\\Orvane|InstallDir")
    string(REPLACE "|" ";/v;" value "${value}")
    execute_process(COMMAND ${run} reg query ${value} RESULT_VARIABLE rc OUTPUT_QUIET ERROR_QUIET)
    expect("NOT;rc;EQUAL;0" "the value ${value} of the default install stayed")
  endforeach()
  execute_process(COMMAND ${run} reg query "HKCU\\Software\\Orvane" RESULT_VARIABLE rc OUTPUT_QUIET ERROR_QUIET)
  expect("NOT;rc;EQUAL;0" "the product's registry key stayed")
endif()
message(STATUS "default location: ${default_root}; after its uninstall nothing of the product is left but its data")
