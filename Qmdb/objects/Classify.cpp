#include "Qmdb/objects/Classify.h"

#include "Qmdb/objects/Records.h"
#include "Qmdb/qmdb.h"

namespace qmdb::objects {

bool isSoundObject(store::Store& s, long h, int type) {
  if (h < kFirstObject || h > static_cast<long>(s.heapTop) - object::kSize) return false;
  if (store::resolve(s, h) == nullptr) return false;
  int kind = object::kind(s, h);
  if (type == QmdbNoObject ? (kind < QmdbNode || kind > QmdbPi) : kind != type) return false;
  long own = object::body(s, h);
  if (own == 0) return false;
  if (kind == QmdbNode && nodeRecord::owner(s, own) != h) return false;
  long list = object::parent(s, h);
  long before = object::previous(s, h);
  if (before != 0) {
    if (object::next(s, before) != h) return false;
  } else if (list != 0 && nodeRecord::firstChild(s, list) != h) {
    return false;
  }
  long after = object::next(s, h);
  if (after != 0) return object::previous(s, after) == h;
  return list == 0 || nodeRecord::lastChild(s, list) == h;
}

}  // namespace qmdb::objects
