# Writes the source that says which version and revision a program is: run at every build
# (cmake -D SOURCE= -D OUTPUT= -D VERSION= -P version.cmake), so that it never tells of an earlier commit.
find_package(Git QUIET)
set(revision)
if(GIT_FOUND AND EXISTS "${SOURCE}/.git")
  execute_process(
    COMMAND "${GIT_EXECUTABLE}" -c safe.directory=* -C "${SOURCE}" describe --always --dirty --match=NeVeR --abbrev=12
    OUTPUT_VARIABLE revision
    OUTPUT_STRIP_TRAILING_WHITESPACE
    ERROR_QUIET)
endif()
if(NOT revision)
  # `git archive` puts the revision in here.
  file(READ "${SOURCE}/cmake/revision.txt" archived)
  if(archived MATCHES "^([0-9a-f]+)")
    set(revision "${CMAKE_MATCH_1}")
  else()
    set(revision unknown)
  endif()
endif()
configure_file("${SOURCE}/platform/version.cpp.in" "${OUTPUT}" @ONLY)
