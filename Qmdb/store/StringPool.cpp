#include "Qmdb/store/StringPool.h"

#include <new>

#include "Qmdb/store/Allocation.h"

namespace qmdb::store {

int32_t StringPool::find(const char* text) const {
  if (text == nullptr) return 0;
  auto it = names_.find(text);
  return it == names_.end() ? 0 : it->second;
}

bool StringPool::add(const char* text, int32_t address) {
  if (text == nullptr || !allocationAllowed()) return false;
  try {
    names_[text] = address;
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

}  // namespace qmdb::store
