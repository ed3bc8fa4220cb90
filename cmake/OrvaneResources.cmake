# Embeds the config and locale documents, the icon and a version record into an
# executable: real resources on Windows (type "BIN" ids 104 and 110, icon group
# 102, the version record of ORVANE_VERSION or the VERSION given), a table of
# built-in blobs with the same bytes elsewhere.

set(ORVANE_RESOURCE_TEMPLATE_DIR "${CMAKE_CURRENT_LIST_DIR}")
include("${CMAKE_CURRENT_LIST_DIR}/OrvaneConfigCheck.cmake")

# The log public key becomes a constant of the program.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${ORVANE_LOG_PUBLIC_KEY}")
file(READ "${ORVANE_LOG_PUBLIC_KEY}" ORVANE_LOG_PUBLIC_KEY_TEXT)
string(STRIP "${ORVANE_LOG_PUBLIC_KEY_TEXT}" ORVANE_LOG_PUBLIC_KEY_TEXT)
string(REPLACE "\r" "" ORVANE_LOG_PUBLIC_KEY_TEXT "${ORVANE_LOG_PUBLIC_KEY_TEXT}")
string(REPLACE "\n" "\\n" ORVANE_LOG_PUBLIC_KEY_TEXT "${ORVANE_LOG_PUBLIC_KEY_TEXT}")
file(WRITE "${CMAKE_BINARY_DIR}/generated/log_public_key.h.tmp"
     "// Generated from ${ORVANE_LOG_PUBLIC_KEY}\n#pragma once\n"
     "inline constexpr char kLogPublicKeyPem[] = \"${ORVANE_LOG_PUBLIC_KEY_TEXT}\";\n")
configure_file("${CMAKE_BINARY_DIR}/generated/log_public_key.h.tmp" "${CMAKE_BINARY_DIR}/generated/log_public_key.h" COPYONLY)

function(orvane_add_resources target)
  cmake_parse_arguments(R "" "CONFIG;LOCALE;VERSION" "" ${ARGN})
  if(NOT R_CONFIG)
    set(R_CONFIG "${ORVANE_CONFIG_JSON}")
  endif()
  if(NOT R_LOCALE)
    set(R_LOCALE "${ORVANE_LOCALE_JSON}")
  endif()
  # No launcher is built with a version_dir_name that names anything but one
  # directory of the install root.
  orvane_check_config("${R_CONFIG}")
  if(ORVANE_WINDOWS)
    set(ORVANE_RC_CONFIG "${R_CONFIG}")
    set(ORVANE_RC_LOCALE "${R_LOCALE}")
    set(ORVANE_RC_ICON "${ORVANE_ICON}")
    if(NOT R_VERSION)
      set(R_VERSION "${ORVANE_VERSION}")
    endif()
    orvane_check_version("${R_VERSION}" ORVANE_RC_VERSION)
    set(ORVANE_RC_VERSION "${R_VERSION}")
    set(rc "${CMAKE_BINARY_DIR}/generated/${target}.rc")
    configure_file("${ORVANE_RESOURCE_TEMPLATE_DIR}/orvane.rc.in" "${rc}" @ONLY)
    set_source_files_properties("${rc}" PROPERTIES OBJECT_DEPENDS "${R_CONFIG};${R_LOCALE};${ORVANE_ICON}")
    target_sources(${target} PRIVATE "${rc}")
  else()
    set(out "${CMAKE_BINARY_DIR}/generated/${target}_resources.cpp")
    add_custom_command(
      OUTPUT "${out}"
      COMMAND "${CMAKE_COMMAND}" -DOUT=${out} -DCONFIG=${R_CONFIG} -DLOCALE=${R_LOCALE}
              -P "${ORVANE_RESOURCE_TEMPLATE_DIR}/EmbedBlobs.cmake"
      DEPENDS "${R_CONFIG}" "${R_LOCALE}" "${ORVANE_RESOURCE_TEMPLATE_DIR}/EmbedBlobs.cmake"
      COMMENT "Embedding resources for ${target}")
    target_sources(${target} PRIVATE "${out}")
  endif()
endfunction()
