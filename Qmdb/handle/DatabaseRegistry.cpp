#include "Qmdb/handle/DatabaseRegistry.h"

#include <mutex>
#include <random>
#include <unordered_map>

namespace qmdb::handle {

namespace {

struct Registry {
  std::mutex mutex;
  std::unordered_map<uint32_t, Qmdb*> live;
  uint32_t nextId;
  Registry() {
    std::random_device random;
    nextId = static_cast<uint32_t>(random());
  }
};

Registry& registry() {
  static Registry* instance = new Registry;  // outlives every static database
  return *instance;
}

}  // namespace

uint32_t registerDatabase(Qmdb* database) {
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  uint32_t id;
  do {
    id = r.nextId++;
  } while (id == 0 || r.live.count(id) != 0);
  try {
    r.live[id] = database;
  } catch (...) {
    // Without memory the database simply cannot be named by others.
  }
  return id;
}

void unregisterDatabase(uint32_t id) {
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  r.live.erase(id);
}

Qmdb* findDatabase(uint32_t id) {
  if (id == 0) return nullptr;
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  auto it = r.live.find(id);
  return it == r.live.end() ? nullptr : it->second;
}

}  // namespace qmdb::handle
