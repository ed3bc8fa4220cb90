# The installer toolkit as a CMake package: `cmake --install` puts the public
# headers, the static libraries and a package configuration in place, and an
# installer's own CMakeLists.txt then says
#
#   find_package(OrvaneToolkit REQUIRED)
#   target_link_libraries(installer PRIVATE Orvane::toolkit)
#
# Orvane::toolkit is the launcher's core library (the toolkit's operations use
# its log, configuration and reports); Orvane::platform is the seam with the
# native backend below it.

include(CMakePackageConfigHelpers)

# The headers an installer includes, relative to src/, and every header they
# include in turn. A new public operation of the toolkit adds its header here.
set(ORVANE_TOOLKIT_PUBLIC_HEADERS
  toolkit/event_reporter.h
  toolkit/install_location.h
  toolkit/install_report.h
  toolkit/process_finders.h
  toolkit/task_housekeeping.h
  toolkit/zip_extract.h
  toolkit/zip_reader.h
  toolkit/autorun.h
  toolkit/file_md5.h
  toolkit/icon_cache.h
  toolkit/local_state.h
  toolkit/process_list.h
  toolkit/registry_probes.h
  toolkit/writable_dir.h
  toolkit/process_end.h
  toolkit/product_config_text.h
  toolkit/shortcut_create.h
  layout/paths.h
  base/log.h
  base/format.h
  base/product_config.h
  layout/shortcuts.h
  layout/task_launcher_path.h
  platform/files/file_handles.h
  platform/types.h
)

set(ORVANE_TOOLKIT_INCLUDE_DIR "${CMAKE_INSTALL_INCLUDEDIR}/orvane")
set(ORVANE_TOOLKIT_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/OrvaneToolkit")

foreach(header IN LISTS ORVANE_TOOLKIT_PUBLIC_HEADERS)
  get_filename_component(subdir "${header}" DIRECTORY)
  install(FILES "${CMAKE_SOURCE_DIR}/src/${header}" DESTINATION "${ORVANE_TOOLKIT_INCLUDE_DIR}/${subdir}"
          COMPONENT toolkit)
endforeach()

set_target_properties(orvane_core PROPERTIES EXPORT_NAME toolkit)
set_target_properties(orvane_platform PROPERTIES EXPORT_NAME platform)
set_target_properties(orvane_cjson PROPERTIES EXPORT_NAME cjson)
foreach(lib orvane_core orvane_platform)
  target_include_directories(${lib} INTERFACE "$<INSTALL_INTERFACE:${ORVANE_TOOLKIT_INCLUDE_DIR}>")
endforeach()

# A sanitized build's libraries need the sanitizer runtime in whatever links
# them.
if(ORVANE_SANITIZE)
  target_link_options(orvane_core INTERFACE "$<INSTALL_INTERFACE:-fsanitize=address,undefined>")
endif()

set(package_targets orvane_core orvane_platform orvane_cjson)

# Elsewhere than Windows, resources are a table each executable links; the
# package's table is empty, linked only by programs built against the install.
if(NOT ORVANE_WINDOWS)
  add_library(orvane_no_resources STATIC "${CMAKE_SOURCE_DIR}/src/toolkit/package/no_builtin_resources_posix.cpp")
  target_include_directories(orvane_no_resources PRIVATE "${CMAKE_SOURCE_DIR}/src")
  set_target_properties(orvane_no_resources PROPERTIES EXPORT_NAME no_resources)
  target_link_libraries(orvane_platform INTERFACE "$<INSTALL_INTERFACE:Orvane::no_resources>")
  list(APPEND package_targets orvane_no_resources)
endif()

install(TARGETS ${package_targets} EXPORT OrvaneToolkitTargets
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT toolkit)
install(EXPORT OrvaneToolkitTargets NAMESPACE Orvane:: DESTINATION "${ORVANE_TOOLKIT_CMAKE_DIR}" COMPONENT toolkit)

configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/OrvaneToolkitConfig.cmake.in"
  "${CMAKE_BINARY_DIR}/OrvaneToolkitConfig.cmake" INSTALL_DESTINATION "${ORVANE_TOOLKIT_CMAKE_DIR}")
write_basic_package_version_file("${CMAKE_BINARY_DIR}/OrvaneToolkitConfigVersion.cmake"
  VERSION "${PROJECT_VERSION}" COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_BINARY_DIR}/OrvaneToolkitConfig.cmake" "${CMAKE_BINARY_DIR}/OrvaneToolkitConfigVersion.cmake"
        DESTINATION "${ORVANE_TOOLKIT_CMAKE_DIR}" COMPONENT toolkit)
