#!/usr/bin/env bash
# Installs the package with pip as the README says (a virtual environment over
# Debian's packages, no build isolation, no package index), then uses it from
# outside the checkout: it must come from the environment and find its
# libraries there.
#   pip_install.sh PYTHON WORK
set -euo pipefail
python=$1
work=$2
source=$(cd "$(dirname "$0")/../.." && pwd)

rm -rf "$work/venv"
mkdir -p "$work"
"$python" -m venv --system-site-packages "$work/venv"
QMDB_CMAKE_BUILD="$work/cmake" JOBS=${JOBS:-2} \
  "$work/venv/bin/pip" install --quiet --no-build-isolation --no-index "$source/python"

cd "$work"
env -u PYTHONPATH "$work/venv/bin/python" - "$source/examples/sample.xml" <<'PY'
import os, sys
import qmdb

assert qmdb.__file__.startswith(sys.prefix + os.sep), qmdb.__file__
with qmdb.load_xml(sys.argv[1], "sample.qmb") as db:
    rare = [s.attrs["id"] for s in db.xpath("//species[@status='rare']")]
    db.indexes.create("id").add(db.xpath("//species")[0], "first")
with qmdb.open("sample.qmb") as db:
    assert db.xpath("count(//species)") == 24 and db.indexes["id"]["first"]
print("installed with pip:", qmdb.__file__, rare)
PY
