# Configures, builds and runs the consumer against the installed package.
# Variables: PREFIX (install prefix), SOURCE (this folder), BINARY (a scratch build folder).
file(REMOVE_RECURSE ${BINARY})
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${BINARY} -DCMAKE_PREFIX_PATH=${PREFIX}
                RESULT_VARIABLE result)
if(result)
  message(FATAL_ERROR "configuring the consumer failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${BINARY} RESULT_VARIABLE result)
if(result)
  message(FATAL_ERROR "building the consumer failed")
endif()
execute_process(COMMAND ${BINARY}/consumer ${BINARY}/consumer.qmb ${BINARY}/indexed.qmb
                RESULT_VARIABLE result)
if(result)
  message(FATAL_ERROR "the consumer failed")
endif()
execute_process(COMMAND ${BINARY}/flat_test ${BINARY}/indexed.qmb RESULT_VARIABLE result)
if(result)
  message(FATAL_ERROR "the C test of the flat interface failed")
endif()
