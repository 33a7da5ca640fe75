# Picks the one Python interpreter the package is built and tested for, and
# where `cmake --install` puts the package so that this interpreter finds it.
# Debian's own interpreter is preferred over any other python3 on PATH, so that
# a clean Debian machine builds and tests with Debian packages alone.
if(NOT Python3_EXECUTABLE AND EXISTS /usr/bin/python3)
  set(Python3_EXECUTABLE /usr/bin/python3 CACHE FILEPATH "The Python interpreter of the package")
endif()
find_package(Python3 COMPONENTS Interpreter Development.Module)
if(Python3_Interpreter_FOUND)
  # prefix/lib/pythonX.Y/dist-packages (Debian's site folder for /usr/local);
  # interpreters without Debian's layout use their own site-packages name.
  execute_process(
    COMMAND ${Python3_EXECUTABLE} -c
            "import sys; print('dist-packages' if '/usr/lib/python3/dist-packages' in sys.path else 'site-packages')"
    OUTPUT_VARIABLE QMDB_PYTHON_SITE_NAME OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(QMDB_PYTHON_INSTALL_DIR
      "lib/python${Python3_VERSION_MAJOR}.${Python3_VERSION_MINOR}/${QMDB_PYTHON_SITE_NAME}"
      CACHE STRING "Where the Python package is installed, relative to the prefix")
  # Say so when the interpreter will not find the installed package by itself.
  set(installed "${CMAKE_INSTALL_PREFIX}/${QMDB_PYTHON_INSTALL_DIR}")
  execute_process(
    COMMAND ${Python3_EXECUTABLE} -c "import os, sys; print(os.path.normpath(sys.argv[1]) in sys.path)"
            "${installed}"
    OUTPUT_VARIABLE on_path OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT on_path STREQUAL "True")
    message(STATUS "Python package installs to ${installed}, which ${Python3_EXECUTABLE} "
                   "does not search: add it to PYTHONPATH")
  endif()
endif()
