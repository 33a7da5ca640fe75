#include "Qmdb/objects/Creation.h"

#include <cstring>

#include "Qmdb/objects/Records.h"
#include "Qmdb/objects/StoredText.h"
#include "Qmdb/qmdb.h"
#include "Qmdb/store/HeapString.h"

namespace qmdb::objects {

long createObjectRecord(store::Store& s) {
  long o = store::reserveRecord(s, object::kSize);
  return o != 0 && object::init(s, o) ? o : 0;
}

long makeNodeRecord(store::Store& s, long o) {
  long r = store::reserveRecord(s, nodeRecord::kSize);
  if (r == 0 || !nodeRecord::init(s, r, o)) return 0;
  if (o != 0) object::setKindAndBody(s, o, QmdbNode, r);
  return r;
}

long createNode(store::Store& s, long gid, long& record) {
  constexpr long kBoth = object::kSize + nodeRecord::kSize;
  record = 0;
  if (store::fitsOnTopPage(s, kBoth)) {
    long o = store::reserveRecord(s, kBoth);
    uint8_t* p = o != 0 ? store::fieldPointer(s, o, kBoth) : nullptr;
    if (p == nullptr) return 0;
    record = o + object::kSize;
    object::initAt(p);
    object::writeKindAndBody(p, QmdbNode, record);
    nodeRecord::initAt(p + object::kSize, o, gid);
    store::markDirty(s);
    return o;
  }
  long o = createObjectRecord(s);
  if (o != 0) record = makeNodeRecord(s, o);
  if (record != 0 && gid != 0 &&
      !store::put32(s, nodeRecord::gidField(record), static_cast<int32_t>(gid))) {
    record = 0;
  }
  return o;
}

long createString(store::Store& s, const char* text, bool& stored) {
  size_t length = strlen(text);
  stored = false;
  if (length < static_cast<size_t>(s.pageSize)) {
    long both = object::kSize + store::heapStringBlockSize(length);
    if (store::fitsOnTopPage(s, both)) {
      long o = store::reserveRecord(s, both);
      long written = object::kSize + static_cast<long>(length) + 1;
      uint8_t* p = o != 0 ? store::fieldPointer(s, o, written) : nullptr;
      if (p == nullptr) return 0;
      object::initAt(p);
      object::writeKindAndBody(p, QmdbString, o + object::kSize);
      store::writeHeapStringAt(p + object::kSize, text, length);
      store::markDirty(s);
      stored = true;
      return o;
    }
  }
  long o = createObjectRecord(s);
  stored = o != 0 && setStringText(s, o, text) != 0;
  return o;
}

long makeEntityRecord(store::Store& s, long o) {
  long r = store::reserveRecord(s, entityRecord::kSize);
  if (r == 0) return 0;
  if (!entityRecord::init(s, r)) return 0;
  object::setKindAndBody(s, o, QmdbEntity, r);
  return r;
}

long makePiRecord(store::Store& s, long o) {
  long r = store::reserveRecord(s, piRecord::kSize);
  if (r == 0) return 0;
  if (!piRecord::init(s, r)) return 0;
  object::setKindAndBody(s, o, QmdbPi, r);
  return r;
}

long setStringText(store::Store& s, long o, const char* text) {
  long copy = store::writeHeapString(s, text, strlen(text));
  if (copy == 0) return 0;
  return object::setKindAndBody(s, o, QmdbString, copy) ? copy : 0;
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
