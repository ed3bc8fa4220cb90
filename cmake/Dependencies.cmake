# Third-party libraries: installed by scripts/setup, never copied into the tree.

if(ORVANE_WINDOWS)
  # cJSON is compiled from Debian's source package into the executable and
  # exported from it (its header marks the interface dllexport on Windows).
  file(GLOB ORVANE_CJSON_DIRS "${CMAKE_SOURCE_DIR}/.deps/cjson-*")
  list(GET ORVANE_CJSON_DIRS 0 ORVANE_CJSON_DIR)
  if(NOT EXISTS "${ORVANE_CJSON_DIR}/cJSON.c")
    message(FATAL_ERROR "cJSON's source is missing: run scripts/setup")
  endif()
  add_library(orvane_cjson STATIC "${ORVANE_CJSON_DIR}/cJSON.c")
  target_include_directories(orvane_cjson PUBLIC "$<BUILD_INTERFACE:${ORVANE_CJSON_DIR}>")
  target_compile_definitions(orvane_cjson PUBLIC CJSON_EXPORT_SYMBOLS)
  target_compile_options(orvane_cjson PRIVATE -w)

  # zlib goes into the executable too: no zlib1.dll beside it.
  set(ZLIB_USE_STATIC_LIBS ON)

  # The libraries a start needs are imported. bcrypt, crypt32, wintrust,
  # oleaut32 and version serve only the work after the start and the broker:
  # the backend looks their functions up on first use
  # (src/platform/system_library_win.h), so none of them is mapped before the
  # application runs.
  set(ORVANE_PLATFORM_SYSTEM_LIBS ole32 shlwapi shell32 user32 advapi32 uuid)
else()
  find_path(ORVANE_CJSON_INCLUDE cjson/cJSON.h REQUIRED)
  find_library(ORVANE_CJSON_LIB cjson REQUIRED)
  add_library(orvane_cjson INTERFACE)
  target_include_directories(orvane_cjson INTERFACE "${ORVANE_CJSON_INCLUDE}/cjson")
  target_link_libraries(orvane_cjson INTERFACE "${ORVANE_CJSON_LIB}")

  # mbedTLS and zlib are linked in, as on Windows: every shared library a
  # process loads costs it a file open, four mappings and its symbol lookups
  # before main, which is most of what a launch spends beyond the floor.
  # cJSON stays shared: Debian ships no archive of it, and its loading cost
  # is below what a launch can measure.
  find_library(ORVANE_MBEDCRYPTO_LIB NAMES libmbedcrypto.a mbedcrypto REQUIRED)
  set(ORVANE_PLATFORM_SYSTEM_LIBS "${ORVANE_MBEDCRYPTO_LIB}" pthread)
  set(ZLIB_USE_STATIC_LIBS ON)
endif()

find_package(ZLIB REQUIRED)

if(ORVANE_BUILD_TESTS)
  if(ORVANE_WINDOWS)
    # GoogleTest from Debian's source package, cross-built with the tests.
    set(gtest_disable_pthreads OFF CACHE BOOL "" FORCE)
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    add_subdirectory(/usr/src/googletest "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
    # Recent GoogleTest sources define the GTest:: names themselves.
    foreach(lib gtest gtest_main gmock gmock_main)
      if(NOT TARGET GTest::${lib})
        add_library(GTest::${lib} ALIAS ${lib})
      endif()
    endforeach()
  else()
    find_package(GTest REQUIRED)
  endif()
endif()

if(ORVANE_BUILD_BENCHMARKS AND NOT ORVANE_WINDOWS)
  find_package(benchmark REQUIRED)
endif()
