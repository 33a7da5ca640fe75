"""Threads: long operations let other Python threads run; one database shared."""

import shutil
import sys
import threading
import time

import pytest

import qmdb

ITEMS = 100_000


class Bystander:
    """A thread that records a mark each time it gets to run after being poked.

    The switch interval is set far beyond the test's length, so this thread runs
    while the main thread is inside an operation only if the operation gives up
    the GIL; without that, no number of repeats lets it in.
    """

    def __init__(self):
        self.poke, self.marks, self.stopping = threading.Event(), [], False
        self.thread = threading.Thread(target=self._run)

    def _run(self):
        while self.poke.wait() and not self.stopping:
            self.poke.clear()
            self.marks.append(1)

    def ran_during(self, operation, tries=10**9) -> bool:
        """Repeats `operation` until the thread got to run, for `tries` calls and two
        seconds at most: on a busy machine it may be woken after a short call is over."""
        self.marks.clear()
        self.poke.set()
        deadline = time.monotonic() + 2
        for _ in range(tries):
            operation()
            if self.marks or time.monotonic() > deadline:
                break
        return bool(self.marks)

    def __enter__(self):
        self.interval = sys.getswitchinterval()
        sys.setswitchinterval(1000)
        self.thread.start()
        return self

    def __exit__(self, *exc):
        self.stopping = True
        self.poke.set()
        self.thread.join()
        sys.setswitchinterval(self.interval)


@pytest.fixture(scope="module")
def big(tmp_path_factory):
    folder = tmp_path_factory.mktemp("threads")
    source = folder / "big.xml"
    source.write_bytes(b"<doc>" + b"<a x='1'>text</a>" * ITEMS + b"</doc>")
    with qmdb.load_xml(source, folder / "big.qmb") as db:
        idx = db.indexes.create("x")
        for node in db.find("doc/a")[:20_000]:
            idx.add(node, "k")
        yield db, folder
    shutil.rmtree(folder)  # a hundred megabytes that pytest would keep for three runs


def test_long_operations_let_other_threads_run(big):
    db, folder = big
    doc = db.find("doc")[0]
    keep = db.root.append("keep")
    # Dropping and closing are quick on small things: give each try a big one.
    doomed = [doc.copy(keep) for _ in range(5)]
    unsaved, sink = [], qmdb.memory()  # opening lets threads run too: done beforehand
    for i in range(5):
        other = qmdb.open(folder / f"other{i}.qmb", "w")
        doc.copy(other.root)
        unsaved.append(other)
    operations = {
        "load_xml": lambda: sink.load_xml(folder / "big.xml"),
        "write_xml": lambda: db.write_xml(folder / "out.xml"),
        "save": lambda: (db.root.append("edit"), db.save()),
        "xpath": lambda: db.xpath("count(//a[@x='1'])"),
        "find": lambda: db.find(".../a"),
        "text": lambda: doc.text,
        "count": lambda: doc.count(),
        "index range": lambda: db.indexes["x"].range(),
        "copy": lambda: doc.copy(keep),
        "drop": lambda: doomed.pop().drop(),
        "close": lambda: unsaved.pop().close(),
    }
    with Bystander() as bystander:
        ran = {name: bystander.ran_during(op, 5 if name in ("drop", "close") else 10**9)
               for name, op in operations.items()}
    sink.close()
    assert ran == {name: True for name in operations}
    # Without a GIL-releasing operation the bystander stays out: the check can fail.
    with Bystander() as bystander:
        assert not bystander.ran_during(lambda: sum(range(1000)), 1000)


def test_threads_share_one_database(db):
    top = db.root.append("top")
    errors = []

    def add(name):
        try:
            for _ in range(300):
                top.append(name).append_text(name)
        except Exception as e:  # pragma: no cover - reported below
            errors.append(e)

    threads = [threading.Thread(target=add, args=(f"t{i}",)) for i in range(4)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert errors == [] and len(top) == 1200 and top.count() == 2400
