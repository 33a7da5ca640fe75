// The Qmdb object itself: construction and destruction, reference counting,
// the describing methods, saving and clearing, hooks, coding and error state.
// The methods of the document, edit and index families live beside this file.
#include <cstdlib>
#include <new>

#include "Qmdb/Qmdb"
#include "Qmdb/handle/SaveCleanup.h"
#include "Qmdb/handle/DatabaseRegistry.h"
#include "Qmdb/handle/Internal.h"
#include "Qmdb/store/Allocation.h"
#include "Qmdb/store/DatabaseFile.h"
#include "Qmdb/store/Messages.h"
#include "Qmencoding/QmCEncoding.h"
#include "Qmencoding/QmCMessage.h"

using qmdb::handle::Internal;
namespace store = qmdb::store;

namespace {

char storeMode(const char* name, QmdbFileMode mode) {
  switch (mode) {
    case QmdbFileRead:
      return 'r';
    case QmdbFileUpdate:
      return 'u';
    case QmdbFileWrite:
      return 'w';
    default:
      return name != nullptr ? 'r' : 'w';
  }
}

bool assertEncoding(const QmCEncoding* encoding) {
  if (encoding != nullptr) return true;
  QmCAssertReport(nullptr, store::kBug, "ASSERTION", "mp_Encoding != NULL", __FILE__, __LINE__,
                  __DATE__ " " __TIME__);
  return false;
}

// Runs a step of the store that allocates on its way (open, save, clear,
// close). Running out of memory there ends the step: the database is unusable
// from then on, and the problem is reported when `what` names the step (an
// open only sets the failed flag). False when memory ran out.
template <typename Step>
bool withoutThrowing(store::Store& s, const char* what, Step step) noexcept {
  try {
    step();
    return true;
  } catch (const std::bad_alloc&) {
    s.failed = true;
    if (what != nullptr) {
      store::report(s, store::kFatalError, "MEMORYOVERFLOW", store::kMsgMemoryOverflow, what);
    }
    return false;
  } catch (...) {
    s.failed = true;  // nothing else is thrown below; should it be, it stops here too
    return false;
  }
}

// getHook's answer when there is no store at all.
thread_local void* noStoreHook = nullptr;

char kApiVersion[] = "3.2d";
char kCompileDate[] = __DATE__;

}  // namespace

Qmdb::Qmdb(const char* name, QmdbFileMode mode, long pages, long pageSize)
    : store_(nullptr), mp_Encoding(nullptr), refCount_(0), freeAttributes_(0), id_(0) {
  mp_Encoding = new (std::nothrow) QmCEncoding;
  store_ = new (std::nothrow) store::Store;
  if (store_ != nullptr) {
    store_->clearLinks = &qmdb::handle::clearLinksAtSave;
    withoutThrowing(*store_, nullptr,
                    [&] { store::open(*store_, name, storeMode(name, mode), pages, pageSize); });
  }
  id_ = qmdb::handle::registerDatabase(this);
  refCount_ = 0;
  addRef();
}

Qmdb::~Qmdb() {
  qmdb::handle::unregisterDatabase(id_);
  if (store_ != nullptr) {
    withoutThrowing(*store_, "closing", [&] { store::close(*store_); });
    delete store_;
  }
  delete mp_Encoding;
}

bool Qmdb::isValid() const {
  return Internal::usable(*this) != nullptr;
}

bool Qmdb::hasChanged() {
  if (store_ == nullptr) return false;
  bool changed = store_->changed;
  store_->changed = false;
  return changed;
}

bool Qmdb::setUpdatable(bool updatable) {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr) return false;
  bool done = true;
  bool completed = withoutThrowing(*s, "saving", [&] {
    if (!updatable && !s->readOnly) {
      store::makeReadOnly(*s);
    } else if (updatable && s->readOnly) {
      done = store::makeUpdatable(*s);
    }
  });
  return completed && done;
}

