# One library per folder of the tree.
#
# fwstatus_folder(NAME [OBJECT] [DEPENDS other ...] [LIBRARIES lib ...] [SOURCES file ...])
#
# makes the library `fwstatus_NAME` from the folder NAME. A folder's headers are reached as "NAME/header.h"
# through an include directory that holds nothing but that folder, so that a file can include only what its
# library states as a dependency: a wrong include direction does not compile.
function(fwstatus_folder name)
  cmake_parse_arguments(arg "OBJECT" "" "DEPENDS;LIBRARIES;SOURCES" ${ARGN})
  if(NOT arg_SOURCES)
    file(GLOB arg_SOURCES CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${name}/*.cpp")
  endif()
  if(arg_OBJECT)
    add_library(fwstatus_${name} OBJECT ${arg_SOURCES})
  else()
    add_library(fwstatus_${name} STATIC ${arg_SOURCES})
  endif()
  target_include_directories(fwstatus_${name} PUBLIC "$<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include/${name}>")
  foreach(other IN LISTS arg_DEPENDS)
    target_link_libraries(fwstatus_${name} PUBLIC fwstatus_${other})
  endforeach()
  target_link_libraries(fwstatus_${name} PRIVATE fwstatus_warnings ${arg_LIBRARIES})
endfunction()

# Makes "NAME/header.h" reachable; done for every folder up front, since a header may be needed by an
# interface before its library is defined.
function(fwstatus_expose_folder name)
  file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/include/${name}")
  file(CREATE_LINK "${PROJECT_SOURCE_DIR}/${name}" "${PROJECT_BINARY_DIR}/include/${name}/${name}" SYMBOLIC)
endfunction()
