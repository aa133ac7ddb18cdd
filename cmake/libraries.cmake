# The libraries from outside (docs/dependencies.md says why each is here).
find_package(Threads REQUIRED)

if(CMAKE_CROSSCOMPILING OR FWSTATUS_STATIC)
  set(FWSTATUS_HEADER_ONLY ON)
endif()

# spdlog and fmt: the distribution's shared libraries, or their headers alone.
add_library(fwstatus_spdlog INTERFACE)
if(FWSTATUS_HEADER_ONLY)
  find_path(SPDLOG_INCLUDE_DIR spdlog/spdlog.h REQUIRED)
  target_include_directories(fwstatus_spdlog SYSTEM INTERFACE "${SPDLOG_INCLUDE_DIR}")
  target_compile_definitions(fwstatus_spdlog INTERFACE SPDLOG_HEADER_ONLY SPDLOG_FMT_EXTERNAL FMT_HEADER_ONLY)
  target_link_libraries(fwstatus_spdlog INTERFACE Threads::Threads)
else()
  find_package(spdlog REQUIRED)
  target_link_libraries(fwstatus_spdlog INTERFACE spdlog::spdlog)
endif()

# RapidJSON is headers only; a file of that name tells that it is there.
find_path(RAPIDJSON_INCLUDE_DIR rapidjson/document.h REQUIRED)
add_library(fwstatus_rapidjson INTERFACE)
target_include_directories(fwstatus_rapidjson SYSTEM INTERFACE "${RAPIDJSON_INCLUDE_DIR}")

if(FWSTATUS_STATIC)
  add_compile_options(-ffunction-sections -fdata-sections)
  add_link_options(-static -Wl,--gc-sections)
endif()
