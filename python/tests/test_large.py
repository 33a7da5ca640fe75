"""A document larger than the address space a process allows itself."""

import os
import re
import subprocess
import sys

EXAMPLE = os.path.join(os.path.dirname(__file__), "..", "..", "examples", "python",
                       "larger_than_memory.py")
DOCUMENT_MB = 100
HEADROOM_MB = 32


def test_larger_than_memory(tmp_path):
    document = tmp_path / "large.xml"
    try:
        done = subprocess.run([sys.executable, EXAMPLE, str(DOCUMENT_MB), str(HEADROOM_MB),
                               str(tmp_path)], capture_output=True, text=True, timeout=300)
        assert done.returncode == 0, done.stderr
        assert done.stdout.rstrip().endswith("completed")
        # "address space limited to 85 MB: ...": the whole limit, not just the headroom,
        # is smaller than the document.
        limit_mb = int(re.match(r"address space limited to (\d+) MB", done.stdout).group(1))
        assert os.path.getsize(document) > max(DOCUMENT_MB, limit_mb) * 2**20
        # The same document does not fit into the same headroom as an ElementTree.
        refused = subprocess.run(
            [sys.executable, "-c",
             "import resource, sys, xml.etree.ElementTree as ET\n"
             "size = [l for l in open('/proc/self/status') if l.startswith('VmSize:')]\n"
             f"limit = int(size[0].split()[1]) * 1024 + {HEADROOM_MB * 2**20}\n"
             "resource.setrlimit(resource.RLIMIT_AS, (limit, limit))\n"
             "try:\n"
             f"    ET.parse({str(document)!r})\n"
             "except MemoryError:\n"
             "    sys.exit(3)\n"],
            capture_output=True, text=True, timeout=300)
        assert refused.returncode == 3, refused.stderr
    finally:  # pytest keeps the last runs' folders; these files are large
        for leftover in (document, tmp_path / "large.qmb"):
            if leftover.exists():
                leftover.unlink()
