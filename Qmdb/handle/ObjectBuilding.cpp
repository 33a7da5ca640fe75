// Qmdb methods that make objects and put them into child lists. The add and
// insert forms check their parent (and position) before anything is made,
// then make the object through the virtual creating method (called directly
// when nothing overrides it).
#include <cstdlib>

#include "Qmdb/Qmdb"
#include "Qmdb/handle/Internal.h"
#include "Qmdb/handle/Placement.h"
#include "Qmdb/handle/TextConvert.h"
#include "Qmdb/objects/ChildList.h"
#include "Qmdb/objects/Creation.h"
#include "Qmdb/objects/Records.h"
#include "Qmdb/objects/StoredText.h"

using qmdb::handle::Internal;
using qmdb::handle::placeMade;
using qmdb::handle::textIn;
namespace objects = qmdb::objects;
namespace object = qmdb::objects::object;
namespace store = qmdb::store;

long Qmdb::node(const char* gid) {
  store::Store* s = Internal::writable(*this);
  if (s == nullptr) return 0;
  static thread_local qmdb::handle::HoldingSlot held;
  const char* g;
  if (!textIn(mp_Encoding, gid, held, g)) return 0;
  // A gid the pool holds goes into the node record as it is written; a new
  // one is stored after the records, as storeName stores it.
  store::StringPool::Probe probe;
  long pooled = g != nullptr && s->pool != nullptr ? s->pool->find(g, probe) : 0;
  long result = 0;
  long r = 0;
  long o = objects::createNode(*s, pooled, r);
  if (r != 0) {
    if (pooled != 0) {
      result = pooled;
    } else {
      result = g != nullptr ? objects::storeName(*s, objects::nodeRecord::gidField(r), g) : r;
    }
  }
  s->changed = true;
  return result > 0 ? o : 0;
}

long Qmdb::string(const char* text) {
  store::Store* s = Internal::writable(*this);
  if (s == nullptr || text == nullptr) return 0;
  static thread_local qmdb::handle::HoldingSlot held;
  const char* t;
  if (!textIn(mp_Encoding, text, held, t)) return 0;
  bool stored = false;
  long o = objects::createString(*s, t, stored);
  s->changed = true;
  return stored ? o : 0;
}

long Qmdb::entity(const char* name, const char* value, QmdbEntityType type) {
  store::Store* s = Internal::writable(*this);
  if (s == nullptr || type == QmdbNoEntityType) return 0;
  static thread_local qmdb::handle::HoldingSlot heldName;
  static thread_local qmdb::handle::HoldingSlot heldValue;
  const char* n;
  if (!textIn(mp_Encoding, name, heldName, n)) return 0;
  const char* v;
  if (!textIn(mp_Encoding, value, heldValue, v)) return 0;
  long result = 0;
  long o = objects::createObjectRecord(*s);
  long r = o != 0 ? objects::makeEntityRecord(*s, o) : 0;
  if (r != 0) {
    long named = n != nullptr ? objects::storeName(*s, objects::entityRecord::nameField(r), n) : r;
    if (named != 0) {
      if (v != nullptr) {
        result = objects::setEntityValue(*s, r, type, v);
      } else {
        objects::setEntityValue(*s, r, type, nullptr);
        result = r;
      }
    }
  }
  s->changed = true;
  return result > 0 ? o : 0;
}

long Qmdb::pi(const char* target, const char* data) {
  store::Store* s = Internal::writable(*this);
  if (s == nullptr) return 0;
  static thread_local qmdb::handle::HoldingSlot heldTarget;
  static thread_local qmdb::handle::HoldingSlot heldData;
  const char* t;
  if (!textIn(mp_Encoding, target, heldTarget, t)) return 0;
  const char* d;
  if (!textIn(mp_Encoding, data, heldData, d)) return 0;
  long result = 0;
  long o = objects::createObjectRecord(*s);
  long r = o != 0 ? objects::makePiRecord(*s, o) : 0;
  if (r != 0) {
    long named = t != nullptr ? objects::storeName(*s, objects::piRecord::targetField(r), t) : r;
    if (named != 0) {
      result = d != nullptr ? objects::storeCopy(*s, objects::piRecord::dataField(r), d) : r;
    }
  }
  s->changed = true;
  return result != 0 ? o : 0;
}

long Qmdb::addNode(long parent, const char* gid) {
  return placeMade<true>(*this, parent, 0, true,
                         [&](bool plain) { return plain ? Qmdb::node(gid) : node(gid); });
}

long Qmdb::addString(long parent, const char* text) {
  return placeMade<true>(*this, parent, 0, true,
                         [&](bool plain) { return plain ? Qmdb::string(text) : string(text); });
}

long Qmdb::addEntity(long parent, const char* name, const char* value, QmdbEntityType type) {
  return placeMade<true>(*this, parent, 0, true, [&](bool plain) {
    return plain ? Qmdb::entity(name, value, type) : entity(name, value, type);
  });
}

long Qmdb::addPi(long parent, const char* target, const char* data) {
  return placeMade<true>(*this, parent, 0, true, [&](bool plain) {
    return plain ? Qmdb::pi(target, data) : pi(target, data);
  });
}

long Qmdb::insertNode(long parent, long after, const char* gid) {
  return placeMade<true>(*this, parent, after, false,
                         [&](bool plain) { return plain ? Qmdb::node(gid) : node(gid); });
}

long Qmdb::insertString(long parent, long after, const char* text) {
  return placeMade<true>(*this, parent, after, false,
                         [&](bool plain) { return plain ? Qmdb::string(text) : string(text); });
}

long Qmdb::insertEntity(long parent, long after, const char* name, const char* value,
                        QmdbEntityType type) {
  return placeMade<true>(*this, parent, after, false, [&](bool plain) {
    return plain ? Qmdb::entity(name, value, type) : entity(name, value, type);
  });
}

long Qmdb::insertPi(long parent, long after, const char* target, const char* data) {
  return placeMade<true>(*this, parent, after, false, [&](bool plain) {
    return plain ? Qmdb::pi(target, data) : pi(target, data);
  });
}
