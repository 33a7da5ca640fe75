#include "Qmdb/objects/Navigation.h"

#include "Qmdb/objects/Records.h"
#include "Qmdb/qmdb.h"

namespace qmdb::objects {

long parentOf(store::Store& s, long o) {
  long list = object::parent(s, o);
  return list != 0 ? nodeRecord::owner(s, list) : 0;
}

long treeStep(store::Store& s, long limit, long position, bool forward) {
  if (position == 0) {
    if (limit == 0) return 0;
    return forward ? nodeRecord::firstChild(s, limit) : nodeRecord::lastChild(s, limit);
  }
  long h = position < 0 ? -position : position;
  if (position > 0 && object::kind(s, h) == QmdbNode) {
    long own = object::body(s, h);
    if (own != 0) {
      long child = forward ? nodeRecord::firstChild(s, own) : nodeRecord::lastChild(s, own);
      return child != 0 ? child : -position;
    }
  }
  long sibling = forward ? object::next(s, h) : object::previous(s, h);
  if (sibling != 0) return sibling;
  long list = object::parent(s, h);
  if (list == limit || list == 0) return 0;
  return -nodeRecord::owner(s, list);
}

}  // namespace qmdb::objects
