"""Builds the qmdb package with the project's CMake, for `pip install ./python`.

The native module is built from the checkout this folder sits in, together with
the libraries it needs (libqmdb and the XML and XPath components), which are put
into the package beside it: the module finds them there through its run path, so
the installed package needs nothing else. Debian ships everything this needs
(cmake, g++, python3-dev, pybind11-dev, python3-setuptools); build offline with
`pip install --no-build-isolation ./python`.
"""

import glob
import os
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(HERE)


class CMakeExtension(Extension):
    def __init__(self, name):
        super().__init__(name, sources=[])


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        if not os.path.exists(os.path.join(SOURCE, "Qmdb", "Qmdb")):
            raise RuntimeError("the qmdb package is built from a checkout of the whole project")
        target = os.path.dirname(os.path.abspath(self.get_ext_fullpath(ext.name)))
        # QMDB_CMAKE_BUILD puts the CMake build elsewhere than under python/build.
        build = os.path.abspath(os.environ.get("QMDB_CMAKE_BUILD")
                                or os.path.join(self.build_temp, "cmake"))
        os.makedirs(build, exist_ok=True)
        subprocess.check_call([
            "cmake", "-S", SOURCE, "-B", build, "-DCMAKE_BUILD_TYPE=Release",
            # Every library finds the others beside itself once copied there.
            "-DQMDB_BUILD_TESTS=OFF", "-DCMAKE_BUILD_RPATH=$ORIGIN",
            f"-DPython3_EXECUTABLE={sys.executable}",
        ])
        subprocess.check_call(["cmake", "--build", build, "--target", "qmdb_python",
                               "-j", os.environ.get("JOBS", "2")])
        os.makedirs(target, exist_ok=True)
        shutil.copy2(glob.glob(os.path.join(build, "python", "qmdb", "_qmdb*.so"))[0], target)
        # The libraries under their run-time names (libqmdb.so.3 ...), not the links.
        for library in glob.glob(os.path.join(build, "**", "lib*.so.*"), recursive=True):
            if os.path.basename(library).count(".") == 2:
                shutil.copy2(os.path.realpath(library), os.path.join(target, os.path.basename(library)))


setup(
    name="qmdb",
    version="3.2.0",
    description="Documents larger than memory: a paged, persistent document store",
    packages=["qmdb"],
    package_data={"qmdb": ["*.pyi", "py.typed"]},
    ext_modules=[CMakeExtension("qmdb._qmdb")],
    cmdclass={"build_ext": CMakeBuild},
    python_requires=">=3.9",
    zip_safe=False,
)
