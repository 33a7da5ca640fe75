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
  store::put32(s, r + entityRecord::kName, 0);
  store::put32(s, r + entityRecord::kAttributes, 0);
  store::put32(s, r + entityRecord::kValue, 0);
  store::put32(s, r + entityRecord::kNotation, 0);
  entityRecord::setType(s, r, 0);
  object::setKind(s, o, QmdbEntity);
  object::setBody(s, o, r);
  return r;
}

long makePiRecord(store::Store& s, long o) {
  long r = store::reserveRecord(s, piRecord::kSize);
  if (r == 0) return 0;
  store::put32(s, r + piRecord::kTarget, 0);
  store::put32(s, r + piRecord::kAttributes, 0);
  store::put32(s, r + piRecord::kData, 0);
  object::setKind(s, o, QmdbPi);
  object::setBody(s, o, r);
  return r;
}

long setStringText(store::Store& s, long o, const char* text) {
  long copy = storeCopy(s, o + object::kBody, text);
  if (copy == 0) return 0;
  object::setKind(s, o, QmdbString);
  return copy;
}

long setEntityValue(store::Store& s, long r, long type, const char* value) {
  if (value == nullptr) {
    store::put32(s, r + entityRecord::kValue, 0);
    entityRecord::setType(s, r, type);
    return 0;
  }
  long copy = storeCopy(s, r + entityRecord::kValue, value);
  if (copy == 0) return 0;
  entityRecord::setType(s, r, type);
  return copy;
}

}  // namespace qmdb::objects
