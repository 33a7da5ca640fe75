#include "Qmdb/objects/StoredText.h"

#include <cstring>

#include "Qmdb/store/HeapString.h"
#include "Qmdb/store/PageCache.h"

namespace qmdb::objects {

long storeName(store::Store& s, long field, const char* text) {
  if (text == nullptr) {
    store::put32(s, field, 0);
    return 0;
  }
  store::StringPool::Probe probe;
  if (s.pool != nullptr) {
    long pooled = s.pool->find(text, probe);
    if (pooled != 0) return store::put32(s, field, static_cast<int32_t>(pooled)) ? pooled : 0;
  } else {
    probe.length = strlen(text);
  }
  long address = store::writeHeapString(s, text, probe.length);
  if (address == 0) return 0;
  if (s.pool != nullptr && !s.pool->add(text, probe, static_cast<int32_t>(address))) return 0;
  return store::put32(s, field, static_cast<int32_t>(address)) ? address : 0;
}

long storeCopy(store::Store& s, long field, const char* text) {
  if (text == nullptr) {
    store::put32(s, field, 0);
    return 0;
  }
  long address = store::writeHeapString(s, text, strlen(text));
  if (address == 0) return 0;
  return store::put32(s, field, static_cast<int32_t>(address)) ? address : 0;
}

const char* fieldText(store::Store& s, long field) {
  return store::readHeapString(s, store::get32(s, field));
}

}  // namespace qmdb::objects
