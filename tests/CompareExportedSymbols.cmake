# Compares what LIBRARY exports with the list in the file EXPECTED.
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
  OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^ \n]+\n" exported "${output}")
list(TRANSFORM exported STRIP)
list(SORT exported)
file(STRINGS ${EXPECTED} expected)
list(SORT expected)
if(NOT exported STREQUAL expected)
  set(extra ${exported})
  list(REMOVE_ITEM extra ${expected})
  list(REMOVE_ITEM expected ${exported})
  message(FATAL_ERROR "Exported but not listed: ${extra}\nListed but not exported: ${expected}")
endif()
