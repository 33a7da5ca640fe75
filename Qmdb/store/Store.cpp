#include "Qmdb/store/Store.h"

#include <cstdio>
#include <cstdlib>

#include "Qmdb/store/PageCache.h"
#include "Qmencoding/QmCFile.h"

namespace qmdb::store {

Store::~Store() {
  freeFrames(*this, 0);
  if (swapFile != nullptr) QmCFileClose(swapFile);
  // A journal left open belongs to an unfinished save: it stays on disk, so
  // that the next opening rolls the file back.
  if (journal != nullptr) QmCFileClose(journal);
  if (!named && hasFileName) remove(fileName.c_str());
  free(journalBuffer);
  QmCFileLockClose(lockDescriptor);
}

}  // namespace qmdb::store
