// Sessions, their registry, the per-call lock and failures (see Session.h).
#include "Session.h"

#include <map>

namespace qmdbpy {

namespace {

// Open sessions by database, so that a link or an index entry that names
// another database opened from Python comes back as an object of it.
std::mutex registryMutex;
std::map<const Qmdb*, std::weak_ptr<Session>>& registry() {
  static std::map<const Qmdb*, std::weak_ptr<Session>> sessions;
  return sessions;
}

void forget(const Qmdb* db) {
  std::lock_guard<std::mutex> guard(registryMutex);
  registry().erase(db);
}

}  // namespace

Session::Session(Qmdb* db) : db_(db) {}

Session::~Session() {
  close();
}

Qmdb& Session::db() const {
  if (db_ == nullptr) fail("the database is closed", ErrorKind::Closed);
  return *db_;
}

void Session::close() {
  if (db_ == nullptr) return;
  Qmdb* db = db_;
  db_ = nullptr;
  forget(db);
  delete db;  // saves a named updatable database
}

std::shared_ptr<Session> Session::find(const Qmdb* db) {
  std::lock_guard<std::mutex> guard(registryMutex);
  auto found = registry().find(db);
  return found == registry().end() ? nullptr : found->second.lock();
}

void Session::remember(const std::shared_ptr<Session>& session) {
  std::lock_guard<std::mutex> guard(registryMutex);
  registry()[session->db_] = session;
}

namespace {

void acquire(Session& session) {
  if (session.holder.load() == std::this_thread::get_id()) {
    fail("the database is busy with an operation that called back into Python");
  }
  if (!session.mutex.try_lock()) {
    py::gil_scoped_release release;
    session.mutex.lock();
  }
  session.holder = std::this_thread::get_id();
}

void release(Session& session) {
  session.holder = std::thread::id();
  session.mutex.unlock();
}

}  // namespace

Locked::Locked(Session& session) : first_(&session), second_(nullptr) {
  acquire(session);
}

Locked::Locked(Session& a, Session& b) : first_(&a), second_(nullptr) {
  if (&a == &b) {
    acquire(a);
    return;
  }
  // A fixed order between any two sessions rules out two threads each holding one.
  first_ = std::less<Session*>()(&a, &b) ? &a : &b;
  second_ = first_ == &a ? &b : &a;
  acquire(*first_);
  try {
    acquire(*second_);
  } catch (...) {
    release(*first_);
    throw;
  }
}

Locked::~Locked() {
  if (second_ != nullptr) release(*second_);
  release(*first_);
}

void fail(const Qmdb& db, const std::string& what, ErrorKind kind) {
  // A refusal leaves no error state; an older problem's code would mislead, so
  // the state is told only when it made the database unusable.
  if (db.isValid()) throw Failure{kind, what, ""};
  const char* code = db.errorCode();
  const char* message = db.errorMessage();
  if (code != nullptr && std::string(code) == "LOCKED") kind = ErrorKind::Locked;
  if (code != nullptr && message != nullptr) {
    throw Failure{kind, what + ": " + message, code};
  }
  throw Failure{kind, what, code != nullptr ? code : ""};
}

void fail(const std::string& what, ErrorKind kind) {
  throw Failure{kind, what, ""};
}

py::object text(const char* s) {
  if (s == nullptr) return py::none();
  return py::str(s);
}

const char* cstr(const std::string& s) {
  if (s.find('\0') != std::string::npos) throw py::value_error("a text holds a NUL character");
  return s.c_str();
}

const char* cstr(const std::optional<std::string>& s) {
  return s ? cstr(*s) : nullptr;
}

}  // namespace qmdbpy
