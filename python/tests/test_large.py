"""A document larger than the address space a process allows itself."""

import os
import re
import subprocess
import sys

EXAMPLE = os.path.join(os.path.dirname(__file__), "..", "..", "examples", "python",
                       "larger_than_memory.py")
DOCUMENT_MB, HEADROOM_MB = 100, 32
# The same document parsed as an ElementTree in the same headroom: exit code 3.
ETREE = """import resource, sys, xml.etree.ElementTree as ET
size = [l for l in open('/proc/self/status') if l.startswith('VmSize:')]
limit = int(size[0].split()[1]) * 1024 + int(sys.argv[2]) * 2**20
resource.setrlimit(resource.RLIMIT_AS, (limit, limit))
try:
    ET.parse(sys.argv[1])
except MemoryError:
    sys.exit(3)
"""


def run(*args):
    return subprocess.run([sys.executable, *map(str, args)], capture_output=True, text=True,
                          timeout=300)


def test_larger_than_memory(tmp_path):
    document = tmp_path / "large.xml"
    try:
        done = run(EXAMPLE, DOCUMENT_MB, HEADROOM_MB, tmp_path)
        assert done.returncode == 0 and done.stdout.rstrip().endswith("completed"), done.stderr
        # "address space limited to 85 MB: ...": the whole limit is smaller than the document.
        limit_mb = int(re.match(r"address space limited to (\d+) MB", done.stdout).group(1))
        assert os.path.getsize(document) > max(DOCUMENT_MB, limit_mb) * 2**20
        refused = run("-c", ETREE, document, HEADROOM_MB)
        assert refused.returncode == 3, refused.stderr
    finally:  # pytest keeps the last runs' folders; these files are large
        for leftover in (document, tmp_path / "large.qmb"):
            leftover.unlink(missing_ok=True)
