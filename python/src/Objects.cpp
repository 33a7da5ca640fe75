// The value objects' properties and edits: names, values, parents, attributes,
// appending, removing, dropping, moving, copying and links. Every handle that
// comes from Python is checked with isObject before the engine sees it, since
// the engine trusts its handles.
#include "Objects.h"

#include <pybind11/stl.h>

#include <functional>
#include <vector>

namespace qmdbpy {

namespace {

const char* kindName(QmdbObjectType type) {
  switch (type) {
    case QmdbNode:
      return "Node";
    case QmdbString:
      return "Text";
    case QmdbEntity:
      return "Entity";
    case QmdbPi:
      return "PI";
    default:
      return "Object";
  }
}

// Where an object is to go: under `parent` after the child `after` (0: first).
struct Place {
  Object parent;
  long after = 0;
};

// Whether `child` is in the child list of `parent` (1: the top level). Lock held.
bool isChildOf(Qmdb& db, long parent, long child) {
  long p = db.parent(child);
  return parent == 1 ? p == 0 && db.isAttached(child) : p == parent;
}

// The child of `parent` that something new is to follow: its last child when
// `after` is None, else `after` after checking it. Lock held.
long afterChild(Qmdb& db, const Object& parent, const py::object& after) {
  if (after.is_none()) return db.last(parent.handle);
  const Object& child = after.cast<const Object&>();
  if (child.session != parent.session || !db.isObject(child.handle, QmdbNoObject) ||
      !isChildOf(db, parent.handle, child.handle)) {
    fail("`after` is not a child of this node");
  }
  return child.handle;
}

// The session that the keywords `to` and `after` point into, or null for neither.
SessionPtr targetOf(const std::optional<Object>& to, const std::optional<Object>& after) {
  if (after) return after->session;
  return to ? to->session : nullptr;
}

// The place named by the keywords `to` (a node, appending at its end), `after`
// (a child to follow) and `first` (the first child of `to`). Lock held.
Place placeOf(const std::optional<Object>& to, const std::optional<Object>& after, bool first) {
  if (after) {
    Qmdb& db = live(*after);
    if (!db.isAttached(after->handle)) fail("`after` is detached, so it has no place to follow");
    long parent = db.parent(after->handle);
    if (parent == 0) parent = 1;
    if (to && (to->session != after->session || to->handle != parent)) {
      fail("`after` is not a child of `to`");
    }
    return Place{Object{after->session, parent}, after->handle};
  }
  if (!to) fail("give `to` or `after`");
  Qmdb& db = live(*to);
  if (db.objectType(to->handle) != QmdbNode) fail("only a node has children");
  return Place{*to, first ? 0 : db.last(to->handle)};
}

std::optional<Object> asObject(const py::object& o) {
  if (o.is_none()) return std::nullopt;
  return o.cast<Object>();
}

// The attribute named `name` (exactly) of the object, or 0.
long findAttribute(Qmdb& db, long object, const std::string& name) {
  return db.attribute(object, cstr(name), QmdbNoAttributeType, QmdbNoAttributeClass, true);
}

// The first attribute of the object in document order, or 0.
long firstAttribute(Qmdb& db, long object) {
  return db.attribute(object, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true);
}

// The attributes of `o` in document order, each as `item(db, attribute)`.
template <typename Item>
py::list attributeList(const Object& o, Item item) {
  Locked lock(*o.session);
  Qmdb& db = live(o);
  py::list out;
  for (long a = firstAttribute(db, o.handle); a != 0; a = db.nextAttribute(a)) {
    out.append(item(db, a));
  }
  return out;
}

// Makes a new child of `o` with `make(db, after)` after the child named by
// `after` (None: at the end); the new object, or Error naming `what`.
template <typename Make>
py::object addChild(const Node& o, const py::object& after, const char* what, Make make) {
  Locked lock(*o.session);
  Qmdb& db = live(o);
  long made = make(db, afterChild(db, o, after));
  if (made == 0) fail(db, std::string("cannot add ") + what + " here");
  o.session->edited();
  return wrap(o.session, made);
}

std::string describe(const Object& o) {
  std::string kind = "Object";
  std::string name;
  if (o.session->closed()) return "<qmdb." + kind + " " + std::to_string(o.handle) + " (closed)>";
  Locked lock(*o.session);
  Qmdb& db = o.session->db();
  if (o.handle == 1) return "<qmdb.Node root>";
  if (!db.isObject(o.handle, QmdbNoObject)) {
    return "<qmdb.Object " + std::to_string(o.handle) + " (gone)>";
  }
  QmdbObjectType type = db.objectType(o.handle);
  kind = kindName(type);
  const char* s = type == QmdbString ? db.getValue(o.handle) : db.getGid(o.handle);
  if (s != nullptr) {
    name = s;
    if (name.size() > 40) name = name.substr(0, 37) + "...";
    name = " " + py::repr(py::str(name)).cast<std::string>();
  }
  return "<qmdb." + kind + " " + std::to_string(o.handle) + name + ">";
}

}  // namespace

Qmdb& live(const Object& object) {
  Qmdb& db = object.session->db();
  if (object.handle != 1 && !db.isObject(object.handle, QmdbNoObject)) {
    fail("object " + std::to_string(object.handle) + " is no longer in the database",
         ErrorKind::NoObject);
  }
  return db;
}

Qmdb& live(const Attr& attr) {
  Qmdb& db = live(Object{attr.session, attr.owner});
  for (long a = firstAttribute(db, attr.owner); a != 0; a = db.nextAttribute(a)) {
    if (a == attr.handle) return db;
  }
  fail("the attribute is no longer on its object", ErrorKind::NoObject);
}

py::object wrap(const SessionPtr& session, long handle) {
  if (handle == 0) return py::none();
  switch (handle == 1 ? QmdbNode : session->db().objectType(handle)) {
    case QmdbNode:
      return py::cast(Node{{session, handle}});
    case QmdbString:
      return py::cast(Text{{session, handle}});
    case QmdbEntity:
      return py::cast(Entity{{session, handle}});
    case QmdbPi:
      return py::cast(PI{{session, handle}});
    default:
      return py::cast(Object{session, handle});
  }
}

std::vector<std::pair<SessionPtr, long>> entriesOf(const SessionPtr& session, QmdbList& list) {
  std::vector<std::pair<SessionPtr, long>> entries;
  entries.reserve(static_cast<size_t>(list.length()));
  for (long h = list.first(); h != 0; h = list.next()) {
    const Qmdb* db = static_cast<const Qmdb*>(list.db());
    if (db == nullptr || db == &session->db()) {
      entries.emplace_back(session, h);
    } else if (SessionPtr other = Session::find(db)) {
      entries.emplace_back(std::move(other), h);
    }
  }
  return entries;
}

py::list wrapAll(const std::vector<std::pair<SessionPtr, long>>& entries) {
  py::list objects;
  for (const auto& [session, handle] : entries) {
    Locked lock(*session);
    objects.append(wrap(session, handle));
  }
  return objects;
}

ObjectClass bindObjects(py::module_& m) {
  py::class_<Object> object(m, "Object", R"(An object of a database: a node, text, entity or pi.

Objects are small values holding their database and handle; two objects are
equal (and hash alike) when they name the same object of the same database.
They do not keep the database open: after it is closed, using them raises
qmdb.ClosedError. An object that was dropped raises qmdb.NoObjectError.)");
  object
      .def_property_readonly(
          "handle", [](const Object& o) { return o.handle; },
          "The object's handle in its database (1 is the database root).")
      .def_property_readonly(
          "db", [](const Object& o) { return database(o.session); },
          "The database the object belongs to.")
      .def_property(
          "gid",
          [](const Object& o) {
            Locked lock(*o.session);
            return text(live(o).getGid(o.handle));
          },
          [](const Object& o, std::optional<std::string> gid) {
            Locked lock(*o.session);
            Qmdb& db = live(o);
            if (db.setGid(o.handle, cstr(gid)) == 0) fail(db, "cannot set the gid of this object");
            o.session->edited();
          },
          "The id: a node's name, an entity's name or a pi's target; None when it has none.")
      .def_property(
          "value",
          [](const Object& o) {
            Locked lock(*o.session);
            return text(live(o).getValue(o.handle));
          },
          [](const Object& o, std::optional<std::string> value) {
            Locked lock(*o.session);
            Qmdb& db = live(o);
            if (db.setValue(o.handle, cstr(value)) == 0)
              fail(db, "cannot set the value of this object");
            o.session->edited();
          },
          "The value: a text's characters, an entity's replacement text or a pi's data; "
          "None for a node.")
      .def_property_readonly(
          "parent",
          [](const Object& o) -> py::object {
            Locked lock(*o.session);
            Qmdb& db = live(o);
            if (o.handle == 1) return py::none();
            long parent = db.parent(o.handle);
            if (parent == 0 && db.isAttached(o.handle)) parent = 1;
            return wrap(o.session, parent);
          },
          "The node holding this object (the database root for top-level objects); None for "
          "the root and for detached objects.")
      .def_property_readonly(
          "next",
          [](const Object& o) {
            Locked lock(*o.session);
            return wrap(o.session, live(o).next(o.handle, QmdbSiblings));
          },
          "The next sibling, or None.")
      .def_property_readonly(
          "previous",
          [](const Object& o) {
            Locked lock(*o.session);
            return wrap(o.session, live(o).previous(o.handle, QmdbSiblings));
          },
          "The previous sibling, or None.")
      .def_property_readonly(
          "attached",
          [](const Object& o) {
            Locked lock(*o.session);
            return o.handle == 1 || live(o).isAttached(o.handle);
          },
          "Whether the object is in a child list (of a node or of the database root).")
      .def(
          "remove",
          [](const Object& o, bool alone) {
            Locked lock(*o.session);
            Qmdb& db = live(o);
            long done = alone ? db.removeObject(o.handle) : db.removeTree(o.handle);
            if (done == 0) fail(db, "cannot remove this object");
            o.session->edited();
          },
          py::arg("alone") = false,
          "Detaches the object with its subtree (alone=True: the object alone, its children "
          "taking its place). The object stays valid and can be put back with move().")
      .def(
          "drop",
          [](const Object& o, bool alone) {
            Locked lock(*o.session);
            Qmdb& db = live(o);
            bool done;
            {
              py::gil_scoped_release release;
              done = alone ? db.dropObject(o.handle) : db.dropTree(o.handle);
            }
            if (!done) fail(db, "cannot drop this object");
            o.session->edited();
          },
          py::arg("alone") = false,
          "Detaches the object with its subtree and deletes it for good (alone=True: the "
          "object alone). Using it afterwards raises NoObjectError.")
      .def(
          "move",
          [](const Object& o, const py::object& to, const py::object& after, bool first,
             bool alone) {
            std::optional<Object> toObject = asObject(to);
            std::optional<Object> afterObject = asObject(after);
            SessionPtr targetSession = targetOf(toObject, afterObject);
            if (!targetSession) fail("give `to` or `after`");
            Locked lock(*o.session, *targetSession);
            Place place = placeOf(toObject, afterObject, first);
            Qmdb& source = live(o);
            Qmdb& target = live(place.parent);
            if (place.after == o.handle && place.parent.session == o.session) {
              return wrap(o.session, o.handle);  // already there
            }
            long moved;
            {
              py::gil_scoped_release release;
              Qmdb* from = place.parent.session == o.session ? nullptr : &source;
              if (from == nullptr) {
                moved = alone ? target.moveObject(place.parent.handle, place.after, o.handle)
                              : target.moveTree(place.parent.handle, place.after, o.handle);
              } else {
                moved = alone ? target.moveObject(place.parent.handle, place.after, from, o.handle)
                              : target.moveTree(place.parent.handle, place.after, from, o.handle);
              }
            }
            if (moved == 0) fail(target, "cannot move this object there");
            o.session->edited();
            place.parent.session->edited();
            return wrap(place.parent.session, moved);
          },
          py::arg("to") = py::none(), py::kw_only(), py::arg("after") = py::none(),
          py::arg("first") = false, py::arg("alone") = false,
          "Moves the object with its subtree to the end of node `to`, to the front of it "
          "(first=True), or after the child `after`; alone=True moves the object alone. `to` "
          "may be a node of another database: the object then moves there and gets a new "
          "handle. Returns the moved object; a cyclic or otherwise refused move raises Error.")
      .def(
          "copy",
          [](const Object& o, const py::object& to, const py::object& after, bool first, bool deep,
             bool attributes, bool values, bool link, bool linkToSource) {
            std::optional<Object> toObject = asObject(to);
            std::optional<Object> afterObject = asObject(after);
            if (!toObject && !afterObject) {
              Locked lock(*o.session);
              Qmdb& db = live(o);
              long copied;
              {
                py::gil_scoped_release release;
                copied = deep ? db.treeCopy(o.handle, attributes, values, link, linkToSource)
                              : db.copy(o.handle, attributes, values, link, linkToSource);
              }
              if (copied == 0) fail(db, "cannot copy this object");
              return wrap(o.session, copied);
            }
            Locked lock(*o.session, *targetOf(toObject, afterObject));
            Place place = placeOf(toObject, afterObject, first);
            Qmdb& source = live(o);
            Qmdb& target = live(place.parent);
            long copied;
            {
              py::gil_scoped_release release;
              copied = deep
                           ? target.insertTreeCopy(place.parent.handle, place.after, &source,
                                                   o.handle, attributes, values, link, linkToSource)
                           : target.insertCopy(place.parent.handle, place.after, &source, o.handle,
                                               attributes, values, link, linkToSource);
            }
            if (copied == 0) fail(target, "cannot copy this object there");
            place.parent.session->edited();
            return wrap(place.parent.session, copied);
          },
          py::arg("to") = py::none(), py::kw_only(), py::arg("after") = py::none(),
          py::arg("first") = false, py::arg("deep") = true, py::arg("attributes") = true,
          py::arg("values") = true, py::arg("link") = false, py::arg("link_to_source") = false,
          "Copies the object with its subtree (deep=False: alone) to the end of node `to` "
          "(of this or another database), to its front (first=True) or after the child "
          "`after`; with neither, makes a detached copy in this database. attributes and "
          "values choose what is copied, link copies the source's link, link_to_source links "
          "the copy to the source. Returns the copy.")
      .def_property(
          "link",
          [](const Object& o) -> py::object {
            Locked lock(*o.session);
            Qmdb& db = live(o);
            long target = db.getLinkedObject(o.handle);
            Qmdb* other = db.getLinkedDatabase(o.handle);
            if (target == 0 || other == nullptr) return py::none();
            if (other == &db) return wrap(o.session, target);
            SessionPtr session = Session::find(other);
            if (!session) return py::none();
            Locked otherLock(*session);
            // The root is no stored object, so isObject does not know it.
            if (target != 1 && !session->db().isObject(target, QmdbNoObject)) return py::none();
            return wrap(session, target);
          },
          [](const Object& o, const py::object& target) {
            std::optional<Object> to = asObject(target);
            if (!to) {
              Locked lock(*o.session);
              Qmdb& db = live(o);
              if (db.linkToObject(o.handle, nullptr, 0) == 0) fail(db, "cannot unlink this object");
              return;
            }
            Locked lock(*o.session, *to->session);
            Qmdb& db = live(o);
            Qmdb& other = live(*to);
            if (db.linkToObject(o.handle, &other, to->handle) == 0) {
              fail(db, "cannot link this object");
            }
            o.session->edited();
          },
          "The object this one is linked to (in this or another open database), or None. "
          "Assign an object to link, None to unlink.")
      .def(
          "_attr_names",
          [](const Object& o) {
            return attributeList(o, [](Qmdb& db, long a) { return text(db.attrName(a)); });
          },
          "The attribute names in document order.")
      .def(
          "_attr_items",
          [](const Object& o) {
            return attributeList(o, [](Qmdb& db, long a) {
              return py::make_tuple(text(db.attrName(a)), text(db.attrValue(a)));
            });
          },
          "The (name, value) pairs of the attributes in document order.")
      .def(
          "_attr_get",
          [](const Object& o, const std::string& name) {
            Locked lock(*o.session);
            Qmdb& db = live(o);
            long a = findAttribute(db, o.handle, name);
            if (a == 0) throw py::key_error(name);
            return text(db.attrValue(a));
          },
          "The value of the attribute `name`; KeyError when there is none.")
      .def(
          "_attr_set",
          [](const Object& o, const std::string& name, const std::optional<std::string>& value) {
            Locked lock(*o.session);
            Qmdb& db = live(o);
            long a = findAttribute(db, o.handle, name);
            long done = a != 0 ? db.setAttrValue(a, cstr(value))
                               : db.addAttribute(o.handle, cstr(name), cstr(value),
                                                 static_cast<QmdbAttributeType>(1),
                                                 static_cast<QmdbAttributeClass>(1));
            if (done == 0) fail(db, "cannot set the attribute " + name);
            o.session->edited();
          },
          "Sets the attribute `name` (a new one goes at the end, with type and class code 1).")
      .def(
          "_attr_del",
          [](const Object& o, const std::string& name) {
            Locked lock(*o.session);
            Qmdb& db = live(o);
            long a = findAttribute(db, o.handle, name);
            if (a == 0) throw py::key_error(name);
            if (!db.dropAttribute(o.handle, a)) fail(db, "cannot delete the attribute " + name);
            o.session->edited();
          },
          "Deletes the attribute `name`; KeyError when there is none.")
      .def("__eq__",
           [](const Object& a, const py::object& b) {
             if (!py::isinstance<Object>(b)) return false;
             const Object& other = b.cast<const Object&>();
             return a.session == other.session && a.handle == other.handle;
           })
      .def("__ne__",
           [](const Object& a, const py::object& b) {
             if (!py::isinstance<Object>(b)) return true;
             const Object& other = b.cast<const Object&>();
             return a.session != other.session || a.handle != other.handle;
           })
      .def("__hash__",
           [](const Object& o) {
             return std::hash<const void*>()(o.session.get()) * 31 + std::hash<long>()(o.handle);
           })
      .def("__repr__", &describe);

  py::class_<Node, Object>(m, "Node", R"(An element: a gid (its name), attributes and children.

len(node) is the number of children, node.children iterates over them, and
iterating over the node itself visits everything below it in document order.)")
      .def(
          "append",
          [](const Node& o, const std::string& gid, const py::object& after) {
            return addChild(o, after, "a node", [&](Qmdb& db, long placeAfter) {
              return db.insertNode(o.handle, placeAfter, cstr(gid));
            });
          },
          py::arg("gid"), py::kw_only(), py::arg("after") = py::none(),
          "Adds a new node named `gid` as the last child (or after the child `after`); "
          "returns it.")
      .def(
          "append_text",
          [](const Node& o, const std::string& value, const py::object& after) {
            return addChild(o, after, "a text", [&](Qmdb& db, long placeAfter) {
              return db.insertString(o.handle, placeAfter, cstr(value));
            });
          },
          py::arg("text"), py::kw_only(), py::arg("after") = py::none(),
          "Adds a new text as the last child (or after the child `after`); returns it.")
      .def(
          "append_pi",
          [](const Node& o, const std::string& target, const std::optional<std::string>& data,
             const py::object& after) {
            return addChild(o, after, "a pi", [&](Qmdb& db, long placeAfter) {
              return db.insertPi(o.handle, placeAfter, cstr(target), cstr(data));
            });
          },
          py::arg("target"), py::arg("data") = py::none(), py::kw_only(),
          py::arg("after") = py::none(),
          "Adds a new processing instruction as the last child (or after `after`); returns it.")
      .def(
          "append_entity",
          [](const Node& o, const std::string& name, const std::optional<std::string>& value,
             long type, const py::object& after) {
            return addChild(o, after, "an entity", [&](Qmdb& db, long placeAfter) {
              return db.insertEntity(o.handle, placeAfter, cstr(name), cstr(value),
                                     static_cast<QmdbEntityType>(type));
            });
          },
          py::arg("name"), py::arg("value") = py::none(), py::arg("type") = 1, py::kw_only(),
          py::arg("after") = py::none(),
          "Adds a new entity (type: a non-zero entity type code) as the last child (or after "
          "`after`); returns it.")
      .def("__len__",
           [](const Node& o) {
             Locked lock(*o.session);
             return live(o).count(o.handle, QmdbSiblings);
           })
      .def("__bool__", [](const Node&) { return true; });

  py::class_<Text, Object>(m, "Text", "Character data; its characters are its value.")
      .def("__str__", [](const Text& o) {
        Locked lock(*o.session);
        return text(live(o).getValue(o.handle));
      });

  py::class_<Entity, Object>(m, "Entity", R"(An entity reference: gid (the entity's name), value
(its replacement text, None when unresolved), notation and type.)")
      .def_property(
          "notation",
          [](const Entity& o) {
            Locked lock(*o.session);
            return text(live(o).getNotation(o.handle));
          },
          [](const Entity& o, const std::optional<std::string>& notation) {
            Locked lock(*o.session);
            Qmdb& db = live(o);
            if (db.setNotation(o.handle, cstr(notation)) == 0) fail(db, "cannot set the notation");
            o.session->edited();
          },
          "The notation of an unparsed entity, or None.")
      .def_property_readonly(
          "type",
          [](const Entity& o) {
            Locked lock(*o.session);
            return static_cast<long>(live(o).entityType(o.handle));
          },
          "The entity type code.");

  py::class_<PI, Object>(m, "PI", R"(A processing instruction: gid (its target) and value (its
data). Comments are pis with the target "#comment".)");

