#include "Qmdb/store/HeapString.h"

#include <cstring>

#include "Qmdb/store/PageCache.h"

namespace qmdb::store {

long writeHeapString(Store& store, const char* text, size_t length) {
  if (length >= static_cast<size_t>(store.pageSize)) return 0;
  long block = heapStringBlockSize(length);
  long address = reserve(store, block);
  if (address == 0) return 0;
  store.heapTop = static_cast<int32_t>(address + block);
  uint8_t* p = resolve(store, address);
  if (p == nullptr) return 0;
  if (length > 0) memcpy(p, text, length);
  p[length] = 0;
  markDirty(store);
  return address;
}

const char* readHeapString(Store& store, long address) {
  if (address <= 0 || address >= store.heapTop) return nullptr;
  long offset = address % store.pageSize;
  long available = store.pageSize - offset;
  if (available > store.heapTop - address) available = store.heapTop - address;
  const uint8_t* p = resolve(store, address);
  if (p == nullptr) return nullptr;
  if (memchr(p, 0, static_cast<size_t>(available)) == nullptr) return nullptr;
  return reinterpret_cast<const char*>(p);
}

}  // namespace qmdb::store
