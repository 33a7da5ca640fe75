#include "Qmdb/objects/Navigation.h"

#include "Qmdb/objects/Records.h"
#include "Qmdb/qmdb.h"

namespace qmdb::objects {

long parentOf(store::Store& s, long o) {
  long list = object::parent(s, o);
  return list != 0 ? nodeRecord::owner(s, list) : 0;
}

}  // namespace qmdb::objects
