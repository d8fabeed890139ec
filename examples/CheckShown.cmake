# The README shows the examples as they are.
file(READ ${README} readme)
foreach(example ${EXAMPLES})
  file(READ ${example} code)
  string(FIND "${readme}" "```cpp\n${code}```" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "${README} does not show ${example} as it is")
  endif()
endforeach()
