# How this project's own code is compiled. Everything links to FourTapFlags privately; nobody else gets to see it.
add_library(FourTapFlags INTERFACE)
target_compile_features(FourTapFlags INTERFACE cxx_std_20)
target_compile_options(FourTapFlags INTERFACE -Wall -Wextra -Wshadow -Wconversion -Werror)

# The only files that use more than every x86-64 processor has: those that end in the name of a set.
set(FOURTAP_FLAGS_avx2 "-mavx2")
set(FOURTAP_FLAGS_avx512 "-mavx512f;-mavx512bw;-mavx512vl;-mavx512vbmi;-mavx512vnni")
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # g++ 12 finds fault with its own header of these intrinsics.
  list(APPEND FOURTAP_FLAGS_avx512 "-Wno-maybe-uninitialized")
endif()
function(fourtap_set_flags)
  foreach(source ${ARGN})
    if(source MATCHES "_(avx2|avx512)\\.cpp$")
      set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS "${FOURTAP_FLAGS_${CMAKE_MATCH_1}}")
    endif()
  endforeach()
endfunction()
