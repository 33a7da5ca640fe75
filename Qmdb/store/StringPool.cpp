#include "Qmdb/store/StringPool.h"

#include <new>

#include "Qmdb/store/Allocation.h"

namespace qmdb::store {

int32_t StringPool::find(const char* text) const {
  if (text == nullptr) return 0;
  auto it = names_.find(std::string_view(text));
  return it == names_.end() ? 0 : it->second;
}

bool StringPool::add(const char* text, int32_t address) {
  if (text == nullptr || !allocationAllowed()) return false;
  try {
    auto it = names_.find(std::string_view(text));
    if (it != names_.end()) {
      it->second = address;
      return true;
    }
    texts_.emplace_back(text);
    names_.emplace(std::string_view(texts_.back()), address);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

}  // namespace qmdb::store