bool Qmdb::isUpdatable() const {
  return Internal::writable(*this) != nullptr;
}

long Qmdb::getSize() const {
  store::Store* s = Internal::usable(*this);
  return s != nullptr ? s->heapTop : 0;
}

char* Qmdb::getName() const {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr || !s->hasFileName) return nullptr;
  return s->fileName.data();
}

long Qmdb::getPageSize() const {
  store::Store* s = Internal::usable(*this);
  return s != nullptr ? s->pageSize : 0;
}

bool Qmdb::setOdbcInfo(void* info, char* a, char* b) {
  if (Internal::usable(*this) == nullptr) return false;
  static char odbc[] = "odbc";
  addHook(info, odbc, a, b);
  return true;
}

void* Qmdb::getOdbcInfo() const {
  if (Internal::usable(*this) == nullptr) return nullptr;
  static char odbc[] = "odbc";
  return getHook(odbc);
}

bool Qmdb::clear() {
  store::Store* s = Internal::writable(*this);
  if (s == nullptr) return false;
  bool cleared = false;
  withoutThrowing(*s, "clearing", [&] { cleared = store::clear(*s); });
  if (cleared) freeAttributes_ = 0;
  return cleared;
}

bool Qmdb::flush(bool shrink) {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr) return false;
  return withoutThrowing(*s, "saving", [&] {
    if (shrink) store::shrink(*s);
    if (!s->readOnly) store::save(*s);
  });
}

void Qmdb::addHook(void* data, char* name, char* library, char* procedure) {
  if (store_ != nullptr) store_->hooks.add(data, name, library, procedure);
}

void*& Qmdb::getHook(char* name) const {
  if (store_ != nullptr) return store_->hooks.get(name);
  noStoreHook = nullptr;
  return noStoreHook;
}

void Qmdb::deleteHook(char* name) {
  if (store_ != nullptr) store_->hooks.destroy(name);
}

void* Qmdb::removeHook(char* name) {
  return store_ != nullptr ? store_->hooks.take(name) : nullptr;
}

char** Qmdb::namesHooked() const {
  if (store_ != nullptr) return store_->hooks.names();
  return static_cast<char**>(store::allocateZeroed(sizeof(char*)));
}

void Qmdb::addRef() {
  ++refCount_;
}

void Qmdb::release() {
  if (--refCount_ < 1) delete this;
}

long Qmdb::getRef() {
  return refCount_;
}

bool Qmdb::pushCoding(const char* name) const {
  if (!assertEncoding(mp_Encoding)) return false;
  return mp_Encoding->PushCodingSystem(name);
}

bool Qmdb::pushTransparentCoding() const {
  if (!assertEncoding(mp_Encoding)) return false;
  return mp_Encoding->PushTransparentCodingSystem();
}

bool Qmdb::popCoding() const {
  if (!assertEncoding(mp_Encoding)) return false;
  mp_Encoding->PopCodingSystem();
  return true;
}

void Qmdb::traceTo(FILE* stream) {
  if (store_ != nullptr) store_->traceStream = stream;
}

void Qmdb::traceOn(int level) {
  if (store_ != nullptr) store_->traceLevel = level;
}

void Qmdb::traceOff() {
  if (store_ != nullptr) store_->traceLevel = 0;
}

void Qmdb::errorTo(FILE* stream) {
  if (store_ != nullptr) store_->errorStream = stream;
}

char* Qmdb::errorCode() const {
  if (store_ == nullptr || !store_->hasError) return nullptr;
  return store_->errorCode.data();
}

char* Qmdb::errorMessage() const {
  if (store_ == nullptr || !store_->hasError) return nullptr;
  return store_->errorMessage.data();
}

bool Qmdb::clearError() {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr) return false;
  s->hasError = false;
  s->errorCode.clear();
  s->errorMessage.clear();
  return true;
}

char* Qmdb::apiVersion() {
  return kApiVersion;
}

char* Qmdb::compileDate() {
  return kCompileDate;
}