  py::class_<Attr>(m, "Attr", "An attribute found by an XPath expression.")
      .def_property_readonly(
          "name",
          [](const Attr& a) {
            Locked lock(*a.session);
            return text(live(a).attrName(a.handle));
          },
          "The attribute's name.")
      .def_property_readonly(
          "value",
          [](const Attr& a) {
            Locked lock(*a.session);
            return text(live(a).attrValue(a.handle));
          },
          "The attribute's value.")
      .def_property_readonly(
          "parent",
          [](const Attr& a) {
            Locked lock(*a.session);
            live(a);
            return wrap(a.session, a.owner);
          },
          "The object the attribute belongs to.")
      .def("__eq__",
           [](const Attr& a, const py::object& b) {
             if (!py::isinstance<Attr>(b)) return false;
             const Attr& other = b.cast<const Attr&>();
             return a.session == other.session && a.handle == other.handle;
           })
      .def("__hash__",
           [](const Attr& a) {
             return std::hash<const void*>()(a.session.get()) * 31 + std::hash<long>()(a.handle);
           })
      .def("__str__",
           [](const Attr& a) {
             Locked lock(*a.session);
             return text(live(a).attrValue(a.handle));
           })
      .def("__repr__", [](const Attr& a) {
        if (a.session->closed()) return std::string("<qmdb.Attr (closed)>");
        Locked lock(*a.session);
        try {
          return "<qmdb.Attr " + py::repr(text(live(a).attrName(a.handle))).cast<std::string>() +
                 ">";
        } catch (const Failure&) {
          return std::string("<qmdb.Attr (gone)>");
        }
      });
  return object;
}

}  // namespace qmdbpy
