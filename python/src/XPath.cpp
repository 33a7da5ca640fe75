// XPath through QmdbXPath: Python values become variables, and results come
// back as Python values: a list of objects (attributes as qmdb.Attr) for a
// node-set, float, str or bool otherwise. Evaluation runs without the GIL.
#include "Objects.h"

#include <Qmdb/QmdbXPath>

namespace qmdbpy {

namespace {

void addNode(QmdbXPath::Value& value, const SessionPtr& session, const py::handle& item) {
  if (py::isinstance<Object>(item)) {
    const Object& o = item.cast<const Object&>();
    if (o.session != session) fail("an XPath variable holds an object of another database");
    value.nodes.push_back(QmdbXPath::Node{o.handle, 0});
  } else if (py::isinstance<Attr>(item)) {
    const Attr& a = item.cast<const Attr&>();
    if (a.session != session) fail("an XPath variable holds an attribute of another database");
    value.nodes.push_back(QmdbXPath::Node{a.owner, a.handle});
  } else {
    throw py::type_error("an XPath node-set variable holds objects of the database only");
  }
}

// A Python value as an XPath value: bool, int or float, str, an object or attribute,
// or an iterable of objects and attributes (a node-set, given in document order).
QmdbXPath::Value valueOf(const SessionPtr& session, const py::handle& v) {
  if (py::isinstance<py::bool_>(v)) return QmdbXPath::Value::ofBoolean(v.cast<bool>());
  if (py::isinstance<py::int_>(v) || py::isinstance<py::float_>(v)) {
    return QmdbXPath::Value::ofNumber(v.cast<double>());
  }
  if (py::isinstance<py::str>(v)) return QmdbXPath::Value::ofString(v.cast<std::string>());
  QmdbXPath::Value nodes = QmdbXPath::Value::ofNodes({});
  if (py::isinstance<Object>(v) || py::isinstance<Attr>(v)) {
    addNode(nodes, session, v);
    return nodes;
  }
  if (!py::isinstance<py::iterable>(v)) {
    throw py::type_error("an XPath variable is a bool, number, str, object or list of objects");
  }
  for (py::handle item : v) addNode(nodes, session, item);
  return nodes;
}

py::object evaluate(const SessionPtr& session, long context, const std::string& expression,
                    const py::kwargs& variables) {
  QmdbXPath::Variables bound;
  for (auto [name, value] : variables) bound[name.cast<std::string>()] = valueOf(session, value);
  QmdbXPath::Result result;
  {
    Locked lock(*session);
    Qmdb& db = live(Object{session, context});
    // The evaluator trusts the handles it is given; a variable may hold an
    // object dropped since Python got it.
    for (const auto& [name, value] : bound) {
      for (const QmdbXPath::Node& n : value.nodes) {
        if (n.attribute != 0) {
          live(Attr{session, n.object, n.attribute});
        } else {
          live(Object{session, n.object});
        }
      }
    }
    {
      py::gil_scoped_release release;
      result = QmdbXPath::evaluate(db, expression, context, bound);
    }
    if (!result.ok) {
      Failure failure{ErrorKind::XPath, result.message, "", result.offset};
      throw failure;
    }
    const QmdbXPath::Value& value = result.value;
    switch (value.kind) {
      case QmdbXPath::Value::Number:
        return py::float_(value.number);
      case QmdbXPath::Value::String:
        return py::str(value.string);
      case QmdbXPath::Value::Boolean:
        return py::bool_(value.boolean);
      case QmdbXPath::Value::NodeSet:
        break;
    }
    py::list nodes;
    for (const QmdbXPath::Node& n : value.nodes) {
      if (n.attribute != 0) {
        nodes.append(py::cast(Attr{session, n.object, n.attribute}));
      } else {
        nodes.append(wrap(session, n.object));
      }
    }
    return nodes;
  }
}

constexpr const char* kXPathDoc =
    "Evaluates the XPath 1.0 expression with this object (for a database: its root) as the "
    "context node. Keyword arguments bind variables ($name): bool, int, float, str, an "
    "object or a list of objects. Returns a list of objects (attributes as qmdb.Attr) in "
    "document order for a node-set, else a float, str or bool. A malformed expression "
    "raises XPathError with the fault's offset.";

}  // namespace

void bindXPath(ObjectClass& object, DatabaseClass& database) {
  object.def(
      "xpath",
      [](const Object& o, const std::string& expression, const py::kwargs& variables) {
        return evaluate(o.session, o.handle, expression, variables);
      },
      py::arg("expression"), kXPathDoc);
  database.def(
      "xpath",
      [](const Database& d, const std::string& expression, const py::kwargs& variables) {
        return evaluate(d.session, 1, expression, variables);
      },
      py::arg("expression"), kXPathDoc);
}

}  // namespace qmdbpy
