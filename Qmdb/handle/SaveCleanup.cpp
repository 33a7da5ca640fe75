#include "Qmdb/handle/SaveCleanup.h"

#include "Qmdb/indexes/IndexCleanup.h"
#include "Qmdb/objects/Navigation.h"
#include "Qmdb/objects/Records.h"

namespace qmdb::handle {

void clearLinksAtSave(store::Store& s) {
  namespace object = objects::object;
  long steps = objects::walkLimit(s);
  for (long p = objects::treeStep(s, objects::kRootRecord, 0, true); p != 0 && steps-- > 0;
       p = objects::treeStep(s, objects::kRootRecord, p, true)) {
    if (p > 0 && object::link(s, p) != 0) object::setLink(s, p, 0);
  }
  // Index entries that name other databases die here too, and indexed objects
  // outside the document tree lose their links.
  indexes::cleanUpIndexes(s);
}

}  // namespace qmdb::handle
