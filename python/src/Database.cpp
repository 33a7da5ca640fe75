// Opening, saving and closing databases, and path search. Opening and saving
// run without the GIL: both may read or write the whole file.
#include "Objects.h"

#include <pybind11/stl.h>

namespace qmdbpy {

namespace {

QmdbFileMode modeOf(const std::string& mode) {
  if (mode == "r") return QmdbFileRead;
  if (mode == "u") return QmdbFileUpdate;
  if (mode == "w") return QmdbFileWrite;
  throw py::value_error("mode must be \"r\", \"u\" or \"w\", not \"" + mode + "\"");
}

long positive(const std::optional<long>& value, const char* what) {
  if (!value) return 0;
  if (*value <= 0) throw py::value_error(std::string(what) + " must be positive");
  return *value;
}

// Opens a database (a nameless working store when path is null).
Database openDatabase(const char* path, QmdbFileMode mode, long pages, long pageSize) {
  std::unique_ptr<Qmdb> db;
  {
    py::gil_scoped_release release;
    db = std::make_unique<Qmdb>(path, mode, pages, pageSize);
  }
  if (!db->isValid()) {
    std::string what = path != nullptr ? std::string("cannot open ") + path
                                       : std::string("cannot make a database in memory");
    fail(*db, what);  // the Qmdb is deleted on the way out
  }
  auto session = std::make_shared<Session>(db.release());
  Session::remember(session);
  return Database{session};
}

// Saves a named updatable database without the GIL; the failure, if it failed.
// Lock held.
std::optional<Failure> saveFailure(Qmdb& db) {
  bool saved;
  {
    py::gil_scoped_release release;
    db.clearError();
    saved = db.flush(false);
  }
  if (saved && db.errorCode() == nullptr) return std::nullopt;
  std::string message = db.errorMessage() != nullptr ? db.errorMessage() : "unusable";
  return Failure{ErrorKind::Error, "cannot save: " + message,
                 db.errorCode() != nullptr ? db.errorCode() : ""};
}

void save(const Database& d) {
  Locked lock(*d.session);
  if (std::optional<Failure> failure = saveFailure(d.session->db())) throw *failure;
}

// Closing saves first, so that a failed save is raised rather than lost in the
// library's own save on closing; the database is closed either way.
void close(const Database& d) {
  if (d.session->closed()) return;
  Locked lock(*d.session);
  Qmdb& db = d.session->db();
  std::optional<Failure> failure;
  if (db.isUpdatable()) failure = saveFailure(db);
  {
    py::gil_scoped_release release;
    d.session->close();
  }
  if (failure) throw *failure;
}

py::list find(const SessionPtr& session, long start, const std::string& path, bool caseSensitive) {
  std::vector<std::pair<SessionPtr, long>> entries;
  {
    Locked lock(*session);
    Qmdb& db = live(Object{session, start});
    const char* steps = cstr(path);
    QmdbList list;
    {
      py::gil_scoped_release release;
      db.findPath(&list, steps, start, caseSensitive);
    }
    entries = entriesOf(session, list);
  }
  return wrapAll(entries);
}

constexpr const char* kFindDoc =
    "Every object that `path` leads to: slash-separated steps of names, '*' (any child), "
    "'.', '..' and '...' (the object and everything below it). Names are compared exactly, "
    "or ignoring ASCII case with case_sensitive=False. Returns a list of objects.";

}  // namespace

py::object database(const SessionPtr& session) {
  return py::cast(Database{session});
}

DatabaseClass bindDatabase(py::module_& m, ObjectClass& object) {
  m.def(
      "_open",
      [](const std::string& path, const std::string& mode, std::optional<long> pages,
         std::optional<long> pageSize) {
        return openDatabase(cstr(path), modeOf(mode), positive(pages, "pages"),
                            positive(pageSize, "page_size"));
      },
      py::arg("path"), py::arg("mode") = "r", py::arg("pages") = py::none(),
      py::arg("page_size") = py::none());
  m.def(
      "_memory",
      [](std::optional<long> pages, std::optional<long> pageSize) {
        return openDatabase(nullptr, QmdbFileDefault, positive(pages, "pages"),
                            positive(pageSize, "page_size"));
      },
      py::arg("pages") = py::none(), py::arg("page_size") = py::none());

  DatabaseClass database(m, "Database", R"(An open database.

Use it as a context manager: `with qmdb.open("a.qmb", "u") as db: ...` closes it
at the end of the block, saving a named updatable database. Iterating over a
database visits every object of its document in document order.)");
  database
      .def("save", &save,
           "Saves a named updatable database (all or nothing); raises Error when the save "
           "fails. A nameless or read-only database has nothing to save.")
      .def("close", &close,
           "Closes the database, saving a named updatable one first; raises Error when that "
           "save fails (the database is closed all the same). Safe to call twice; its objects "
           "raise ClosedError afterwards.")
      .def_property_readonly(
          "closed", [](const Database& d) { return d.session->closed(); },
          "Whether the database is closed.")
      .def("__enter__", [](py::object self) { return self; })
      .def(
          "__exit__",
          [](const Database& d, const py::object&, const py::object&, const py::object&) {
            close(d);
            return false;
          },
          "Closes the database, saving a named updatable one, also when the block ends with an "
          "exception (the library saves whenever it closes a database). A failed save raises "
          "Error.")
      .def_property_readonly(
          "path",
          [](const Database& d) {
            Locked lock(*d.session);
            return text(d.session->db().getName());
          },
          "The file name; None for a database in memory that has not spilled to a file.")
      .def_property_readonly(
          "page_size",
          [](const Database& d) {
            Locked lock(*d.session);
            return d.session->db().getPageSize();
          },
          "The page size in bytes.")
      .def_property_readonly(
          "size",
          [](const Database& d) {
            Locked lock(*d.session);
            return d.session->db().getSize();
          },
          "The bytes of heap in use.")
      .def_property(
          "updatable",
          [](const Database& d) {
            Locked lock(*d.session);
            return d.session->db().isUpdatable();
          },
          [](const Database& d, bool updatable) {
            Locked lock(*d.session);
            Qmdb& db = d.session->db();
            bool done;
            {
              py::gil_scoped_release release;
              done = db.setUpdatable(updatable);
            }
            if (!done) fail(db, updatable ? "cannot reopen for writing" : "cannot save");
          },
          "Whether the database can be changed. Setting False saves it and makes it "
          "read-only; True reopens it for writing.")
      .def_property_readonly(
          "root", [](const Database& d) { return wrap(d.session, 1); },
          "The database root: the node whose children are the top-level objects.")
      .def(
          "node",
          [](const Database& d, const std::optional<std::string>& gid) {
            Locked lock(*d.session);
            Qmdb& db = d.session->db();
            long made = db.node(cstr(gid));
            if (made == 0) fail(db, "cannot make a node");
            return wrap(d.session, made);
          },
          py::arg("gid") = py::none(), "A new detached node (put it in place with move()).")
      .def(
          "find",
          [](const Database& d, const std::string& path, bool caseSensitive) {
            return find(d.session, 1, path, caseSensitive);
          },
          py::arg("path"), py::kw_only(), py::arg("case_sensitive") = true, kFindDoc)
      .def("__eq__",
           [](const Database& a, const py::object& b) {
             return py::isinstance<Database>(b) && b.cast<const Database&>().session == a.session;
           })
      .def("__hash__", [](const Database& d) { return std::hash<const void*>()(d.session.get()); })
      .def("__repr__", [](const Database& d) {
        if (d.session->closed()) return std::string("<qmdb.Database (closed)>");
        Locked lock(*d.session);
        const char* name = d.session->db().getName();
        return std::string("<qmdb.Database ") + (name != nullptr ? name : "in memory") + ">";
      });

  object.def(
      "find",
      [](const Object& o, const std::string& path, bool caseSensitive) {
        return find(o.session, o.handle, path, caseSensitive);
      },
      py::arg("path"), py::kw_only(), py::arg("case_sensitive") = true, kFindDoc);
  return database;
}

}  // namespace qmdbpy
