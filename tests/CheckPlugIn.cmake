# MODULE, which links the static library and hides nothing but by -fvisibility=hidden, must define its ENTRY for others,
# nothing else of ours, and nothing that the process has only once.
execute_process(COMMAND ${NM} -D --defined-only ${MODULE} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
if(NOT symbols MATCHES " T ${ENTRY}\n")
  message(FATAL_ERROR "Expected ${ENTRY} among:\n${symbols}")
endif()
string(REGEX MATCHALL "[^\n]*([Ff]our[Tt]ap|FOURTAP|ScaleContext|SCALE_CONTEXT|cpuid_detect| u )[^\n]*" seen "${symbols}")
if(seen)
  message(FATAL_ERROR "${MODULE} shows ${seen}")
endif()
