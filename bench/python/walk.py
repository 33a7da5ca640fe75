#!/usr/bin/env python3
"""A full walk from Python: qmdb against xml.etree.ElementTree.

    python3 bench/python/walk.py DOCUMENT.xml [REPEAT]

Measures, each in a fresh process (best of REPEAT, default 3): qmdb loading
the document into a database file and walking every object of it (names,
attribute values and texts read into Python); opening a database loaded before
and walking it; and ElementTree parsing the document and walking every element the same way.
The peak RSS is the measuring process's own high-water mark (VmHWM). The
document of the peer benchmarks is made with `qmdb_bench generate 10 f10.xml`.
"""

import json
import os
import subprocess
import sys
import tempfile
import time


def walk_qmdb(path):
    import qmdb
    started = time.perf_counter()
    with qmdb.open(path) as db:
        counts = walk_database(db)
    return time.perf_counter() - started, counts


def load_and_walk_qmdb(path):
    import qmdb
    started = time.perf_counter()
    with tempfile.TemporaryDirectory() as scratch:
        with qmdb.load_xml(path, os.path.join(scratch, "walk.qmb")) as db:
            counts = walk_database(db)
        return time.perf_counter() - started, counts


def walk_database(db):
    import qmdb
    nodes = attributes = characters = 0
    for obj in db:
        if isinstance(obj, qmdb.Node):
            nodes += 1
            obj.gid
            for value in obj.attrs.values():
                attributes += 1
                characters += len(value)
        elif isinstance(obj, qmdb.Text):
            characters += len(obj.value)
    return nodes, attributes, characters


def baseline(path):
    """The interpreter with both modules imported and nothing done: the part of
    every peak RSS that is not the walk's."""
    import qmdb  # noqa: F401
    import xml.etree.ElementTree  # noqa: F401
    return 0.0, (0, 0, 0)


def walk_etree(path):
    import xml.etree.ElementTree as ET
    started = time.perf_counter()
    nodes = attributes = characters = 0
    for element in ET.parse(path).getroot().iter():
        nodes += 1
        element.tag
        for value in element.attrib.values():
            attributes += 1
            characters += len(value)
        characters += len(element.text or "") + len(element.tail or "")
    return time.perf_counter() - started, (nodes, attributes, characters)


def peak_rss_mb():
    with open("/proc/self/status") as status:
        for line in status:
            if line.startswith("VmHWM:"):
                return int(line.split()[1]) / 1024
    return 0.0


def measure(kind, path, repeat):
    best = None
    for _ in range(repeat):
        out = subprocess.run([sys.executable, __file__, "--child", kind, path],
                             check=True, capture_output=True, text=True).stdout
        result = json.loads(out)
        if best is None or result["seconds"] < best["seconds"]:
            best = result
    return best


def main():
    if len(sys.argv) >= 4 and sys.argv[1] == "--child":
        walks = {"qmdb": walk_qmdb, "qmdb-load": load_and_walk_qmdb, "etree": walk_etree,
                 "baseline": baseline}
        seconds, counts = walks[sys.argv[2]](sys.argv[3])
        print(json.dumps({"seconds": seconds, "counts": counts, "rss": peak_rss_mb()}))
        return
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    document = sys.argv[1]
    repeat = int(sys.argv[2]) if len(sys.argv) > 2 else 3
    import qmdb
    with tempfile.TemporaryDirectory() as scratch:
        database = os.path.join(scratch, "walk.qmb")
        qmdb.load_xml(document, database).close()
        rows = [("qmdb load_xml + walk", measure("qmdb-load", document, repeat)),
                ("qmdb open + walk", measure("qmdb", database, repeat)),
                ("ElementTree parse + walk", measure("etree", document, repeat)),
                ("interpreter, no walk", measure("baseline", document, 1))]
    print(f"document: {document}, {os.path.getsize(document) / 2**20:.1f} MB; best of {repeat}")
    print(f"{'':24} {'time':>8} {'peak RSS':>10}  nodes, attributes, characters")
    for name, r in rows:
        print(f"{name:24} {r['seconds']:7.2f}s {r['rss']:8.1f}MB  {tuple(r['counts'])}")


if __name__ == "__main__":
    main()
