# How this project's own code is compiled. Everything links to FourTapFlags privately; nobody else gets to see it.
add_library(FourTapFlags INTERFACE)
target_compile_features(FourTapFlags INTERFACE cxx_std_20)
target_compile_options(FourTapFlags INTERFACE -Wall -Wextra -Wshadow -Wconversion -Werror)
# Messages name files as the repository does, wherever it was built.
target_compile_options(FourTapFlags INTERFACE -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
target_include_directories(FourTapFlags BEFORE INTERFACE ${FOURTAP_PROCESSOR_FOLDER})
# What every processor of the kind has is for all files.
target_compile_options(FourTapFlags INTERFACE ${FOURTAP_FLAGS_${FOURTAP_BASE_SET}})

# The only files that use more than that: those that end in the name of a set, or of a part of one, that asks for more.
set(FOURTAP_FLAGGED_SETS)
foreach(set ${FOURTAP_NAMES})
  if(FOURTAP_FLAGS_${set})
    list(APPEND FOURTAP_FLAGGED_SETS ${set})
  endif()
endforeach()
list(JOIN FOURTAP_FLAGGED_SETS "|" NAMES)
set(FOURTAP_FLAGGED_FILES "_(${NAMES})\\.cpp$")
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # g++ 12 finds fault with its own header of these intrinsics.
  list(APPEND FOURTAP_FLAGS_avx512 "-Wno-maybe-uninitialized" "-Wno-uninitialized")
endif()
# Their loops begin where a cache line does: else what a build puts before them costs or saves some 3 %.
foreach(set ${FOURTAP_FLAGGED_SETS})
  list(APPEND FOURTAP_FLAGS_${set} -falign-functions=64 -falign-loops=64)
endforeach()
function(fourtap_set_flags)
  foreach(source ${ARGN})
    if(source MATCHES "${FOURTAP_FLAGGED_FILES}")
      set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS "${FOURTAP_FLAGS_${CMAKE_MATCH_1}}")
    endif()
  endforeach()
endfunction()
