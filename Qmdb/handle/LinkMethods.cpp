// Qmdb methods of links between objects of open databases. A link record
// names its database by registry id, so a link to a database that has been
// closed reads as a link to none. Any object but the root may carry a link;
// its kind is not looked at. Removing a link leaves its record in the heap.
#include "Qmdb/Qmdb"
#include "Qmdb/edits/LinkRecord.h"
#include "Qmdb/edits/Links.h"
#include "Qmdb/handle/DatabaseRegistry.h"
#include "Qmdb/handle/Internal.h"
#include "Qmdb/objects/Records.h"

using qmdb::handle::Internal;
namespace objects = qmdb::objects;
namespace store = qmdb::store;
namespace linkRecord = qmdb::edits::linkRecord;

long Qmdb::linkToObject(long object, const Qmdb* db, long target) {
  store::Store* s = Internal::writable(*this);
  long o = objects::handleOf(object);
  if (s == nullptr || o == 0 || o == objects::kRoot) return 0;
  if (target == 0) {
    if (db != nullptr) return 0;
    objects::object::setLink(*s, o, 0);  // removing a link is no change of content
    return o;
  }
  uint32_t id = db != nullptr ? Internal::id(*db) : 0;
  if (!qmdb::edits::setLink(*s, o, id, target)) return 0;
  s->changed = true;
  return o;
}

long Qmdb::linkToObject(long object, long target) {
  return linkToObject(object, this, target);
}

long Qmdb::getLinkedObject(long object) const {
  store::Store* s = Internal::usable(*this);
  long o = objects::handleOf(object);
  if (s == nullptr || o == 0 || o == objects::kRoot) return 0;
  long r = objects::object::link(*s, o);
  return r != 0 ? linkRecord::object(*s, r) : 0;
}

Qmdb* Qmdb::getLinkedDatabase(long object) const {
  store::Store* s = Internal::usable(*this);
  long o = objects::handleOf(object);
  if (s == nullptr || o == 0 || o == objects::kRoot) return nullptr;
  long r = objects::object::link(*s, o);
  return r != 0 ? qmdb::handle::findDatabase(linkRecord::database(*s, r)) : nullptr;
}
