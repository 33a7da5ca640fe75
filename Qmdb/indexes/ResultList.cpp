// The result lists: doubly linked entries with one cursor, in the caller's
// memory. A QmdbStringList entry's value is the address of its own malloc'ed
// copy of its string. Invariants: count_ is the length of the chain; first_
// and last_ are both null or both set; current_ is null or in the chain; no
// entry of a QmdbList holds the value 0.
#include <cstdlib>
#include <cstring>

#include "Qmdb/Qmdb"
#include "Qmdb/store/Allocation.h"

QmdbList::QmdbList() : count_(0), first_(nullptr), last_(nullptr), current_(nullptr) {}

QmdbList::~QmdbList() {
  freeAll(false);
}

QmdbList::QmdbList(const QmdbList& other) : QmdbList() {
  *this = other;
}

QmdbList& QmdbList::operator=(const QmdbList& other) {
  if (this == &other) return *this;
  freeAll(false);
  // Out of memory the copy stops, so what was copied is still a prefix of other.
  for (Entry* e = other.first_; e != nullptr; e = e->next) {
    if (!link(last_, e->database, e->value)) break;
  }
  return *this;
}

bool QmdbList::link(Entry* after, void* db, long value) {
  Entry* entry = static_cast<Entry*>(qmdb::store::allocate(sizeof(Entry)));
  if (entry == nullptr) return false;
  entry->database = db;
  entry->value = value;
  entry->previous = after;
  entry->next = after != nullptr ? after->next : first_;
  if (entry->previous != nullptr) {
    entry->previous->next = entry;
  } else {
    first_ = entry;
  }
  if (entry->next != nullptr) {
    entry->next->previous = entry;
  } else {
    last_ = entry;
  }
  ++count_;
  return true;
}

long QmdbList::unlinkCurrent() {
  Entry* entry = current_;
  if (entry == nullptr) return 0;
  current_ = entry->next;
  if (entry->previous != nullptr) {
    entry->previous->next = entry->next;
  } else {
    first_ = entry->next;
  }
  if (entry->next != nullptr) {
    entry->next->previous = entry->previous;
  } else {
    last_ = entry->previous;
  }
  long value = entry->value;
  free(entry);
  --count_;
  return value;
}

void QmdbList::freeAll(bool ownsStrings) {
  for (Entry* e = first_; e != nullptr;) {
    Entry* next = e->next;
    if (ownsStrings) free(reinterpret_cast<char*>(e->value));
    free(e);
    e = next;
  }
  count_ = 0;
  first_ = last_ = current_ = nullptr;
}

long QmdbList::length() const {
  return count_;
}

void* QmdbList::db() {
  return current_ != nullptr ? current_->database : nullptr;
}

bool QmdbList::insert(long h) {
  return insert(nullptr, h);
}

bool QmdbList::insert(void* db, long h) {
  return h != 0 && link(current_, db, h);
}

bool QmdbList::add(long h) {
  return add(nullptr, h);
}

bool QmdbList::add(void* db, long h) {
  return h != 0 && link(last_, db, h);
}

bool QmdbList::replace(long h) {
  return replace(nullptr, h);
}

bool QmdbList::replace(void* db, long h) {
  if (h == 0 || current_ == nullptr) return false;
  current_->database = db;
  current_->value = h;
  return true;
}

void QmdbList::remove() {
  unlinkCurrent();
}

void QmdbList::clear() {
  freeAll(false);
}

long QmdbList::first() {
  current_ = first_;
  return current();
}

long QmdbList::last() {
  current_ = last_;
  return current();
}

long QmdbList::current() {
  return current_ != nullptr ? current_->value : 0;
}

long QmdbList::previous() {
  if (current_ != nullptr) current_ = current_->previous;
  return current();
}

long QmdbList::next() {
  if (current_ != nullptr) current_ = current_->next;
  return current();
}

namespace {
long copyOf(const char* s) {
  return s != nullptr ? reinterpret_cast<long>(qmdb::store::copyText(s)) : 0;
}
char* text(long value) {
  return reinterpret_cast<char*>(value);
}
}  // namespace

QmdbStringList::QmdbStringList() = default;

QmdbStringList::~QmdbStringList() {
  freeAll(true);
}

QmdbStringList::QmdbStringList(const QmdbStringList& other) : QmdbList() {
  *this = other;
}

QmdbStringList& QmdbStringList::operator=(const QmdbStringList& other) {
  if (this == &other) return *this;
  freeAll(true);
  for (Entry* e = other.first_; e != nullptr; e = e->next) {
    long copy = copyOf(text(e->value));
    if (copy == 0) break;
    if (!link(last_, nullptr, copy)) {
      free(text(copy));
      break;
    }
  }
  return *this;
}

bool QmdbStringList::insert(const char* s) {
  long copy = copyOf(s);
  if (copy == 0) return false;
  if (link(current_, nullptr, copy)) return true;
  free(text(copy));
  return false;
}

bool QmdbStringList::add(const char* s) {
  long copy = copyOf(s);
  if (copy == 0) return false;
  if (link(last_, nullptr, copy)) return true;
  free(text(copy));
  return false;
}

bool QmdbStringList::replace(const char* s) {
  if (current_ == nullptr) return false;
  long copy = copyOf(s);
  if (copy == 0) return false;
  free(text(current_->value));
  current_->value = copy;
  return true;
}

void QmdbStringList::remove() {
  if (current_ != nullptr) free(text(current_->value));
  unlinkCurrent();
}

void QmdbStringList::clear() {
  freeAll(true);
}

char* QmdbStringList::first() {
  return text(QmdbList::first());
}

char* QmdbStringList::last() {
  return text(QmdbList::last());
}

char* QmdbStringList::current() {
  return text(QmdbList::current());
}

char* QmdbStringList::previous() {
  return text(QmdbList::previous());
}

char* QmdbStringList::next() {
  return text(QmdbList::next());
}
