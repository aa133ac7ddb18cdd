# One library per folder of the tree.
#
# fwstatus_folder(FOLDER [OBJECT] [SINGLY] [NAME name] [DEPENDS other ...] [LIBRARIES lib ...] [SOURCES file ...])
#
# makes the library `fwstatus_FOLDER` (or `fwstatus_NAME`; a folder in a folder, "io/lcd", is `fwstatus_io_lcd`)
# from the sources in FOLDER. A folder's headers are reached as "FOLDER/header.h" through an include directory
# that holds nothing but the headers of that one folder, so that a file can include only what its library states
# as a dependency: a wrong include direction does not compile.
#
# SINGLY keeps the library's files apart in a build that compiles several at once: a program on a desk that needs
# one of them must not be given, with its neighbours, what only a unit has. Where nothing is linked, it does nothing.
function(fwstatus_folder folder)
  cmake_parse_arguments(arg "OBJECT;SINGLY" "NAME" "DEPENDS;LIBRARIES;SOURCES" ${ARGN})
  string(REPLACE "/" "_" flat ${folder})
  if(NOT arg_NAME)
    set(arg_NAME ${flat})
  endif()
  if(NOT arg_SOURCES)
    file(GLOB arg_SOURCES CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${folder}/*.cpp")
  endif()
  if(arg_OBJECT)
    add_library(fwstatus_${arg_NAME} OBJECT ${arg_SOURCES})
  else()
    add_library(fwstatus_${arg_NAME} STATIC ${arg_SOURCES})
  endif()
  target_include_directories(fwstatus_${arg_NAME} PUBLIC "${PROJECT_BINARY_DIR}/include/${flat}")
  foreach(other IN LISTS arg_DEPENDS)
    target_link_libraries(fwstatus_${arg_NAME} PUBLIC fwstatus_${other})
  endforeach()
  target_link_libraries(fwstatus_${arg_NAME} PRIVATE fwstatus_warnings fwstatus_hardening ${arg_LIBRARIES})
  if(arg_SINGLY AND FWSTATUS_LINKED)
    set_target_properties(fwstatus_${arg_NAME} PROPERTIES UNITY_BUILD OFF)
  endif()
  if(NOT FWSTATUS_STATIC)
    set_target_properties(fwstatus_${arg_NAME} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  endif()
endfunction()

# Makes "FOLDER/header.h" reachable; done for every folder up front.
function(fwstatus_expose_folder folder)
  string(REPLACE "/" "_" flat ${folder})
  set(exposed "${PROJECT_BINARY_DIR}/include/${flat}/${folder}")
  file(GLOB headers CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${folder}/*.h")
  file(REMOVE_RECURSE "${PROJECT_BINARY_DIR}/include/${flat}")
  file(MAKE_DIRECTORY "${exposed}")
  foreach(header IN LISTS headers)
    get_filename_component(name "${header}" NAME)
    file(CREATE_LINK "${header}" "${exposed}/${name}" SYMBOLIC)
  endforeach()
endfunction()
