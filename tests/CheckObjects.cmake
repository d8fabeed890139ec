# What must hold of the library's OBJECTS.
#
# Those compiled for newer processors, whose files are named after one of SETS (separated by commas), must not define a
# function that the linker may put in place of another file's: older processors would run it. None may run code of its
# own when a program starts: hosts may scale that early.
string(REPLACE "," ";" SETS "${SETS}")
foreach(object ${OBJECTS})
  execute_process(COMMAND ${NM} --defined-only ${object} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
  if(symbols MATCHES "_GLOBAL__sub_I")
    message(FATAL_ERROR "${object} initialises something when a program starts")
  endif()
  foreach(set ${SETS})
    if(object MATCHES "_${set}\\.cpp\\.")
      string(REGEX MATCHALL "[^\n]* [VWu] [^\n]*" shared "${symbols}")
      if(shared)
        message(FATAL_ERROR "${object} shares ${shared}")
      endif()
      list(APPEND checked ${set})
    endif()
  endforeach()
endforeach()
list(REMOVE_DUPLICATES checked)
list(LENGTH checked found)
list(LENGTH SETS expected)
if(NOT found EQUAL expected OR expected EQUAL 0)
  message(FATAL_ERROR "Expected objects of files named after each of ${SETS}, found ${checked}")
endif()
