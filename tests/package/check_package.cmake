# Installs the build's package into a scratch prefix, builds the consumer
# project against it as an installer would, and runs it on a fresh archive.
# Called by ctest with -D: BUILD_DIR, WORK_DIR, SOURCE_DIR, GENERATOR,
# BUILD_TYPE and, for the cross build, TOOLCHAIN and EMULATOR.

include("${CMAKE_CURRENT_LIST_DIR}/package_steps.cmake")

file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
run_step("cmake --install" "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}")

# The package holds the headers, the libraries and the configuration; a
# native install also holds the support tool.
file(GLOB_RECURSE config "${prefix}/*/OrvaneToolkitConfig.cmake")
file(GLOB_RECURSE header "${prefix}/include/orvane/toolkit/zip_extract.h")
if(NOT config OR NOT header)
  message(FATAL_ERROR "the install lacks the package configuration or the toolkit headers")
endif()
if(NOT TOOLCHAIN AND NOT EXISTS "${prefix}/bin/orvane-log-decrypt")
  message(FATAL_ERROR "the install lacks bin/orvane-log-decrypt")
endif()

set(configure_args -S "${SOURCE_DIR}/tests/package/consumer" -B "${WORK_DIR}/consumer" -G "${GENERATOR}"
    "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}")
if(TOOLCHAIN)
  # The cross toolchain looks for packages below its own root only; an
  # installer's cross build names the package directory instead.
  list(GET config 0 config_file)
  get_filename_component(package_dir "${config_file}" DIRECTORY)
  list(APPEND configure_args "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}" "-DOrvaneToolkit_DIR=${package_dir}")
endif()
run_step("configuring the consumer" "${CMAKE_COMMAND}" ${configure_args})
run_step("building the consumer" "${CMAKE_COMMAND}" --build "${WORK_DIR}/consumer")

# An archive of a small text and a larger, compressible file in a folder.
set(content "${WORK_DIR}/content")
file(WRITE "${content}/readme.txt" "unpacked by an installer\n")
string(REPEAT "0123456789abcdef" 16384 blob)
file(WRITE "${content}/data/blob.bin" "${blob}")
run_step("making the archive" "${CMAKE_COMMAND}" -E chdir "${content}"
         "${CMAKE_COMMAND}" -E tar cf "${WORK_DIR}/package.zip" --format=zip readme.txt data)

if(TOOLCHAIN)
  set(program "${WORK_DIR}/consumer/toolkit_consumer.exe")
  # Wine sees the Linux file system as drive Z:.
  string(REPLACE "/" "\\" zip "Z:${WORK_DIR}/package.zip")
  string(REPLACE "/" "\\" out "Z:${WORK_DIR}/out")
  set(run ${EMULATOR} "${program}")
else()
  set(zip "${WORK_DIR}/package.zip")
  set(out "${WORK_DIR}/out")
  set(run "${WORK_DIR}/consumer/toolkit_consumer")
endif()

run_step("unpacking with the consumer" ${run} "${zip}" "${out}")
string(REGEX MATCHALL "progress [0-9]+" progress "${step_output}")
list(LENGTH progress count)
list(GET progress -1 final)
if(count LESS 2 OR NOT final STREQUAL "progress 100" OR step_output MATCHES "error")
  message(FATAL_ERROR "unexpected progress:\n${step_output}")
endif()
foreach(item readme.txt data/blob.bin)
  execute_process(COMMAND "${CMAKE_COMMAND}" -E compare_files "${content}/${item}" "${WORK_DIR}/out/${item}"
                  RESULT_VARIABLE differ)
  if(NOT differ EQUAL 0)
    message(FATAL_ERROR "${item} did not come out as it went in")
  endif()
endforeach()

# Archives that cannot be unpacked: a clear failure through the callback,
# with the installer's error name where it is one of its errors.
file(WRITE "${WORK_DIR}/broken.zip" "this is not an archive\n")
foreach(case "missing.zip|error -1 zip not found" "broken.zip|error -9996 .*\\[UnzipPackageFailed\\]")
  string(REPLACE "|" ";" case "${case}")
  list(GET case 0 name)
  list(GET case 1 expected)
  if(TOOLCHAIN)
    string(REPLACE "/" "\\" archive "Z:${WORK_DIR}/${name}")
  else()
    set(archive "${WORK_DIR}/${name}")
  endif()
  execute_process(COMMAND ${run} "${archive}" "${out}-${name}" RESULT_VARIABLE rc OUTPUT_VARIABLE output)
  if(rc EQUAL 0 OR NOT output MATCHES "${expected}")
    message(FATAL_ERROR "${name} gave status ${rc}:\n${output}")
  endif()
endforeach()
message(STATUS "consumer: ${count} progress calls, last ${final}")

# The digest of the archive, as an installer checks a download, against
# CMake's own.
if(TOOLCHAIN)
  string(REPLACE "/" "\\" md5_arg "Z:${WORK_DIR}/package.zip")
else()
  set(md5_arg "${WORK_DIR}/package.zip")
endif()
run_step("hashing the archive" ${run} --md5 "${md5_arg}")
file(MD5 "${WORK_DIR}/package.zip" expected_md5)
if(NOT step_output MATCHES "md5 ${expected_md5}\r?\n")
  message(FATAL_ERROR "the toolkit's digest differs from ${expected_md5}:\n${step_output}")
endif()
message(STATUS "consumer: md5 ${expected_md5}")

# A running installation: the probe as the main executable of an install
# root that holds Orvane.ini is found by the installer's finder.
set(install "${WORK_DIR}/install")
file(MAKE_DIRECTORY "${install}/app")
file(WRITE "${install}/Orvane.ini" "app")
file(COPY_FILE "${PROBE}" "${install}/app/Orvane.exe")
if(TOOLCHAIN)
  string(REPLACE "/" "\\" install_arg "Z:${install}")
  string(REPLACE "/" "\\" release_arg "Z:${WORK_DIR}/release")
  set(exe_arg "${install_arg}\\app\\Orvane.exe")
else()
  set(install_arg "${install}")
  set(release_arg "${WORK_DIR}/release")
  set(exe_arg "${install}/app/Orvane.exe")
endif()
run_step("finding the running installation" ${run} --find "${install_arg}" "${exe_arg}" "${release_arg}")
string(REGEX MATCH "started ([0-9]+)" started "${step_output}")
if(NOT step_output MATCHES "found ${CMAKE_MATCH_1} ")
  message(FATAL_ERROR "the probe was not found:\n${step_output}")
endif()
message(STATUS "consumer: ${started}, found")

# The install location an installation recorded in the registry (Wine's own).
if(TOOLCHAIN)
  string(RANDOM LENGTH 8 key)
  run_step("reading the install location" ${run} --registry "OrvanePackageTest${key}" "${install_arg}")
  message(STATUS "consumer: ${step_output}")
endif()
