# The launcher's product version, checked once at configure time.

# Fails the configuration unless `version` is 1 to 4 dot-separated decimal
# numbers without leading zeros, each at most 65535 (a version record holds
# four 16-bit parts). Sets <prefix>_COMMA to the four parts with commas,
# missing ones as 0 ("6.1.0" gives "6,1,0,0"), as FILEVERSION takes them.
function(orvane_check_version version prefix)
  set(n "(0|[1-9][0-9]?[0-9]?[0-9]?[0-9]?)")
  if(NOT version MATCHES "^${n}(\\.${n})?(\\.${n})?(\\.${n})?$")
    message(FATAL_ERROR "ORVANE_VERSION '${version}' is not 1 to 4 dot-separated numbers (for example 6.1.0)")
  endif()
  string(REPLACE "." ";" parts "${version}")
  foreach(part IN LISTS parts)
    if(part GREATER 65535)
      message(FATAL_ERROR "ORVANE_VERSION '${version}': ${part} is above 65535")
    endif()
  endforeach()
  list(LENGTH parts count)
  while(count LESS 4)
    list(APPEND parts 0)
    math(EXPR count "${count} + 1")
  endwhile()
  list(JOIN parts "," comma)
  set(${prefix}_COMMA "${comma}" PARENT_SCOPE)
endfunction()
