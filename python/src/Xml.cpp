// XML in and out through QmdbXml: from and to files by name (the whole load or
// save without the GIL) or Python file objects, which are read and written in
// chunks through a stream buffer that takes the GIL for each chunk only.
#include "Objects.h"

#include <Qmdb/QmdbXml>

#include <istream>
#include <ostream>
#include <streambuf>

namespace qmdbpy {

namespace {

constexpr size_t kChunk = 1 << 16;

// Reads a Python binary file's read(n) results. A Python exception raised by
// read() ends the input and is raised again once the load is over.
class PythonReader : public std::streambuf {
 public:
  explicit PythonReader(py::object file) : read_(file.attr("read")) {}
  void raisePending() {
    if (pending_) std::rethrow_exception(pending_);
  }

 protected:
  int_type underflow() override {
    if (gptr() < egptr()) return traits_type::to_int_type(*gptr());
    if (pending_ || done_) return traits_type::eof();
    py::gil_scoped_acquire acquire;
    try {
      py::object chunk = read_(kChunk);
      if (py::isinstance<py::str>(chunk)) chunk = chunk.attr("encode")("utf-8");
      buffer_ = chunk.cast<std::string>();
    } catch (...) {
      pending_ = std::current_exception();
      return traits_type::eof();
    }
    if (buffer_.empty()) {
      done_ = true;
      return traits_type::eof();
    }
    setg(buffer_.data(), buffer_.data(), buffer_.data() + buffer_.size());
    return traits_type::to_int_type(*gptr());
  }

 private:
  py::object read_;
  std::string buffer_;
  std::exception_ptr pending_;
  bool done_ = false;
};

// Hands what is written to a Python file's write(bytes) in chunks.
class PythonWriter : public std::streambuf {
 public:
  explicit PythonWriter(py::object file) : write_(file.attr("write")), buffer_(kChunk) {
    setp(buffer_.data(), buffer_.data() + buffer_.size());
  }
  void raisePending() {
    if (pending_) std::rethrow_exception(pending_);
  }

 protected:
  int_type overflow(int_type c) override {
    if (!drain()) return traits_type::eof();
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
      *pptr() = traits_type::to_char_type(c);
      pbump(1);
    }
    return traits_type::not_eof(c);
  }
  int sync() override { return drain() ? 0 : -1; }

 private:
  bool drain() {
    if (pending_) return false;
    size_t size = static_cast<size_t>(pptr() - pbase());
    if (size == 0) return true;
    py::gil_scoped_acquire acquire;
    try {
      write_(py::bytes(pbase(), size));
    } catch (...) {
      pending_ = std::current_exception();
      return false;
    }
    setp(buffer_.data(), buffer_.data() + buffer_.size());
    return true;
  }

  py::object write_;
  std::vector<char> buffer_;
  std::exception_ptr pending_;
};

QmdbXml::LoadOptions loadOptions(const py::dict& options) {
  QmdbXml::LoadOptions o;
  for (auto [key, value] : options) {
    std::string name = key.cast<std::string>();
    bool on = value.cast<bool>();
    if (name == "comments") {
      o.comments = on;
    } else if (name == "load_dtd") {
      o.loadDtd = on;
    } else if (name == "default_attributes") {
      o.defaultAttributes = on;
    } else if (name == "external_entities") {
      o.externalEntities = on;
    } else if (name == "unresolved_entity_is_error") {
      o.unresolvedEntityIsError = on;
    } else {
      throw py::type_error("unknown load option " + name);
    }
  }
  return o;
}

// The result's warnings, or an XmlError for a failed load or save.
py::list finish(const QmdbXml::Result& result) {
  if (!result.ok) throw Failure{ErrorKind::Xml, result.message, ""};
  py::list warnings;
  for (const std::string& w : result.warnings) warnings.append(py::str(w));
  return warnings;
}

// Runs `onPath` for a path (str) or `onStream` over a Python file object, both
// without the GIL; a Python exception the file object raised is raised again
// once the library is done with the stream.
template <class Buffer, class Stream, class OnPath, class OnStream>
QmdbXml::Result through(const py::object& where, OnPath onPath, OnStream onStream) {
  if (py::isinstance<py::str>(where)) {
    std::string path = where.cast<std::string>();
    cstr(path);  // a NUL would cut the name short
    py::gil_scoped_release release;
    return onPath(path);
  }
  Buffer buffer(where);
  Stream stream(&buffer);
  QmdbXml::Result result;
  {
    py::gil_scoped_release release;
    result = onStream(stream);
  }
  buffer.raisePending();
  return result;
}

py::list load(const Object& parent, const py::object& source, const std::string& name,
              const py::dict& options) {
  QmdbXml::LoadOptions o = loadOptions(options);
  Locked lock(*parent.session);
  Qmdb& db = live(parent);
  if (db.objectType(parent.handle) != QmdbNode) fail("XML is loaded under a node");
  QmdbXml::Result result = through<PythonReader, std::istream>(
      source,
      [&](const std::string& path) { return QmdbXml::loadFile(db, path, o, parent.handle); },
      [&](std::istream& in) { return QmdbXml::loadStream(db, in, name, o, parent.handle); });
  parent.session->edited();
  return finish(result);
}

py::list save(const Object& node, const py::object& target, const std::string& encoding,
              bool declaration) {
  QmdbXml::SaveOptions o;
  o.encoding = encoding;
  o.declaration = declaration;
  Locked lock(*node.session);
  Qmdb& db = live(node);
  QmdbXml::Result result = through<PythonWriter, std::ostream>(
      target, [&](const std::string& path) { return QmdbXml::saveFile(db, path, o, node.handle); },
      [&](std::ostream& out) {
        QmdbXml::Result r = QmdbXml::saveStream(db, out, o, node.handle);
        out.flush();
        return r;
      });
  return finish(result);
}

}  // namespace

void bindXml(py::module_& m, DatabaseClass&) {
  m.def("_load_xml", &load, py::arg("parent"), py::arg("source"), py::arg("name"),
        py::arg("options"),
        "Loads XML from a path (str) or a binary file as the content of `parent`; returns "
        "the warnings, raises XmlError.");
  m.def("_write_xml", &save, py::arg("node"), py::arg("target"), py::arg("encoding"),
        py::arg("declaration"),
        "Writes `node` (the root: the whole document) as XML to a path (str) or a binary "
        "file; raises XmlError.");
}

}  // namespace qmdbpy
