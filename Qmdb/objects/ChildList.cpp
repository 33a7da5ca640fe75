#include "Qmdb/objects/ChildList.h"

#include "Qmdb/objects/Navigation.h"
#include "Qmdb/objects/Records.h"
#include "Qmdb/qmdb.h"

namespace qmdb::objects {

long attach(store::Store& s, long o, long list, long after) {
  if (object::parent(s, o) != 0) detach(s, o, true);
  return attachDetached(s, o, list, after);
}

long attachDetached(store::Store& s, long o, long list, long after) {
  // Each record is visited once, and `o` (usually at the heap top, where the
  // next record will be made) last: the new sibling and the list often lie on
  // an older page, and this order switches pages twice, not four times.
  long next =
      after != 0 ? object::exchangeNext(s, after, o) : nodeRecord::exchangeFirstChild(s, list, o);
  if (next != 0) {
    object::setPrevious(s, next, o);
  } else {
    nodeRecord::setLastChild(s, list, o);
  }
  object::setLinks(s, o, after, next, list);
  return o;
}

long detach(store::Store& s, long o, bool wholeTree) {
  long list = object::parent(s, o);
  if (list == 0) return o;
  if (object::kind(s, o) != QmdbNode) wholeTree = true;
  long before = object::previous(s, o);
  long after = object::next(s, o);
  long own = 0;
  long first = 0;
  long last = 0;
  if (!wholeTree) {
    own = object::body(s, o);
    first = nodeRecord::firstChild(s, own);
    last = nodeRecord::lastChild(s, own);
  }
  if (before != 0) {
    object::setNext(s, before, first != 0 ? first : after);
    if (first != 0) object::setPrevious(s, first, before);
  } else {
    nodeRecord::setFirstChild(s, list, first != 0 ? first : after);
  }
  if (after != 0) {
    object::setPrevious(s, after, last != 0 ? last : before);
    if (last != 0) object::setNext(s, last, after);
  } else {
    nodeRecord::setLastChild(s, list, last != 0 ? last : before);
  }
  object::setLinks(s, o, 0, 0, 0);
  if (wholeTree) return o;
  nodeRecord::setFirstChild(s, own, 0);
  nodeRecord::setLastChild(s, own, 0);
  // The children now belong to the former parent's list.
  long steps = walkLimit(s);
  for (long c = first; c != 0 && steps-- > 0; c = object::next(s, c)) {
    object::setParent(s, c, list);
    if (c == last) break;
  }
  return o;
}

}  // namespace qmdb::objects
