"""Mappings over a database: the attributes of an object and the named indexes."""

from collections.abc import Iterator, Mapping, MutableMapping
from typing import Iterable, List, Optional, Union

from . import _qmdb


class Attrs(MutableMapping):
    """The attributes of a node, entity or pi as a mutable mapping of names to
    values, in document order. A new attribute goes at the end."""

    __slots__ = ("_object",)

    def __init__(self, obj: "_qmdb.Object") -> None:
        self._object = obj

    def __getitem__(self, name: str) -> Optional[str]:
        return self._object._attr_get(name)

    def __setitem__(self, name: str, value: Optional[str]) -> None:
        self._object._attr_set(name, value)

    def __delitem__(self, name: str) -> None:
        self._object._attr_del(name)

    def __iter__(self) -> Iterator[str]:
        return iter(self._object._attr_names())

    def __len__(self) -> int:
        return len(self._object._attr_names())

    def items(self):
        """The (name, value) pairs in document order, read at once."""
        return self._object._attr_items()

    def values(self):
        """The values in document order, read at once."""
        return [value for _, value in self._object._attr_items()]

    def __contains__(self, name: object) -> bool:
        if not isinstance(name, str):
            return False
        try:
            self._object._attr_get(name)
        except KeyError:
            return False
        return True

    def __repr__(self) -> str:
        return f"Attrs({dict(self.items())!r})"


class Index(MutableMapping):
    """A named index: keys (str) to the objects stored under them.

    ``idx[key]`` is the list of objects under the key (KeyError when there are none),
    ``idx[key] = obj`` (or a list of objects) adds entries, ``del idx[key]`` pulls them
    out. Iteration gives the keys in ascending byte order.
    """

    __slots__ = ("_db", "_name")

    def __init__(self, db: "_qmdb.Database", name: str) -> None:
        self._db = db
        self._name = name

    @property
    def name(self) -> str:
        """The index's name."""
        return self._name

    def rename(self, name: str) -> None:
        """Renames the index; Error when the name is taken."""
        self._db._index_rename(self._name, name)
        self._name = name

    def add(self, obj: "_qmdb.Object", key: Optional[str] = None, unique: bool = False) -> None:
        """Stores ``obj`` (of this or another open database) under ``key`` (None: the
        object's gid or text). With unique=True a key that has entries is left alone."""
        self._db._index_put(self._name, obj, key, unique)

    def get(self, key: str, default=None):
        """The objects under ``key``, or ``default`` when there are none."""
        found = self._db._index_get(self._name, key, None)
        return found if found else default

    def range(self, start: Optional[str] = None, stop: Optional[str] = None) -> List["_qmdb.Object"]:
        """The objects of every key from ``start`` (None: the first key) up to ``stop``
        and the keys beginning with ``stop`` (None: the last key), in key order."""
        return self._db._index_get(self._name, start, "" if stop is None else stop)

    def pull(self, key: str, stop: Optional[str] = None) -> List["_qmdb.Object"]:
        """Takes out and returns the objects under ``key``; with ``stop``, those of the
        range from ``key`` up to ``stop`` as in range()."""
        return self._db._index_pull(self._name, key, stop)

    def __getitem__(self, key: str) -> List["_qmdb.Object"]:
        found = self._db._index_get(self._name, key, None)
        if not found:
            raise KeyError(key)
        return found

    def __setitem__(self, key: str, objects: Union["_qmdb.Object", Iterable["_qmdb.Object"]]) -> None:
        if isinstance(objects, _qmdb.Object):
            objects = [objects]
        for obj in objects:
            self._db._index_put(self._name, obj, key, False)

    def __delitem__(self, key: str) -> None:
        if not self._db._index_pull(self._name, key, None):
            raise KeyError(key)

    def __iter__(self) -> Iterator[str]:
        return iter(self._db._index_keys(self._name))

    def __len__(self) -> int:
        return len(self._db._index_keys(self._name))

    def __contains__(self, key: object) -> bool:
        return isinstance(key, str) and bool(self._db._index_get(self._name, key, None))

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Index) and other._db == self._db and other._name == self._name

    def __hash__(self) -> int:
        return hash((self._db, self._name))

    def __repr__(self) -> str:
        return f"<qmdb.Index {self._name!r}>"


class Indexes(Mapping):
    """The named indexes of a database: ``db.indexes["id"]`` is an Index (KeyError
    when there is none), ``db.indexes.create("id")`` makes one, ``del
    db.indexes["id"]`` drops one. Iteration gives the names in catalogue order."""

    __slots__ = ("_db",)

    def __init__(self, db: "_qmdb.Database") -> None:
        self._db = db

    def create(self, name: str) -> Index:
        """Makes a new, empty index; Error when the name is taken or the database is
        read-only."""
        self._db._index_create(name)
        return Index(self._db, name)

    def __getitem__(self, name: str) -> Index:
        if not self._db._index_exists(name):
            raise KeyError(name)
        return Index(self._db, name)

    def __delitem__(self, name: str) -> None:
        self._db._index_drop(name)

    def __iter__(self) -> Iterator[str]:
        return iter(self._db._index_names())

    def __len__(self) -> int:
        return len(self._db._index_names())

    def __contains__(self, name: object) -> bool:
        return isinstance(name, str) and self._db._index_exists(name)

    def __repr__(self) -> str:
        return f"<qmdb.Indexes {list(self)!r}>"
