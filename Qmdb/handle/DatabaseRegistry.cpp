#include "Qmdb/handle/DatabaseRegistry.h"

#include <sys/random.h>
#include <unistd.h>

#include <ctime>
#include <mutex>
#include <new>
#include <unordered_map>

namespace qmdb::handle {

namespace {

struct Registry {
  std::mutex mutex;
  std::unordered_map<uint32_t, Qmdb*> live;
  uint32_t nextId;
  // Made on the first open, which must not fail for want of memory or of a
  // random device: the seed comes from getrandom, else from the clock and pid.
  Registry() noexcept {
    uint32_t seed = 0;
    if (getrandom(&seed, sizeof seed, GRND_NONBLOCK) != static_cast<ssize_t>(sizeof seed)) {
      seed = static_cast<uint32_t>(time(nullptr)) * 2654435761u ^ static_cast<uint32_t>(getpid());
    }
    nextId = seed;
  }
};

Registry& registry() {
  // Built in static storage and never destroyed, so that it outlives every
  // static database and its making allocates nothing.
  alignas(Registry) static unsigned char storage[sizeof(Registry)];
  static Registry* instance = new (storage) Registry;
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
