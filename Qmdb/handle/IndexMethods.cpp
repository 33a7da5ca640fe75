// Qmdb methods of named indexes: the catalogue, storing entries, looking them
// up by key, key list or key range, pulling them out, and listing keys.
//
// Each method converts its text, then calls the engine in Qmdb/indexes. Texts
// are copied before the engine runs, since a caller may hand over a text that
// points into one of this database's page frames (getId, indexName). Entries
// name other databases by registry id; a lookup hands back the live database
// of that id and skips entries whose database is gone.
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "Qmdb/Qmdb"
#include "Qmdb/handle/DatabaseRegistry.h"
#include "Qmdb/handle/Internal.h"
#include "Qmdb/handle/TextConvert.h"
#include "Qmdb/indexes/Catalogue.h"
#include "Qmdb/objects/Records.h"
#include "Qmdb/indexes/KeyNode.h"
#include "Qmdb/indexes/KeyTree.h"
#include "Qmdb/indexes/Lookup.h"
#include "Qmencoding/QmCEncoding.h"

using qmdb::handle::Internal;
using qmdb::handle::textIn;
using qmdb::handle::textOut;
namespace indexes = qmdb::indexes;
namespace store = qmdb::store;

namespace {

// A copy of `text` that no page-frame eviction can touch; false when memory runs out.
bool ownCopy(const char* text, std::string& out) {
  try {
    out.assign(text);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

// Appends collected entries to a caller's list, or only counts them.
class ListSink : public indexes::EntrySink {
 public:
  ListSink(const Qmdb& self, QmdbList* list) : self_(self), list_(list) {}
  bool take(uint32_t database, long object) override {
    void* db = nullptr;
    if (database != 0) {
      Qmdb* other = qmdb::handle::findDatabase(database);
      if (other == nullptr) return false;  // that database is gone
      if (other != &self_) db = other;
    }
    if (list_ != nullptr && !list_->add(db, object)) return false;
    ++added_;
    return true;
  }
  long added() const { return added_; }

 private:
  const Qmdb& self_;
  QmdbList* list_;
  long added_ = 0;
};

// Appends listed keys to a caller's string list, or only counts them.
class KeyListSink : public indexes::KeySink {
 public:
  explicit KeyListSink(QmdbStringList* keys) : keys_(keys) {}
  bool take(const char* key) override {
    if (keys_ != nullptr && !keys_->add(key)) return false;
    ++added_;
    return true;
  }
  long added() const { return added_; }

 private:
  QmdbStringList* keys_;
  long added_ = 0;
};

// The keys of a key list, for an exact lookup; the list's cursor ends past the
// last key. False for a null or empty list.
bool keysOf(QmdbStringList* keys, std::vector<const char*>& out) {
  if (keys == nullptr || keys->first() == nullptr) return false;
  for (const char* k = keys->first(); k != nullptr; k = keys->next()) out.push_back(k);
  return true;
}

// Looks up a key, a key range or the whole index (see indexes::collectRange).
long lookUp(const Qmdb& self, store::Store& s, QmdbList* list, long index, const char* from,
            const char* to, bool pull) {
  ListSink sink(self, list);
  try {
    std::string fromCopy(from != nullptr ? from : "");
    std::string toCopy(to != nullptr ? to : "");
    indexes::collectRange(s, index, from != nullptr ? fromCopy.c_str() : nullptr,
                          to != nullptr ? toCopy.c_str() : nullptr, pull, sink);
  } catch (const std::bad_alloc&) {
    // Without memory for the walk's scratch lists the lookup ends where it is.
  }
  return sink.added();
}

// Looks up the range `from` to `to`, given in the caller's coding; -1 when a
// bound cannot be converted (nothing was looked up).
long lookUpRange(const Qmdb& self, store::Store& s, QmdbList* list, long index, const char* from,
                 const char* to, bool pull) {
  static thread_local qmdb::handle::HoldingSlot heldFrom;
  static thread_local qmdb::handle::HoldingSlot heldTo;
  const char* lower;
  if (!textIn(Internal::encoding(self), from, heldFrom, lower)) return -1;
  const char* upper;
  if (!textIn(Internal::encoding(self), to, heldTo, upper)) return -1;
  return lookUp(self, s, list, index, lower, upper, pull);
}

// Looks up every key of a key list; 0 for a null or empty list.
long lookUpKeys(const Qmdb& self, store::Store& s, QmdbList* list, long index, QmdbStringList* keys,
                bool pull, bool& refused) {
  ListSink sink(self, list);
  refused = false;
  try {
    std::vector<const char*> sought;
    if (!keysOf(keys, sought)) {
      refused = true;
      return 0;
    }
    indexes::collectKeys(s, index, sought, pull, sink);
    // A walk that visits no key node leaves the cursor where the emptiness test put it.
    if (indexes::keyNode::firstChild(s, index) == 0) keys->first();
  } catch (const std::bad_alloc&) {
    // As above.
  }
  return sink.added();
}

}  // namespace

long Qmdb::index(const char* name) const {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr) return 0;
  if (name == nullptr) return s->firstIndex;
  static thread_local qmdb::handle::HoldingSlot held;
  std::string text;
  const char* converted;
  if (!textIn(mp_Encoding, name, held, converted) || !ownCopy(converted, text)) return 0;
  return indexes::findIndex(*s, text.c_str());
}

long Qmdb::nextIndex(long index) const {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr || index == 0) return 0;
  return indexes::keyNode::next(*s, index);
}

