// Value objects: a session and a handle. Two objects are equal when they name
// the same handle of the same open database. An object does not keep its
// database open: once the database is closed, every operation on the object
// raises qmdb.ClosedError. Each kind of object is its own Python class (Node,
// Text, Entity, PI), all derived from qmdb.Object.
#ifndef QMDB_PYTHON_OBJECTS_H
#define QMDB_PYTHON_OBJECTS_H

#include "Session.h"

#include <optional>
#include <utility>
#include <vector>

namespace qmdbpy {

/// Any object of a database; `handle` 1 is the database root.
struct Object {
  SessionPtr session;
  long handle = 0;
};
struct Node : Object {};
struct Text : Object {};
struct Entity : Object {};
struct PI : Object {};

/// An attribute found by an XPath expression: its owner and its handle.
struct Attr {
  SessionPtr session;
  long owner = 0;
  long handle = 0;
};

/// The entries of a result list as (session, handle) pairs: an entry of another
/// database opened from Python keeps its session; others are left out. Lock held.
std::vector<std::pair<SessionPtr, long>> entriesOf(const SessionPtr& session, QmdbList& list);
/// The Python objects of such entries; takes each session's lock in turn.
py::list wrapAll(const std::vector<std::pair<SessionPtr, long>>& entries);

/// The Python object of the right class for `handle`; None for 0. Lock held.
py::object wrap(const SessionPtr& session, long handle);

/// The database that `object` belongs to, after checking that it is open and that
/// the handle still names an object of it; throws Failure otherwise. Lock held.
Qmdb& live(const Object& object);

/// The database of an attribute, after checking that its owner is open and live
/// and still has it: a deleted attribute's handle names freed heap. Lock held.
Qmdb& live(const Attr& attr);

/// The Python Database of a session (a new wrapper sharing it).
py::object database(const SessionPtr& session);

/// The Python class of Object, to which other files add their methods.
using ObjectClass = py::class_<Object>;

/// A Database as Python sees it: a session that may be shared by several wrappers.
struct Database {
  SessionPtr session;
};
using DatabaseClass = py::class_<Database>;

/// The parts of the module, each defined in its own file.
ObjectClass bindObjects(py::module_& m);
void bindWalks(py::module_& m, ObjectClass& object);
DatabaseClass bindDatabase(py::module_& m, ObjectClass& object);
void bindIndexes(DatabaseClass& database);
void bindXml(py::module_& m, DatabaseClass& database);
void bindXPath(ObjectClass& object, DatabaseClass& database);

}  // namespace qmdbpy

#endif
