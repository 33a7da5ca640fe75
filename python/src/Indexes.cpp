// The primitives behind qmdb.Indexes and qmdb.Index (python/qmdb/_mappings.py):
// the catalogue of named indexes, storing objects under keys, and collecting
// them back by key or key range, optionally pulling them out. Lookups run
// without the GIL, since a range may cover a whole index.
#include "Objects.h"

#include <pybind11/stl.h>

namespace qmdbpy {

namespace {

long indexNamed(Qmdb& db, const std::string& name) {
  long index = db.index(cstr(name));
  if (index == 0) throw py::key_error(name);
  return index;
}

// Collects the entries of key `from` (when `to` is None) or of the range from
// `from` (None: the first key) up to the keys beginning with `to` ("" : the last).
py::list collect(const Database& d, const std::string& name, const std::optional<std::string>& from,
                 const std::optional<std::string>& to, bool pull) {
  std::vector<std::pair<SessionPtr, long>> entries;
  {
    Locked lock(*d.session);
    Qmdb& db = d.session->db();
    long index = indexNamed(db, name);
    if (pull && !db.isUpdatable()) fail("the database is read-only");
    // The library takes the keys as char*, though it does not change them.
    char* fromArg = const_cast<char*>(cstr(from));
    char* toArg = const_cast<char*>(cstr(to));
    QmdbList list;
    {
      py::gil_scoped_release release;
      if (pull) {
        db.pullIndex(&list, index, fromArg, toArg);
      } else {
        db.getIndex(&list, index, fromArg, toArg);
      }
    }
    if (pull) d.session->edited();
    entries = entriesOf(d.session, list);
  }
  return wrapAll(entries);
}

}  // namespace

void bindIndexes(DatabaseClass& database) {
  database
      .def(
          "_index_names",
          [](const Database& d) {
            Locked lock(*d.session);
            Qmdb& db = d.session->db();
            py::list names;
            for (long i = db.index(nullptr); i != 0; i = db.nextIndex(i)) {
              names.append(text(db.indexName(i)));
            }
            return names;
          },
          "The names of the indexes in catalogue order.")
      .def(
          "_index_exists",
          [](const Database& d, const std::string& name) {
            Locked lock(*d.session);
            return d.session->db().index(cstr(name)) != 0;
          },
          "Whether an index of that name exists.")
      .def(
          "_index_create",
          [](const Database& d, const std::string& name) {
            Locked lock(*d.session);
            Qmdb& db = d.session->db();
            if (db.index(cstr(name)) != 0) fail("an index named " + name + " exists already");
            if (db.addIndex(cstr(name)) == 0) fail(db, "cannot make the index " + name);
            d.session->edited();
          },
          "Makes a new empty index; Error when the name is taken or the database read-only.")
      .def(
          "_index_drop",
          [](const Database& d, const std::string& name) {
            Locked lock(*d.session);
            Qmdb& db = d.session->db();
            indexNamed(db, name);
            if (!db.dropIndex(cstr(name))) fail(db, "cannot drop the index " + name);
            d.session->edited();
          },
          "Drops the index; KeyError when there is none.")
      .def(
          "_index_rename",
          [](const Database& d, const std::string& name, const std::string& to) {
            Locked lock(*d.session);
            Qmdb& db = d.session->db();
            if (db.setIndexName(indexNamed(db, name), cstr(to)) == 0) {
              fail(db, "cannot rename the index " + name + " to " + to);
            }
          },
          "Renames the index; Error when the new name is taken.")
      .def(
          "_index_keys",
          [](const Database& d, const std::string& name) {
            Locked lock(*d.session);
            Qmdb& db = d.session->db();
            long index = indexNamed(db, name);
            QmdbStringList keys;
            {
              py::gil_scoped_release release;
              db.indexKeys(&keys, index);
            }
            py::list out;
            for (char* k = keys.first(); k != nullptr; k = keys.next()) out.append(py::str(k));
            return out;
          },
          "The keys that have entries, in ascending byte order.")
      .def(
          "_index_put",
          [](const Database& d, const std::string& name, const Object& o,
             const std::optional<std::string>& key, bool unique) {
            Locked lock(*d.session, *o.session);
            Qmdb& db = d.session->db();
            long index = indexNamed(db, name);
            Qmdb& owner = live(o);
            if (db.putIndex(index, &owner, o.handle, cstr(key), unique) == 0) {
              fail(db, "cannot put the object into the index " + name);
            }
            d.session->edited();
          },
          "Stores the object under `key` (None: its gid or text).")
      .def(
          "_index_get",
          [](const Database& d, const std::string& name, const std::optional<std::string>& from,
             const std::optional<std::string>& to) { return collect(d, name, from, to, false); },
          "The objects under key `from` (to None) or the keys from `from` up to those "
          "beginning with `to`.")
      .def(
          "_index_pull",
          [](const Database& d, const std::string& name, const std::optional<std::string>& from,
             const std::optional<std::string>& to) { return collect(d, name, from, to, true); },
          "As _index_get, taking the entries out of the index.");
}

}  // namespace qmdbpy
