// Qmdb methods that take objects out of the tree (removing keeps them,
// dropping kills them) and move them, within one database by relinking and
// into another by copying there and removing here. Every refusal comes
// before anything changes.
#include "Qmdb/Qmdb"
#include "Qmdb/handle/Internal.h"
#include "Qmdb/handle/Placement.h"
#include "Qmdb/objects/ChildList.h"
#include "Qmdb/objects/Navigation.h"
#include "Qmdb/objects/Records.h"

using qmdb::handle::Internal;
namespace objects = qmdb::objects;
namespace object = qmdb::objects::object;
namespace store = qmdb::store;

namespace {

long removeFrom(Qmdb& db, long handle, bool wholeTree) {
  store::Store* s = Internal::writable(db);
  long o = objects::handleOf(handle);
  if (s == nullptr || o == 0 || o == objects::kRoot) return 0;
  objects::detach(*s, o, wholeTree);
  s->changed = true;
  return o;
}

// Whether `o` is `p` or one of its ancestors. A climb that does not end within
// the walk limit (a damaged heap) counts as yes, so that the move is refused.
bool holds(Qmdb& db, store::Store& s, long o, long p) {
  long steps = objects::walkLimit(s);
  for (long q = p; q != 0; q = db.parent(q)) {
    if (q == o || --steps < 0) return true;
  }
  return false;
}

// Checks shared by both moves: this database writable, the source usable and writable.
store::Store* movable(Qmdb& db, Qmdb* source) {
  store::Store* s = Internal::writable(db);
  if (s == nullptr || source == nullptr) return nullptr;
  if (!source->isValid() || !source->isUpdatable()) return nullptr;
  return s;
}

}  // namespace

long Qmdb::removeObject(long object) {
  return removeFrom(*this, object, false);
}

long Qmdb::removeTree(long object) {
  return removeFrom(*this, object, true);
}

bool Qmdb::dropObject(long object) {
  store::Store* s = Internal::writable(*this);
  long o = objects::handleOf(object);
  if (s == nullptr || o == 0 || o == objects::kRoot) return false;
  objects::detach(*s, o, false);
  object::setKind(*s, o, QmdbNoObject);
  s->changed = true;
  return true;
}

bool Qmdb::dropTree(long object) {
  store::Store* s = Internal::writable(*this);
  long o = objects::handleOf(object);
  if (s == nullptr || o == 0 || o == objects::kRoot) return false;
  objects::detach(*s, o, true);
  // A node is killed at its end position: its kind must stay until the walk
  // has passed through its children.
  long steps = objects::walkLimit(*s);
  for (long x = first(o); x != 0 && x != -o && steps-- > 0;) {
    long n = next(x, QmdbTree);
    if (x < 0) {
      object::setKind(*s, -x, QmdbNoObject);
    } else if (objectType(x) != QmdbNode) {
      object::setKind(*s, x, QmdbNoObject);
    }
    x = n;
  }
  object::setKind(*s, o, QmdbNoObject);
  s->changed = true;
  return true;
}

long Qmdb::moveObject(long parent, long after, Qmdb* db, long object) {
  store::Store* s = movable(*this, db);
  if (s == nullptr) return 0;
  if (db != this) {
    long r = insertCopy(parent, after, db, object, true, true, true, false);
    if (r != 0) db->removeObject(object);
    return r;
  }
  qmdb::handle::Placement place = qmdb::handle::placeAfter(*this, *s, parent, after);
  long o = objects::handleOf(object);
  long p = objects::handleOf(parent);
  if (place.list == 0 || o == 0 || o == objects::kRoot || p == o || place.after == o) return 0;
  // Detaching hands o's children to its parent, so the new parent may be a
  // former descendant. A detached o keeps its children, and moving it below
  // one of them would close a cycle.
  if (object::parent(*s, o) == 0 && holds(*this, *s, o, p)) return 0;
  objects::detach(*s, o, false);
  long r = objects::attach(*s, o, place.list, place.after);
  s->changed = true;
  return r;
}

long Qmdb::moveObject(long parent, long after, long object) {
  return moveObject(parent, after, this, object);
}

long Qmdb::moveTree(long parent, long after, Qmdb* db, long object) {
  store::Store* s = movable(*this, db);
  if (s == nullptr) return 0;
  if (db != this) {
    long r = insertTreeCopy(parent, after, db, object, true, true, true, false);
    if (r != 0) db->removeTree(object);
    return r;
  }
  long p = objects::handleOf(parent);
  if (objectType(p) != QmdbNode) return 0;
  long o = objects::handleOf(object);
  if (o == 0 || o == objects::kRoot) return 0;
  if (holds(*this, *s, o, p)) return 0;  // the object may not move into its own subtree
  qmdb::handle::Placement place = qmdb::handle::placeAfter(*this, *s, parent, after);
  if (place.list == 0 || place.after == o) return 0;
  long r = objects::attach(*s, o, place.list, place.after);
  s->changed = true;
  return r;
}

long Qmdb::moveTree(long parent, long after, long object) {
  return moveTree(parent, after, this, object);
}
