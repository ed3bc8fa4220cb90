# Which product configurations the build refuses: each row is a document and
# whether configuring with it must fail. Every row runs the check in a cmake
# process of its own, as a configuration would.
#   cmake -DSOURCE_DIR=<checkout> -DWORK_DIR=<scratch> -P check_config_rows.cmake

set(rows
  # refused: the name leads elsewhere than to one directory of the root
  [=[refused {"version_dir_name":"."}]=]
  [=[refused {"version_dir_name":".."}]=]
  [=[refused {"version_dir_name":"app\\..\\.."}]=]
  [=[refused {"version_dir_name":"a\\b"}]=]
  [=[refused {"version_dir_name":"a/b"}]=]
  [=[refused {"version_dir_name":"c:x"}]=]
  [=[refused {"version_dir_name":"   "}]=]
  [=[refused {"version_dir_name":"\t\r\n"}]=]
  [=[refused {"version_dir_name":"app."}]=]
  [=[refused {"version_dir_name":"app "}]=]
  # the launcher ignores the key's case, and would take the first of two
  [=[refused {"Version_Dir_Name":"."}]=]
  [=[refused {"version_dir_name":"..","VERSION_DIR_NAME":"app"}]=]
  [=[refused {"version_dir_name":"app","version_dir_name":"app"}]=]
  [=[refused {"version_dir_name":"."} trailing text the launcher's parser ignores]=]
  # accepted: plain names, and what the launcher replaces with "app"
  [=[accepted {"version_dir_name":"app"}]=]
  [=[accepted {"version_dir_name":"1.78.4-beta"}]=]
  [=[accepted {"version_dir_name":" app"}]=]
  [=[accepted {"version_dir_name":""}]=]
  [=[accepted {"version_dir_name":7}]=]
  [=[accepted {"product_name":{"en":"X"}}]=]
  # left to the launcher, which refuses a document that does not parse
  [=[accepted {not json]=]
  [=[accepted ["version_dir_name", "."]]=]
)

file(MAKE_DIRECTORY "${WORK_DIR}")
set(failures 0)
set(index 0)
foreach(row IN LISTS rows)
  string(FIND "${row}" " " space)
  string(SUBSTRING "${row}" 0 ${space} expected)
  math(EXPR start "${space} + 1")
  string(SUBSTRING "${row}" ${start} -1 document)
  set(file "${WORK_DIR}/config-${index}.json")
  # With the byte-order mark the product's document carries.
  string(ASCII 239 187 191 bom)
  file(WRITE "${file}" "${bom}${document}")
  execute_process(COMMAND "${CMAKE_COMMAND}" -DCONFIG=${file} -P "${SOURCE_DIR}/cmake/OrvaneConfigCheck.cmake"
                  RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(result EQUAL 0)
    set(got accepted)
  elseif(err MATCHES "version_dir_name")
    set(got refused)
  else()
    set(got "failed otherwise: ${err}")
  endif()
  if(NOT got STREQUAL expected)
    message(SEND_ERROR "row ${index} ${document}: ${got}, expected ${expected}")
    math(EXPR failures "${failures} + 1")
  endif()
  math(EXPR index "${index} + 1")
endforeach()
if(failures GREATER 0)
  message(FATAL_ERROR "${failures} of ${index} rows wrong")
endif()
message(STATUS "${index} rows as expected")
