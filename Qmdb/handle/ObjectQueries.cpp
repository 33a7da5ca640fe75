// Qmdb methods that classify objects and walk the tree. The derived queries
// (root, rank, level, count, byRank) call the simple ones virtually, so that a
// class derived from Qmdb that overrides those changes these too.
#include <cstdlib>

#include "Qmdb/Qmdb"
#include "Qmdb/handle/Internal.h"
#include "Qmdb/objects/Classify.h"
#include "Qmdb/objects/Navigation.h"
#include "Qmdb/objects/Records.h"

using qmdb::handle::Internal;
namespace objects = qmdb::objects;
namespace object = qmdb::objects::object;
namespace nodeRecord = qmdb::objects::nodeRecord;

bool Qmdb::isObject(long object, QmdbObjectType type) const {
  return store_ != nullptr && objects::isSoundObject(*store_, object, type);
}

QmdbObjectType Qmdb::objectType(long o) {
  qmdb::store::Store* s = Internal::usable(*this);
  long h = qmdb::objects::handleOf(o);
  if (s == nullptr || h == 0) return QmdbNoObject;
  if (h == objects::kRoot) return QmdbNode;
  return static_cast<QmdbObjectType>(object::kind(*s, h));
}

QmdbEntityType Qmdb::entityType(long o) {
  qmdb::store::Store* s = Internal::usable(*this);
  long h = qmdb::objects::handleOf(o);
  if (s == nullptr || objectType(h) != QmdbEntity) return QmdbNoEntityType;
  long own = object::body(*s, h);
  if (own == 0) return QmdbNoEntityType;
  return static_cast<QmdbEntityType>(objects::entityRecord::type(*s, own));
}

bool Qmdb::isAttached(long o) const {
  qmdb::store::Store* s = Internal::usable(*this);
  long h = qmdb::objects::handleOf(o);
  if (s == nullptr || h == 0 || h == objects::kRoot) return false;
  return object::parent(*s, h) != 0;
}

long Qmdb::parent(long o) const {
  qmdb::store::Store* s = Internal::usable(*this);
  long h = qmdb::objects::handleOf(o);
  if (s == nullptr || h == 0 || h == objects::kRoot) return 0;
  return objects::parentOf(*s, h);
}

namespace {

// The child list of node `o` (the root record for the database root), or 0
// when `o` is no node.
long childListOf(const Qmdb& db, qmdb::store::Store& s, long o) {
  long h = qmdb::objects::handleOf(o);
  if (h == 0) return 0;
  if (h == objects::kRoot) {
    bool node = Internal::plain(db) || const_cast<Qmdb&>(db).objectType(h) == QmdbNode;
    return node ? objects::kRootRecord : 0;
  }
  long own = 0;
  return Internal::kindAndBody(db, s, h, own) == QmdbNode ? own : 0;
}

}  // namespace

long Qmdb::first(long o) const {
  qmdb::store::Store* s = Internal::usable(*this);
  long list = s != nullptr ? childListOf(*this, *s, o) : 0;
  return list != 0 ? nodeRecord::firstChild(*s, list) : 0;
}

long Qmdb::last(long o) const {
  qmdb::store::Store* s = Internal::usable(*this);
  long list = s != nullptr ? childListOf(*this, *s, o) : 0;
  return list != 0 ? nodeRecord::lastChild(*s, list) : 0;
}

long Qmdb::next(long position, QmdbTraverseMode mode) const {
  qmdb::store::Store* s = Internal::usable(*this);
  if (s == nullptr || position == 0) return 0;
  if (mode != QmdbSiblings) {
    if (position == objects::kRoot) return nodeRecord::firstChild(*s, objects::kRootRecord);
    return objects::treeStep(*s, 0, position, true);
  }
  long h = qmdb::objects::handleOf(position);
  return h == objects::kRoot ? 0 : object::next(*s, h);
}

long Qmdb::previous(long position, QmdbTraverseMode mode) const {
  qmdb::store::Store* s = Internal::usable(*this);
  if (s == nullptr || position == 0) return 0;
  if (mode != QmdbSiblings) {
    if (position == objects::kRoot) return nodeRecord::lastChild(*s, objects::kRootRecord);
    return objects::treeStep(*s, 0, position, false);
  }
  long h = qmdb::objects::handleOf(position);
  return h == objects::kRoot ? 0 : object::previous(*s, h);
}

namespace {
// The most steps a derived query takes: more than a sound heap could need.
long stepLimit(const Qmdb& db) {
  qmdb::store::Store* s = Internal::store(db);
  return s != nullptr ? objects::walkLimit(*s) : 0;
}
}  // namespace

long Qmdb::root(long o) const {
  long e = qmdb::objects::handleOf(o);
  if (e == 0 || e == objects::kRoot) return 0;
  for (long steps = stepLimit(*this); steps > 0; --steps) {
    long p = parent(e);
    if (p == 0) break;
    e = p;
  }
  return e;
}

long Qmdb::byRank(long o, long n) const {
  long h = qmdb::objects::handleOf(o);
  if (n < 1 || h == 0) return 0;
  long c = first(h);
  long steps = stepLimit(*this);
  for (long i = 1; i < n && c != 0; ++i) {
    if (--steps < 0) return 0;
    c = next(c, QmdbSiblings);
  }
  return c;
}

long Qmdb::count(long o, QmdbTraverseMode mode) const {
  long h = qmdb::objects::handleOf(o);
  if (h == 0) return 0;
  long total = 0;
  long steps = stepLimit(*this);
  for (long c = first(h); c != 0 && c != -h && steps-- > 0; c = next(c, mode)) {
    if (c > 0) ++total;
  }
  return total;
}

long Qmdb::rank(long o) const {
  long h = qmdb::objects::handleOf(o);
  if (h == 0 || h == objects::kRoot) return 0;
  long r = 1;
  long steps = stepLimit(*this);
  for (long c = previous(h, QmdbSiblings); c != 0 && steps-- > 0; c = previous(c, QmdbSiblings)) {
    ++r;
  }
  return r;
}

long Qmdb::level(long o) const {
  long h = qmdb::objects::handleOf(o);
  if (h == 0 || h == objects::kRoot) return 0;
  long l = 1;
  long steps = stepLimit(*this);
  for (long p = parent(h); p != 0 && steps-- > 0; p = parent(p)) ++l;
  return l;
}
