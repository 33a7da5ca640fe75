"""Threads: long operations let other Python threads run; one database shared."""

import shutil
import sys
import threading
import time

import pytest

import qmdb


class Bystander:
    """A thread that records a mark each time it runs after being poked. With the
    switch interval far beyond the test's length, it runs while the main thread is
    inside an operation only if the operation gives up the GIL."""

    def __init__(self):
        self.poke, self.marks, self.stopping = threading.Event(), [], False
        self.thread = threading.Thread(target=self._run)

    def _run(self):
        while self.poke.wait() and not self.stopping:
            self.poke.clear()
            self.marks.append(1)

    def ran_during(self, operation, tries=10**9) -> bool:
        """Repeats `operation` until the thread ran (at most `tries` calls, two seconds)."""
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


def test_long_operations_let_other_threads_run(tmp_path):
    source = tmp_path / "big.xml"
    source.write_bytes(b"<doc>" + b"<a x='1'>text</a>" * 100_000 + b"</doc>")
    db = qmdb.load_xml(source, tmp_path / "big.qmb")
    idx = db.indexes.create("x")
    for node in db.find("doc/a")[:20_000]:
        idx.add(node, "k")
    doc, keep = db.find("doc")[0], db.root.append("keep")
    # Dropping and closing are quick on small things: give each try a big one.
    doomed = [doc.copy(keep) for _ in range(5)]
    unsaved, sink = [], qmdb.memory()  # opening lets threads run too: done beforehand
    for i in range(5):
        unsaved.append(qmdb.open(tmp_path / f"other{i}.qmb", "w"))
        doc.copy(unsaved[-1].root)
    operations = {
        "load_xml": lambda: sink.load_xml(source),
        "write_xml": lambda: db.write_xml(tmp_path / "out.xml"),
        "save": lambda: (db.root.append("edit"), db.save()),
        "xpath": lambda: db.xpath("count(//a[@x='1'])"),
        "find": lambda: db.find(".../a"),
        "text": lambda: doc.text,
        "count": lambda: doc.count(),
        "index range": lambda: idx.range(),
        "copy": lambda: doc.copy(keep),
        "drop": lambda: doomed.pop().drop(),
        "close": lambda: unsaved.pop().close(),
    }
    with Bystander() as bystander:
        ran = {name: bystander.ran_during(op, 5 if name in ("drop", "close") else 10**9)
               for name, op in operations.items()}
    with Bystander() as bystander:  # without a GIL-releasing operation it stays out
        assert not bystander.ran_during(lambda: sum(range(1000)), 1000)
    sink.close()
    db.close()
    shutil.rmtree(tmp_path)  # a hundred megabytes that pytest would keep for three runs
    assert ran == {name: True for name in operations}


def test_threads_share_one_database(db):
    top, errors = db.root.append("top"), []

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
