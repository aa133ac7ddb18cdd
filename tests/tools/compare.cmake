# Runs a command and compares what it prints with a golden listing; what goes to standard error and the exit status
# stand at its end.
# -DCOMMAND=words -DGOLDEN=file -DLISTING=file
# With FWSTATUS_RENEW_GOLDEN in the environment it renews the golden listing, to be read before it is committed.
execute_process(COMMAND ${COMMAND} OUTPUT_FILE ${LISTING} ERROR_VARIABLE said RESULT_VARIABLE status)
file(APPEND ${LISTING} "${said}exit status ${status}\n")
if(DEFINED ENV{FWSTATUS_RENEW_GOLDEN})
  configure_file(${LISTING} ${GOLDEN} COPYONLY)
endif()
if(NOT status MATCHES "^[012]$")
  message(FATAL_ERROR "ended with ${status}: ${said}")
endif()
execute_process(COMMAND diff -u ${GOLDEN} ${LISTING} RESULT_VARIABLE differs OUTPUT_VARIABLE difference
                                                                             ERROR_VARIABLE difference)
if(differs)
  string(SUBSTRING "${difference}" 0 6000 difference)
  message(FATAL_ERROR "not as it was approved:\n${difference}")
endif()
