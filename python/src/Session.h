// The native side of the Python package: one Session per open database.
//
// A Session owns the Qmdb object and a mutex. Every call into the database
// holds that mutex, so that threads which run while a long operation has given
// up the GIL cannot enter the same database at once; no thread waits for the
// mutex while it holds the GIL, so the two cannot deadlock. A thread that holds
// the mutex and calls back into Python (reading or writing a Python file
// object) gets an Error if the callback uses the same database, instead of
// waiting for itself. Closing the session deletes the database; every object
// of it that Python still holds then refuses its operations with
// qmdb.ClosedError instead of touching freed memory.
//
// Failures leave the native code as a C++ Failure, which the module's translator
// turns into the matching Python exception; nothing else is thrown.
#ifndef QMDB_PYTHON_SESSION_H
#define QMDB_PYTHON_SESSION_H

#include <Qmdb/Qmdb>
#include <pybind11/pybind11.h>

#include <memory>
#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace qmdbpy {

namespace py = pybind11;

/// The Python exception classes of the package, by name in qmdb._errors.
enum class ErrorKind { Error, Locked, Closed, NoObject, Xml, XPath };

/// A failure on its way to Python; converted by the module's translator.
struct Failure {
  ErrorKind kind;
  std::string message;
  std::string code;  // the database's error code, empty when it gave none
  long offset = -1;  // the fault's offset in an XPath expression
};

/// One open database shared by its Database object and every value object of it.
class Session {
 public:
  /// Takes ownership of an opened (valid) database.
  explicit Session(Qmdb* db);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// The database; throws Failure(Closed) once closed. Call with the lock held.
  Qmdb& db() const;
  /// Whether close() has run.
  bool closed() const { return db_ == nullptr; }
  /// Saves a named updatable database, deletes it and frees its cache; safe twice.
  void close();
  /// Counts edits made through Python, so that walks notice them cheaply.
  void edited() { ++edits_; }
  unsigned long edits() const { return edits_; }

  /// The session of an open database, or null when Python did not open it.
  static std::shared_ptr<Session> find(const Qmdb* db);
  /// Registers a new session under its database.
  static void remember(const std::shared_ptr<Session>& session);

  std::mutex mutex;
  /// The thread holding `mutex`, or no thread.
  std::atomic<std::thread::id> holder{};

 private:
  Qmdb* db_;
  unsigned long edits_ = 0;
};

using SessionPtr = std::shared_ptr<Session>;

/// Holds a session's mutex for one call. Waits for it without the GIL when
/// another thread has it, so that a long operation elsewhere is not stalled.
class Locked {
 public:
  explicit Locked(Session& session);
  /// Both sessions, in an order that cannot deadlock (once when they are one).
  Locked(Session& a, Session& b);
  ~Locked();
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

 private:
  Session* first_;
  Session* second_;
};

/// Throws a Failure of `kind` with `what`, and the database's error code and
/// message when the problem made it unusable ("LOCKED" makes it a Locked failure).
[[noreturn]] void fail(const Qmdb& db, const std::string& what, ErrorKind kind = ErrorKind::Error);
/// Throws a Failure of `kind` with `what` alone.
[[noreturn]] void fail(const std::string& what, ErrorKind kind = ErrorKind::Error);

/// Sets the Python exception for a failure (the module's translator does it for
/// calls through pybind11). Needs the GIL.
void raise(const Failure& failure);

/// A text of the database as a Python str (None for null). Call with the lock held.
py::object text(const char* s);

/// A str from Python as the C string the library takes (None: null). Raises
/// ValueError for a str holding a NUL character, which would cut it short.
const char* cstr(const std::string& s);
const char* cstr(const std::optional<std::string>& s);

}  // namespace qmdbpy

#endif