long Qmdb::addIndex(const char* name) {
  store::Store* s = Internal::writable(*this);
  if (s == nullptr || name == nullptr || index(name) != 0) return 0;
  static thread_local qmdb::handle::HoldingSlot held;
  std::string text;
  const char* converted;
  if (!textIn(mp_Encoding, name, held, converted) || !ownCopy(converted, text)) return 0;
  long made = indexes::appendIndex(*s, text.c_str());
  s->changed = true;
  return made;
}

bool Qmdb::dropIndex(const char* name) {
  return dropIndex(index(name));
}

bool Qmdb::dropIndex(long index) {
  store::Store* s = Internal::writable(*this);
  if (s == nullptr || index == 0) return false;
  if (!indexes::unlinkIndex(*s, index)) return false;
  s->changed = true;
  return true;
}

long Qmdb::setIndexName(long index, const char* name) {
  store::Store* s = Internal::writable(*this);
  if (s == nullptr || index == 0 || name == nullptr || this->index(name) != 0) return 0;
  static thread_local qmdb::handle::HoldingSlot held;
  std::string text;
  const char* converted;
  if (!textIn(mp_Encoding, name, held, converted) || !ownCopy(converted, text)) return 0;
  long renamed = indexes::renameIndex(*s, index, text.c_str());
  s->changed = true;
  return renamed;
}

char* Qmdb::indexName(long index) const {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr || index == 0) return nullptr;
  static thread_local qmdb::handle::HoldingSlot held;
  return textOut(mp_Encoding, indexes::indexNameText(*s, index), held);
}

long Qmdb::indexKeys(QmdbStringList* keys, const char* indexName) const {
  return indexKeys(keys, index(indexName));
}

long Qmdb::indexKeys(QmdbStringList* keys, long index) const {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr || index == 0) return 0;
  KeyListSink sink(keys);
  indexes::listKeys(*s, index, sink);
  return sink.added();
}

long Qmdb::putIndex(const char* indexName, Qmdb* database, long object, const char* key,
                    bool unique) {
  return putIndex(index(indexName), database, object, key, unique);
}

long Qmdb::putIndex(const char* indexName, long object, const char* key, bool unique) {
  return putIndex(index(indexName), object, key, unique);
}

long Qmdb::putIndex(long index, Qmdb* database, long object, const char* key, bool unique) {
  store::Store* s = Internal::writable(*this);
  long h = qmdb::objects::handleOf(object);
  if (s == nullptr || index == 0 || h == 0 || h == 1) return 0;
  if (key == nullptr) {
    // The object's own text, as its own database gives it.
    Qmdb& owner = database != nullptr ? *database : *this;
    switch (owner.objectType(h)) {
      case QmdbNode:
      case QmdbEntity:
      case QmdbPi:
        key = owner.getId(h);
        break;
      case QmdbString:
        key = owner.getValue(h);
        break;
      default:
        break;
    }
    if (key == nullptr) return 0;
  }
  static thread_local qmdb::handle::HoldingSlot held;
  std::string text;
  const char* converted;
  if (!textIn(mp_Encoding, key, held, converted) || !ownCopy(converted, text)) return 0;
  uint32_t id = database == nullptr || database == this ? 0 : Internal::id(*database);
  bool stored = indexes::insertKey(*s, index, text.data(), text.size(), id, h, unique);
  s->changed = true;
  return stored ? h : 0;
}

long Qmdb::putIndex(long index, long object, const char* key, bool unique) {
  return putIndex(index, nullptr, object, key, unique);
}

long Qmdb::getIndex(QmdbList* list, char* indexName, QmdbStringList* keys) const {
  return getIndex(list, index(indexName), keys);
}

long Qmdb::getIndex(QmdbList* list, long index, QmdbStringList* keys) const {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr || index == 0) return 0;
  bool refused = false;
  return lookUpKeys(*this, *s, list, index, keys, false, refused);
}

long Qmdb::getIndex(QmdbList* list, char* indexName, char* from, char* to) const {
  return getIndex(list, index(indexName), from, to);
}

long Qmdb::getIndex(QmdbList* list, long index, char* from, char* to) const {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr || index == 0) return 0;
  long found = lookUpRange(*this, *s, list, index, from, to, false);
  return found > 0 ? found : 0;
}

long Qmdb::pullIndex(QmdbList* list, char* indexName, QmdbStringList* keys) {
  return pullIndex(list, index(indexName), keys);
}

long Qmdb::pullIndex(QmdbList* list, long index, QmdbStringList* keys) {
  store::Store* s = Internal::writable(*this);
  if (s == nullptr || index == 0) return 0;
  bool refused = false;
  long pulled = lookUpKeys(*this, *s, list, index, keys, true, refused);
  if (!refused) s->changed = true;
  return pulled;
}

long Qmdb::pullIndex(QmdbList* list, char* indexName, char* from, char* to) {
  return pullIndex(list, index(indexName), from, to);
}

long Qmdb::pullIndex(QmdbList* list, long index, char* from, char* to) {
  store::Store* s = Internal::writable(*this);
  if (s == nullptr || index == 0) return 0;
  long pulled = lookUpRange(*this, *s, list, index, from, to, true);
  if (pulled < 0) return 0;
  s->changed = true;
  return pulled;
}
