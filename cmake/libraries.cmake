# The libraries from outside (docs/dependencies.md says why each is here).
find_package(Threads REQUIRED)

if(CMAKE_CROSSCOMPILING OR FWSTATUS_STATIC)
  set(FWSTATUS_HEADER_ONLY ON)
endif()

# The headers of one library alone, through a directory that links to nothing else: naming /usr/include itself
# would let the host's C library leak into a cross build.
function(fwstatus_foreign_headers target header)
  get_filename_component(folder ${header} DIRECTORY)
  find_path(${target}_INCLUDE_DIR ${header} REQUIRED NO_CMAKE_FIND_ROOT_PATH)
  file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/foreign/${folder}")
  file(CREATE_LINK "${${target}_INCLUDE_DIR}/${folder}" "${PROJECT_BINARY_DIR}/foreign/${folder}/${folder}" SYMBOLIC)
  target_include_directories(${target} SYSTEM INTERFACE "${PROJECT_BINARY_DIR}/foreign/${folder}")
endfunction()

# spdlog and fmt: the distribution's shared libraries, or their headers alone.
add_library(fwstatus_spdlog INTERFACE)
if(FWSTATUS_HEADER_ONLY)
  fwstatus_foreign_headers(fwstatus_spdlog spdlog/spdlog.h)
  add_library(fwstatus_fmt INTERFACE)
  fwstatus_foreign_headers(fwstatus_fmt fmt/format.h)
  target_compile_definitions(fwstatus_spdlog INTERFACE SPDLOG_FMT_EXTERNAL FMT_HEADER_ONLY)
  target_link_libraries(fwstatus_spdlog INTERFACE fwstatus_fmt Threads::Threads)
else()
  find_package(spdlog REQUIRED)
  target_link_libraries(fwstatus_spdlog INTERFACE spdlog::spdlog)
endif()

add_library(fwstatus_rapidjson INTERFACE)
fwstatus_foreign_headers(fwstatus_rapidjson rapidjson/document.h)

# Command lines: headers alone, as large as a program. Who reads one is in no hurry; optimised in full it would take
# half of what the whole tree takes to compile.
add_library(fwstatus_cli11 INTERFACE)
fwstatus_foreign_headers(fwstatus_cli11 CLI/CLI.hpp)
set(FWSTATUS_CLI11_OPTIONS "$<$<CONFIG:Release>:-O1>" CACHE STRING "How sources with a command line are compiled")
target_compile_options(fwstatus_cli11 INTERFACE ${FWSTATUS_CLI11_OPTIONS})

if(FWSTATUS_STATIC)
  add_compile_options(-ffunction-sections -fdata-sections)
  add_link_options(-static -Wl,--gc-sections)
endif()

# What runs on the operator's machine is built for this one only, with the distribution's shared libraries.
if(CMAKE_CROSSCOMPILING OR FWSTATUS_STATIC)
  set(FWSTATUS_OPERATOR_TOOLS OFF)
endif()
if(FWSTATUS_OPERATOR_TOOLS)
  find_package(CURL)
  if(NOT CURL_FOUND)
    message(STATUS "libcurl not found (Debian: libcurl4-openssl-dev): no operator's tools")
    set(FWSTATUS_OPERATOR_TOOLS OFF)
  endif()
endif()
if(FWSTATUS_OPERATOR_TOOLS)
  find_package(OpenSSL REQUIRED COMPONENTS Crypto)
  find_package(tinyxml2 REQUIRED)
  add_library(fwstatus_tinyxml2 INTERFACE)
  target_link_libraries(fwstatus_tinyxml2 INTERFACE tinyxml2::tinyxml2)
  find_library(FWSTATUS_HTTPLIB cpp-httplib REQUIRED)
  add_library(fwstatus_httplib INTERFACE)
  target_link_libraries(fwstatus_httplib INTERFACE ${FWSTATUS_HTTPLIB} Threads::Threads)
  # As the distribution's library is compiled: its classes have members that depend on these.
  target_compile_definitions(fwstatus_httplib INTERFACE CPPHTTPLIB_OPENSSL_SUPPORT CPPHTTPLIB_ZLIB_SUPPORT
                                                        CPPHTTPLIB_BROTLI_SUPPORT)
endif()
