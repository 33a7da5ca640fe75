#include "Qmdb/edits/Links.h"

#include "Qmdb/edits/LinkRecord.h"
#include "Qmdb/objects/Records.h"

namespace qmdb::edits {

long makeLinkRecord(store::Store& s, long o) {
  long r = store::reserveRecord(s, linkRecord::kSize);
  if (r == 0) return 0;
  linkRecord::setDatabase(s, r, 0);
  linkRecord::setObject(s, r, 0);
  if (o != 0) objects::object::setLink(s, o, r);
  return r;
}

bool setLink(store::Store& s, long o, uint32_t database, long target) {
  long r = objects::object::link(s, o);
  if (r == 0) r = makeLinkRecord(s, o);
  if (r == 0) return false;
  linkRecord::setDatabase(s, r, database);
  linkRecord::setObject(s, r, target);
  s.linkCleanup = true;
  return true;
}

}  // namespace qmdb::edits
