// The native module qmdb._qmdb: puts the parts together and turns Failures into
// the package's exceptions (classes defined in qmdb/_errors.py).
#include "Objects.h"

namespace qmdbpy {

namespace {

const char* className(ErrorKind kind) {
  switch (kind) {
    case ErrorKind::Locked:
      return "LockedError";
    case ErrorKind::Closed:
      return "ClosedError";
    case ErrorKind::NoObject:
      return "NoObjectError";
    case ErrorKind::Xml:
      return "XmlError";
    case ErrorKind::XPath:
      return "XPathError";
    default:
      return "Error";
  }
}

void translate(std::exception_ptr pending) {
  try {
    if (pending) std::rethrow_exception(pending);
  } catch (const Failure& failure) {
    raise(failure);
  }
}

}  // namespace

void raise(const Failure& failure) {
  try {
    py::object errors = py::module_::import("qmdb._errors");
    py::object type = errors.attr(className(failure.kind));
    py::object code = failure.code.empty() ? py::object(py::none()) : py::str(failure.code);
    py::object error = type(failure.message, code);
    if (failure.offset >= 0) error.attr("offset") = failure.offset;
    PyErr_SetObject(type.ptr(), error.ptr());
  } catch (py::error_already_set& e) {
    e.restore();  // the package itself is broken; say so rather than lose it
  }
}

}  // namespace qmdbpy

PYBIND11_MODULE(_qmdb, m) {
  using namespace qmdbpy;
  m.doc() = "The native part of the qmdb package; use the qmdb package itself.";
  py::register_exception_translator(&translate);
  ObjectClass object = bindObjects(m);
  bindWalks(m, object);
  DatabaseClass database = bindDatabase(m, object);
  bindIndexes(database);
  bindXml(m, database);
  bindXPath(object, database);
  m.attr("api_version") = py::str(Qmdb::apiVersion());
}
