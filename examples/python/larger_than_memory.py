#!/usr/bin/env python3
"""Processes a document larger than the memory this process allows itself.

    python3 larger_than_memory.py [DOCUMENT_MB [HEADROOM_MB [FOLDER]]]

The process first limits its own address space with resource.setrlimit to
what it has mapped at the start (the interpreter and its libraries) plus
HEADROOM_MB (default 64), then writes an XML document of DOCUMENT_MB (default 160)
into FOLDER (default: the current folder), loads it into a database file, walks
every object of it, queries it and prints what it found. A DOM of the whole
document would need several times its size and fail under the limit; qmdb keeps
a few pages in memory and completes.
"""

import os
import resource
import sys
import time

import qmdb

document_mb = float(sys.argv[1]) if len(sys.argv) > 1 else 160
headroom_mb = float(sys.argv[2]) if len(sys.argv) > 2 else 64
folder = sys.argv[3] if len(sys.argv) > 3 else "."
xml_path = os.path.join(folder, "large.xml")
db_path = os.path.join(folder, "large.qmb")


def mapped_mb():
    with open("/proc/self/status") as status:
        for line in status:
            if line.startswith("VmSize:"):
                return int(line.split()[1]) / 1024
    raise RuntimeError("no VmSize in /proc/self/status")


start_mb = mapped_mb()
limit_mb = start_mb + headroom_mb
limit = int(limit_mb * 2**20)
resource.setrlimit(resource.RLIMIT_AS, (limit, limit))
print(f"address space limited to {limit_mb:.0f} MB: {start_mb:.0f} MB mapped at the start "
      f"and {headroom_mb:.0f} MB more")

# Write the document record by record, so that it never is in memory either.
started = time.time()
records = 0
with open(xml_path, "w", encoding="utf-8") as out:
    out.write('<?xml version="1.0" encoding="UTF-8"?>\n<log>\n')
    while out.tell() < document_mb * 1024 * 1024:
        for _ in range(1000):
            records += 1
            out.write(f'  <entry id="e{records}" level="{"warn" if records % 7 == 0 else "info"}">'
                      f'<time>{records * 17}</time><text>Event number {records}: '
                      f'the quick brown fox jumps over the lazy dog &amp; more.</text></entry>\n')
    out.write("</log>\n")
size_mb = os.path.getsize(xml_path) / 2**20
print(f"wrote {xml_path}: {size_mb:.0f} MB, {records} entries")

# Load it into a database file, then walk and query it.
with qmdb.load_xml(xml_path, db_path, pages=8) as db:
    nodes = texts = characters = 0
    for obj in db:
        if isinstance(obj, qmdb.Node):
            nodes += 1
        else:
            texts += 1
            characters += len(obj.value)
    warnings = db.xpath("count(//entry[@level='warn'])")
    last = db.xpath("/log/entry[last()]/@id")[0].value

peak = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024
print(f"walked {nodes} nodes and {texts} texts ({characters} characters); "
      f"{warnings:.0f} warnings; the last entry is {last}")
print(f"document {size_mb:.0f} MB, peak RSS {peak:.0f} MB, headroom {headroom_mb:.0f} MB, "
      f"{time.time() - started:.1f} s: completed")
assert nodes == 3 * records + 1 and warnings == records // 7 and last == f"e{records}"
