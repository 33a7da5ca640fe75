# Configures, builds and runs the consumer against the installed package.
# Variables: PREFIX (install prefix), SOURCE (this folder), BINARY (a scratch build folder).

# Runs a command; a failure stops here, naming `what` failed.
function(step what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result)
  if(result)
    message(FATAL_ERROR "${what} failed")
  endif()
endfunction()

file(REMOVE_RECURSE ${BINARY})
step("configuring the consumer" ${CMAKE_COMMAND} -S ${SOURCE} -B ${BINARY}
     -DCMAKE_PREFIX_PATH=${PREFIX})
step("building the consumer" ${CMAKE_COMMAND} --build ${BINARY})
step("the consumer" ${BINARY}/consumer ${BINARY}/consumer.qmb ${BINARY}/indexed.qmb)
step("the C test of the flat interface" ${BINARY}/flat_test ${BINARY}/indexed.qmb)
step("the C test of the XML component" ${BINARY}/xml_flat_test ${BINARY})
step("the C test of the XPath function" ${BINARY}/xpath_c_test ${BINARY}/indexed.qmb)
