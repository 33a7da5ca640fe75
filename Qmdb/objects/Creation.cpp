#include "Qmdb/objects/Creation.h"

#include "Qmdb/objects/Records.h"
#include "Qmdb/objects/StoredText.h"
#include "Qmdb/qmdb.h"

namespace qmdb::objects {

long createObjectRecord(store::Store& s) {
  long o = store::reserveRecord(s, object::kSize);
  return o != 0 && object::init(s, o) ? o : 0;
}

long makeNodeRecord(store::Store& s, long o) {
  long r = store::reserveRecord(s, nodeRecord::kSize);
  if (r == 0 || !nodeRecord::init(s, r, o)) return 0;
  if (o != 0) {
    object::setKind(s, o, QmdbNode);
    object::setBody(s, o, r);
  }
  return r;
}

long makeEntityRecord(store::Store& s, long o) {
  long r = store::reserveRecord(s, entityRecord::kSize);
  if (r == 0) return 0;
  if (!entityRecord::init(s, r)) return 0;
  object::setKind(s, o, QmdbEntity);
  object::setBody(s, o, r);
  return r;
}

long makePiRecord(store::Store& s, long o) {
  long r = store::reserveRecord(s, piRecord::kSize);
  if (r == 0) return 0;
  if (!piRecord::init(s, r)) return 0;
  object::setKind(s, o, QmdbPi);
  object::setBody(s, o, r);
  return r;
}

long setStringText(store::Store& s, long o, const char* text) {
  long copy = storeCopy(s, object::bodyField(o), text);
  if (copy == 0) return 0;
  object::setKind(s, o, QmdbString);
  return copy;
}

long setEntityValue(store::Store& s, long r, long type, const char* value) {
  if (value == nullptr) {
    store::put32(s, entityRecord::valueField(r), 0);
    entityRecord::setType(s, r, type);
    return 0;
  }
  long copy = storeCopy(s, entityRecord::valueField(r), value);
  if (copy == 0) return 0;
  entityRecord::setType(s, r, type);
  return copy;
}

}  // namespace qmdb::objects
