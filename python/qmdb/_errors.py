"""The exceptions of the qmdb package: one hierarchy under qmdb.Error."""

from typing import Optional


class Error(Exception):
    """A database operation failed.

    ``message`` says what failed; ``code`` is the database's error code (a short
    upper-case word such as "NOFILEOPEN") when the database reported one, else None.
    """

    message: str
    code: Optional[str]

    def __init__(self, message: str, code: Optional[str] = None) -> None:
        super().__init__(message)
        self.message = message
        self.code = code

    def __str__(self) -> str:
        return f"{self.message} [{self.code}]" if self.code else self.message


class LockedError(Error):
    """The database file is in use by another opening that excludes this one."""


class ClosedError(Error):
    """The database that the object belongs to has been closed."""


class NoObjectError(Error):
    """The object is no longer in its database (it was dropped)."""


class XmlError(Error):
    """An XML document could not be loaded or written; the message reads
    "FILE:LINE:COLUMN: text" for a malformed document."""


class XPathError(Error):
    """An XPath expression could not be evaluated; ``offset`` is the position of the
    fault in the expression (-1 when the fault has no one place)."""

    offset: int = -1


class XmlWarning(UserWarning):
    """Loading XML went on past a problem, such as an unresolved entity."""
