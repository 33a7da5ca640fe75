#include "Qmdb/store/Allocation.h"

#include <cstdlib>
#include <cstring>

namespace qmdb::store {

namespace {
thread_local long allocations = 0;
thread_local long failAt = 0;  // 0: disarmed
thread_local bool failSticky = false;
}  // namespace

bool allocationAllowed() {
  if (__builtin_expect(failAt == 0, 1)) return true;
  ++allocations;
  return !(allocations == failAt || (failSticky && allocations > failAt));
}

void* allocate(size_t size) {
  return allocationAllowed() ? malloc(size) : nullptr;
}

void* allocateZeroed(size_t size) {
  return allocationAllowed() ? calloc(1, size) : nullptr;
}

void* reallocate(void* p, size_t size) {
  return allocationAllowed() ? realloc(p, size) : nullptr;
}

char* copyText(const char* text) {
  size_t size = strlen(text) + 1;
  char* copy = static_cast<char*>(allocate(size));
  if (copy != nullptr) memcpy(copy, text, size);
  return copy;
}

void failAllocationAfter(long n, bool sticky) {
  allocations = 0;
  failAt = n > 0 ? n : 0;
  failSticky = sticky;
}

long allocationsCounted() {
  return allocations;
}

}  // namespace qmdb::store
