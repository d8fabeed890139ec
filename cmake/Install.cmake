# What `cmake --install` lays down: headers, both libraries, the tool with its manual, and the package files by which other
# projects find them. The installed tree may be moved, as long as the GNUInstallDirs are relative.
include(CMakePackageConfigHelpers)

set(PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/FourTapScale)
# Components are packages of their own (cmake/Packages.cmake).
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)
install(TARGETS ${FOURTAP_LIBRARIES} EXPORT FourTapScaleTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development)
install(DIRECTORY include/fourtapscale DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(EXPORT FourTapScaleTargets NAMESPACE FourTapScale:: DESTINATION ${PACKAGE_DIR})
configure_package_config_file(cmake/FourTapScaleConfig.cmake.in FourTapScaleConfig.cmake
  INSTALL_DESTINATION ${PACKAGE_DIR}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(FourTapScaleConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/FourTapScaleConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/FourTapScaleConfigVersion.cmake
  DESTINATION ${PACKAGE_DIR})
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT license)

# Absolute directories are named as they are, relative ones from where the file that names them lies.
set(PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
  set(PC_PREFIX ${CMAKE_INSTALL_PREFIX})
else()
  set(PC_PREFIX /prefix)
  cmake_path(RELATIVE_PATH PC_PREFIX BASE_DIRECTORY /prefix/${PC_DIR})
  string(PREPEND PC_PREFIX "\${pcfiledir}/")
endif()
cmake_path(APPEND PC_LIBDIR "\${prefix}" ${CMAKE_INSTALL_LIBDIR})
cmake_path(APPEND PC_INCLUDEDIR "\${prefix}" ${CMAKE_INSTALL_INCLUDEDIR})
configure_file(cmake/fourtapscale.pc.in fourtapscale.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/fourtapscale.pc DESTINATION ${PC_DIR})

if(TARGET fourtap)
  set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME tool)
  if(IS_ABSOLUTE ${CMAKE_INSTALL_BINDIR} OR IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
    set(TOOL_RUNPATH ${CMAKE_INSTALL_FULL_LIBDIR})
  else()
    file(RELATIVE_PATH TOOL_RUNPATH /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
    string(PREPEND TOOL_RUNPATH "$ORIGIN/")
  endif()
  set_target_properties(fourtap PROPERTIES INSTALL_RPATH ${TOOL_RUNPATH})
  install(TARGETS fourtap RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  # Where the loader looks anyway, nothing needs to tell it.
  install(CODE "set(bin \"${CMAKE_INSTALL_BINDIR}\")\nset(lib \"${CMAKE_INSTALL_LIBDIR}\")")
  install(CODE [[
    cmake_path(ABSOLUTE_PATH bin BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX})
    cmake_path(ABSOLUTE_PATH lib BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX})
    if(lib MATCHES "^(/usr|/usr/local)?/lib(/[^/]+-linux-gnu)?/?$")
      file(RPATH_REMOVE FILE $ENV{DESTDIR}${bin}/fourtap)
    endif()]])
  install(FILES $<TARGET_PROPERTY:fourtap,MANUAL> DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES tools/fourtap/completion.bash RENAME fourtap
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endif()

add_custom_target(uninstall
  COMMAND ${CMAKE_COMMAND} -D MANIFEST=${CMAKE_CURRENT_BINARY_DIR}/install_manifest.txt
    -P ${CMAKE_CURRENT_SOURCE_DIR}/cmake/Uninstall.cmake
  VERBATIM)

include(cmake/Packages.cmake)
