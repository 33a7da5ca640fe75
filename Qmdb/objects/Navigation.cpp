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
  return treeStepFrom(s, limit, position, forward, object::fields(s, handleOf(position)));
}

}  // namespace qmdb::objects
