#include "Qmdb/store/HeapString.h"

#include <cstdint>
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
  writeHeapStringAt(p, text, length);
  markDirty(store);
  return address;
}

const char* findHeapStringEnd(const uint8_t* p, long available) {
  if (memchr(p, 0, static_cast<size_t>(available)) == nullptr) return nullptr;
  return reinterpret_cast<const char*>(p);
}

int heapStringFirstByte(Store& store, long address) {
  if (address <= 0) return -1;
  const uint8_t* p = fieldPointer(store, address, 1);
  return p != nullptr ? *p : -1;
}

}  // namespace qmdb::store
