# The target api: pages made from the headers by Doxygen, in build/PRESET/api/html. Not part of a build.
find_program(FWSTATUS_DOXYGEN doxygen)
if(FWSTATUS_DOXYGEN)
  configure_file(cmake/Doxyfile.in "${PROJECT_BINARY_DIR}/Doxyfile" @ONLY)
  add_custom_target(
    api
    COMMAND "${FWSTATUS_DOXYGEN}" -q "${PROJECT_BINARY_DIR}/Doxyfile"
    COMMAND "${CMAKE_COMMAND}" -E echo "Open ${PROJECT_BINARY_DIR}/api/html/index.html"
    COMMENT "API pages")
else()
  add_custom_target(
    api
    COMMAND "${CMAKE_COMMAND}" -E echo "The API pages take Doxygen: apt-get install doxygen, then: cmake --preset release"
    COMMAND "${CMAKE_COMMAND}" -E false)
endif()
