# Moves the installed tree to another folder and proves it still works there:
# the tool starts without LD_LIBRARY_PATH (its run path is relative to it),
# imports and exports a document, and the .pc files name the moved prefix,
# so that a C program built with pkg-config's flags alone runs.
# Variables: PREFIX (install prefix), SOURCE (this folder), BINARY (a scratch folder).
file(REMOVE_RECURSE ${BINARY})
file(MAKE_DIRECTORY ${BINARY})
file(COPY ${PREFIX}/ DESTINATION ${BINARY}/moved)
set(moved ${BINARY}/moved)
set(clean ${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(result)
    message(FATAL_ERROR "failed (${result}): ${ARGN}\n${out}${err}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

run(${clean} ${moved}/bin/qmdb --version)
if(NOT out MATCHES "^qmdb [0-9]")
  message(FATAL_ERROR "qmdb --version said: ${out}")
endif()
file(WRITE ${BINARY}/doc.xml "<!DOCTYPE d [<!ENTITY w \"world\">]><d>hello &w;</d>")
run(${clean} ${moved}/bin/qmdb import ${BINARY}/doc.xml ${BINARY}/doc.qmb)
run(${clean} ${moved}/bin/qmdb export ${BINARY}/doc.qmb --no-declaration)
if(NOT out STREQUAL "<!DOCTYPE d [\n<!ENTITY w \"world\">\n]>\n<d>hello &w;</d>\n")
  message(FATAL_ERROR "the moved tool exported: ${out}")
endif()

find_program(PKG_CONFIG pkg-config REQUIRED)
set(ENV{PKG_CONFIG_PATH} ${moved}/lib/pkgconfig)
run(${PKG_CONFIG} --variable=prefix qmdbxml)
string(STRIP "${out}" reported)
get_filename_component(reported "${reported}" REALPATH)
get_filename_component(expected "${moved}" REALPATH)
if(NOT reported STREQUAL expected)
  message(FATAL_ERROR "qmdbxml.pc names the prefix ${reported}, not ${expected}")
endif()
run(${PKG_CONFIG} --cflags --libs qmdbxml)
string(STRIP "${out}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${PKG_CONFIG} --variable=libdir qmdbxml)
string(STRIP "${out}" libdir)
run(cc -std=c11 -Wall -Wextra -Werror ${SOURCE}/xml_flat_test.c ${flags} -Wl,-rpath,${libdir}
    -o ${BINARY}/xml_flat_test)
run(${clean} ${BINARY}/xml_flat_test ${BINARY})
