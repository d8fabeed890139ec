# Debian packages by `cpack -G DEB`, of a build that is installed to /usr: scripts/release.sh makes and tries them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR FourTapScale)
set(CPACK_PACKAGE_CONTACT "FourTapScale's developers <developers@fourtapscale.invalid>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The tool's own library, which no installed package tells of.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR}/src)
# Files are as old as the release, so that the same sources give the same packages.
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/cmake/SetTimes.cmake)

# fourtap_package(COMPONENT PACKAGE SECTION SUMMARY [DEPENDS...]): the package of an install component, with the licence.
set(CPACK_COMPONENTS_ALL)
function(fourtap_package component package section summary)
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE RENAME copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package}
    COMPONENT ${component} EXCLUDE_FROM_ALL)
  string(TOUPPER ${component} name)
  list(JOIN ARGN ", " depends)
  set(CPACK_DEBIAN_${name}_PACKAGE_NAME ${package} PARENT_SCOPE)
  set(CPACK_DEBIAN_${name}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${name}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${name}_DESCRIPTION "${PROJECT_DESCRIPTION}: ${summary}" PARENT_SCOPE)
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
endfunction()

set(LIBRARY_PACKAGE libfourtapscale${PROJECT_VERSION_MAJOR})
set(SAME_LIBRARY "${LIBRARY_PACKAGE} (= ${PROJECT_VERSION})")
fourtap_package(library ${LIBRARY_PACKAGE} libs "shared library")
fourtap_package(development libfourtapscale-dev libdevel "headers and static library" ${SAME_LIBRARY})
if(TARGET fourtap)
  fourtap_package(tool fourtap graphics "command line tool for pictures and video" ${SAME_LIBRARY})
endif()
if(TARGET gstfourtapscale)
  fourtap_package(gstreamer gstreamer1.0-fourtapscale libs "GStreamer element")
endif()
if(TARGET fourtapscale_python)
  # Python packages are installed by pip otherwise.
  set(PYTHON_FOLDER lib/python3/dist-packages)
  set(PYTHON_SOURCES ${PROJECT_SOURCE_DIR}/bindings/python)
  install(TARGETS fourtapscale_python LIBRARY DESTINATION ${PYTHON_FOLDER}/fourtapscale
    COMPONENT python EXCLUDE_FROM_ALL)
  install(DIRECTORY ${PYTHON_SOURCES}/fourtapscale DESTINATION ${PYTHON_FOLDER} COMPONENT python EXCLUDE_FROM_ALL
    FILES_MATCHING PATTERN *.py PATTERN *.pyi PATTERN py.typed PATTERN __pycache__ EXCLUDE)
  file(CONFIGURE OUTPUT METADATA @ONLY
    CONTENT "Metadata-Version: 2.1\nName: fourtapscale\nVersion: @PROJECT_VERSION@\nRequires-Python: >=3.11\n")
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/METADATA
    DESTINATION ${PYTHON_FOLDER}/fourtapscale-${PROJECT_VERSION}.dist-info COMPONENT python EXCLUDE_FROM_ALL)
  fourtap_package(python python3-fourtapscale python "Python module" "python3 (>= 3.11)" python3-numpy)
endif()
include(CPack)
