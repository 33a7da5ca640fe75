#include "Qmdb/store/Store.h"

#include <cstdio>

#include "Qmdb/store/PageCache.h"
#include "Qmencoding/QmCFile.h"

namespace qmdb::store {

Store::~Store() {
  freeFrames(*this, 0);
  if (swapFile != nullptr) QmCFileClose(swapFile);
  if (!named && hasFileName) remove(fileName.c_str());
}

}  // namespace qmdb::store
