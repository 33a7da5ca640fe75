// Walks: the children of a node, everything below it in document order, and
// the text below it. A walk steps with the engine's own next(), one object per
// step, so it costs no memory however large the subtree is.
//
// Editing during a walk follows the library's rules: the walk goes on from
// where its current object now is. When the current object has been dropped
// there is no such place, and the next step raises NoObjectError instead of
// following a dead handle. The check costs nothing while nothing is edited.
#include "Objects.h"

#include <string>

namespace qmdbpy {

namespace {

// One walk: `position` is the last place visited (positive: an object, negative:
// the end of a node), `end` the position that finishes the walk.
struct Walk {
  SessionPtr session;
  long position;
  long end;
  bool siblings;
  bool started = false;
  unsigned long edits;
};

// Raises when an edit since the last step has dropped the current object.
void checkPosition(Walk& walk, Qmdb& db) {
  if (walk.edits == walk.session->edits()) return;
  walk.edits = walk.session->edits();
  long h = walk.position < 0 ? -walk.position : walk.position;
  if (h > 1 && !db.isObject(h, QmdbNoObject)) {
    fail("the walk's current object was dropped", ErrorKind::NoObject);
  }
}

// The next object of the walk; a null object at its end.
py::object step(Walk& walk) {
  Locked lock(*walk.session);
  Qmdb& db = walk.session->db();
  if (walk.position == 0) return py::object();
  checkPosition(walk, db);
  for (;;) {
    long next;
    if (walk.siblings) {
      next = walk.started ? db.next(walk.position, QmdbSiblings) : db.first(walk.position);
    } else {
      next = db.next(walk.position, QmdbTree);
    }
    walk.started = true;
    walk.position = next;
    if (next == 0 || next == walk.end) {
      walk.position = 0;
      return py::object();
    }
    if (next > 0) return wrap(walk.session, next);
  }
}

// The iterator slot itself, called by Python for every object of a walk: going
// through pybind11's general method dispatch here doubled the cost of a bare walk.
PyObject* iterNext(PyObject* self) {
  try {
    py::object next = step(py::handle(self).cast<Walk&>());
    return next.release().ptr();  // null without an exception set: the end
  } catch (py::error_already_set& e) {
    e.restore();
  } catch (const Failure& failure) {
    raise(failure);
  } catch (const std::exception& e) {
    PyErr_SetString(PyExc_RuntimeError, e.what());
  }
  return nullptr;
}

Walk startWalk(const Object& o, bool siblings) {
  Locked lock(*o.session);
  Qmdb& db = live(o);
  Walk walk{o.session, o.handle, siblings ? 0 : -o.handle, siblings, false, o.session->edits()};
  // Below a text, entity or pi there is nothing; a tree step would leave it.
  if (o.handle != 1 && db.objectType(o.handle) != QmdbNode) walk.position = 0;
  return walk;
}

// The characters of every text below `object`, with the replacement texts of
// the entities among them, in document order.
std::string textBelow(Qmdb& db, long object) {
  std::string out;
  QmdbObjectType type = object == 1 ? QmdbNode : db.objectType(object);
  if (type == QmdbString || type == QmdbEntity) {
    const char* s = db.getValue(object);
    return s != nullptr ? s : "";
  }
  if (type != QmdbNode) return out;
  for (long p = db.next(object, QmdbTree); p != 0 && p != -object; p = db.next(p, QmdbTree)) {
    if (p < 0) continue;
    QmdbObjectType kind = db.objectType(p);
    if (kind != QmdbString && kind != QmdbEntity) continue;
    const char* s = db.getValue(p);
    if (s != nullptr) out += s;
  }
  return out;
}

}  // namespace

void bindWalks(py::module_& m, ObjectClass& object) {
  py::class_<Walk> walk(m, "Walk", "An iterator over objects of a database.");
  walk.def("__iter__", [](py::object self) { return self; }).def("__next__", [](Walk& w) {
    py::object next = step(w);
    if (!next) throw py::stop_iteration();
    return next;
  });
  reinterpret_cast<PyTypeObject*>(walk.ptr())->tp_iternext = &iterNext;
  PyType_Modified(reinterpret_cast<PyTypeObject*>(walk.ptr()));

  object
      .def_property_readonly(
          "text",
          [](const Object& o) {
            Locked lock(*o.session);
            Qmdb& db = live(o);
            std::string out;
            {
              py::gil_scoped_release release;
              out = textBelow(db, o.handle);
            }
            return py::str(out);
          },
          "All text below the object in document order (a text's or entity's own value; "
          "empty for a pi).")
      .def_property_readonly(
          "children", [](const Object& o) { return startWalk(o, true); },
          "An iterator over the object's children (none unless it is a node).")
      .def(
          "__iter__", [](const Object& o) { return startWalk(o, false); },
          "Everything below the object in document order (not the object itself).")
      .def(
          "count",
          [](const Object& o) {
            Locked lock(*o.session);
            Qmdb& db = live(o);
            py::gil_scoped_release release;
            return db.count(o.handle, QmdbTree);
          },
          "The number of objects below this one.");
}

}  // namespace qmdbpy
