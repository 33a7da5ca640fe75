// Global operator new and delete for the allocation sweep's program only.
//
// Every C++ allocation of the process passes the library's allocation seam,
// so that a sweep can make any one of them fail: the engine's own buffers go
// through the seam already, and this puts the growth of std::string,
// std::vector, the hash tables and everything else made with new behind the
// same counter. The seam counts only while a test has armed it, and a test
// arms it only around library calls, so the counter numbers exactly the
// allocations made inside the library. Memory comes from malloc, so the
// sanitizers still see every block.
#include <cstdlib>
#include <new>

#include "Qmdb/store/Allocation.h"

namespace {
void* obtain(size_t size) noexcept {
  if (!qmdb::store::allocationAllowed()) return nullptr;
  return malloc(size != 0 ? size : 1);
}
}  // namespace

void* operator new(size_t size) {
  void* p = obtain(size);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}
void* operator new[](size_t size) {
  void* p = obtain(size);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return obtain(size);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return obtain(size);
}
void operator delete(void* p) noexcept {
  free(p);
}
void operator delete[](void* p) noexcept {
  free(p);
}
void operator delete(void* p, size_t) noexcept {
  free(p);
}
void operator delete[](void* p, size_t) noexcept {
  free(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
  free(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
  free(p);
}
