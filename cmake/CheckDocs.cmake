# Reads Doxygen's warning log (LOG): fails on every public class or struct
# without a comment ("Compound ... is not documented"); other warnings are
# counted and left in the log.
file(STRINGS ${LOG} warnings)
set(undocumented "")
foreach(line IN LISTS warnings)
  if(line MATCHES "Compound (.*) is not documented")
    list(APPEND undocumented ${CMAKE_MATCH_1})
  endif()
endforeach()
list(LENGTH warnings count)
if(undocumented)
  message(FATAL_ERROR "public classes without a comment: ${undocumented}")
endif()
message(STATUS "API reference: every public class documented; ${count} other warnings in ${LOG}")
