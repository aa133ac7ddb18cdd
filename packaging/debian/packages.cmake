# The Debian packages, one for each component that anything is installed into.
set(FWSTATUS_MAINTAINER "fwstatus engineers <fwstatus@zel.example>" CACHE STRING "Whom the Debian packages name")

set(debian_architectures "x86_64=amd64" "arm=armhf" "powerpc=powerpc")
list(FILTER debian_architectures INCLUDE REGEX "^${CMAKE_SYSTEM_PROCESSOR}=")
string(REGEX REPLACE ".*=" "" CPACK_DEBIAN_PACKAGE_ARCHITECTURE "${debian_architectures}")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME fwstatus)
set(CPACK_PACKAGE_CONTACT "${FWSTATUS_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# Each component's text below begins with its summary.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
if(CMAKE_CROSSCOMPILING)
  # The cross compiler's libraries are Debian 12's own, but packaged for this machine's processor: what
  # dpkg-shlibdeps finds there are names that no unit knows.
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6 (>= 2.36), libgcc-s1 (>= 12), libstdc++6 (>= 12)")
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()

set(CPACK_DEBIAN_UNIT_PACKAGE_NAME fwstatus)
set(CPACK_DEBIAN_UNIT_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_UNIT_DESCRIPTION
    "progress of a unit's firmware update, for people
While another process updates the firmware of an embedded unit, the daemon
tells people how far it is: in a status file that the unit's web server
serves, on the display that the unit has, and as texts on a local socket.
.
The package also holds propctl, which reads and sets properties of the unit's
property engine, hextool, which checks and makes firmware images of a page
station's keypad controller, and unitctl, which does every operation of the
drivers by hand, for the check of a board.")

set(CPACK_DEBIAN_OPERATOR_PACKAGE_NAME fwstatus-operator)
set(CPACK_DEBIAN_OPERATOR_PACKAGE_SECTION net)
set(CPACK_DEBIAN_OPERATOR_DESCRIPTION
    "firmware updates of many units, pushed and watched
For the machine of those who look after units on which fwstatus runs: programs
that push a firmware image to many units at once, and that tell a monitoring
system how far the units are.")

set(CPACK_COMPONENTS_ALL)
get_cmake_property(components COMPONENTS)
foreach(component unit operator)
  if(NOT component IN_LIST components)
    continue()
  endif()
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(documents ${CMAKE_INSTALL_DATADIR}/doc/${package})
  fwstatus_compressed("${CMAKE_CURRENT_LIST_DIR}/changelog" "${CMAKE_CURRENT_BINARY_DIR}/${package}.changelog.gz")
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${package}.changelog.gz" DESTINATION ${documents}
          RENAME changelog.gz COMPONENT ${component})
  install(FILES "${CMAKE_CURRENT_LIST_DIR}/copyright" DESTINATION ${documents} COMPONENT ${component})
  if(EXISTS "${CMAKE_CURRENT_LIST_DIR}/${component}/lintian-overrides")
    install(FILES "${CMAKE_CURRENT_LIST_DIR}/${component}/lintian-overrides"
            DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${package} COMPONENT ${component})
  endif()
  file(GLOB control CONFIGURE_DEPENDS "${CMAKE_CURRENT_LIST_DIR}/${component}/p*"
       "${CMAKE_CURRENT_LIST_DIR}/${component}/conffiles")
  set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA ${control})
  set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_STRICT_PERMISSION ON)
endforeach()
include(CPack)
