# The installer's whole lifecycle on the installed toolkit package: builds
# tools/setup against the package as a product's installer is built, then
# installs 1.0 from a zip, starts it through the launcher (the probe stands in
# for the application and lingers), updates to 2.0 while 1.0 still runs, lets
# 1.0 end, starts again (2.0 runs, 1.0 is cleared away) and uninstalls.
# Called by ctest with -D: BUILD_DIR, WORK_DIR, SOURCE_DIR, GENERATOR,
# BUILD_TYPE, LAUNCHER, PROBE.

function(run_step what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${what} failed (${rc}):\n${out}\n${err}")
  endif()
  set(step_output "${out}" PARENT_SCOPE)
endfunction()

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

file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
run_step("cmake --install" "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}")
run_step("configuring orvane-setup" "${CMAKE_COMMAND}" -S "${SOURCE_DIR}/tools/setup" -B "${WORK_DIR}/setup-build"
         -G "${GENERATOR}" "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}")
run_step("building orvane-setup" "${CMAKE_COMMAND}" --build "${WORK_DIR}/setup-build")
set(setup "${WORK_DIR}/setup-build/orvane-setup")

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
set(ENV{LOCALAPPDATA} "${WORK_DIR}/local")
set(ENV{APPDATA} "${WORK_DIR}/roaming")
set(data "${WORK_DIR}/local/Orvane/User Data")

# Install 1.0.
run_step("install 1.0" "${setup}" install "${WORK_DIR}/1.0.zip" --version 1.0 --root "${root}" --autorun 30
         --launcher "${LAUNCHER}")
set(install_output "${step_output}")
expect("EXISTS;${root}/1.0/Orvane.exe" "1.0 was not unpacked:\n${install_output}")
get_filename_component(launcher_name "${LAUNCHER}" NAME)
set(launcher "${root}/${launcher_name}")
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

# A second install refuses while the application runs; start 1.0 and keep it.
set(ENV{ORVANE_PROBE_RECORD} "${WORK_DIR}/run1.json")
set(ENV{ORVANE_PROBE_HOLD} "${WORK_DIR}/release1")
# The lingering probe inherits the launcher's standard handles: they go to
# files, so that nothing waits for a pipe that the probe holds open.
execute_process(COMMAND "${launcher}" RESULT_VARIABLE rc OUTPUT_FILE "${WORK_DIR}/start1.out"
                ERROR_FILE "${WORK_DIR}/start1.err")
expect("rc;EQUAL;0" "the first start ended with ${rc}")
wait_for_file("${WORK_DIR}/run1.json" "1.0's start")
unset(ENV{ORVANE_PROBE_HOLD})
execute_process(COMMAND "${setup}" install "${WORK_DIR}/1.0.zip" --version 1.0 --root "${root}"
                --launcher "${LAUNCHER}" RESULT_VARIABLE rc ERROR_VARIABLE err)
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
  execute_process(COMMAND "${setup}" update "${WORK_DIR}/${zip}" --version ${version} --root "${root}" ${extra}
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
run_step("update to 2.0" "${setup}" update "${WORK_DIR}/2.0.zip" --version 2.0 --root "${root}" --md5 "${md5}")
file(READ "${root}/Orvane.ini" ini)
file(READ "${root}/2.0/release.txt" staged)
expect("ini;STREQUAL;2.0;AND;staged;STREQUAL;2.0" "the update did not stage 2.0 (ini ${ini})")
expect("NOT;EXISTS;${data}/update/update.task" "the update marker stayed")

# Let 1.0 end, then start again: 2.0 runs from the configured directory and
# 1.0 is cleared away.
file(READ "${WORK_DIR}/run1.json" record1)
string(REGEX MATCH "\"pid\":([0-9]+)" _ "${record1}")
set(pid1 "${CMAKE_MATCH_1}")
file(WRITE "${WORK_DIR}/release1" "")
foreach(i RANGE 600)
  set(state "")
  if(EXISTS "/proc/${pid1}/stat")
    file(READ "/proc/${pid1}/stat" state)
  endif()
  if(state STREQUAL "" OR state MATCHES "^[0-9]+ \\([^)]*\\) Z")
    break()
  endif()
  execute_process(COMMAND "${CMAKE_COMMAND}" -E sleep 0.05)
endforeach()
set(ENV{ORVANE_PROBE_RECORD} "${WORK_DIR}/run2.json")
run_step("second start" "${launcher}")
wait_for_file("${WORK_DIR}/run2.json" "2.0's start")
file(READ "${root}/app/release.txt" running)
file(GLOB versions LIST_DIRECTORIES true RELATIVE "${root}" "${root}/*")
expect("running;STREQUAL;2.0" "the second start ran ${running}")
list(SORT versions)
string(JOIN "," versions ${versions})
expect("versions;STREQUAL;Orvane.ini,app,${launcher_name}" "after the switch the root holds: ${versions}")
message(STATUS "update: 2.0 runs, root holds ${versions}")

# Uninstall while 2.0 runs: its process is ended and the root is gone.
set(ENV{ORVANE_PROBE_RECORD} "${WORK_DIR}/run3.json")
set(ENV{ORVANE_PROBE_HOLD} "${WORK_DIR}/never")
execute_process(COMMAND "${launcher}" RESULT_VARIABLE rc OUTPUT_FILE "${WORK_DIR}/start3.out"
                ERROR_FILE "${WORK_DIR}/start3.err")
wait_for_file("${WORK_DIR}/run3.json" "the third start")
unset(ENV{ORVANE_PROBE_HOLD})
run_step("uninstall" "${setup}" uninstall --root "${root}")
expect("step_output;MATCHES;processes ended: 1" "the running application was not ended:\n${step_output}")
expect("NOT;EXISTS;${root}" "the install root stayed")
message(STATUS "uninstall: ${step_output}")
