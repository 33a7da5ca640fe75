// Qmdb methods of attributes: lookup, making (also free attributes),
// attaching, taking out, and their names, values, types and classes. Object
// handles are taken by absolute value; attribute handles are used as given.
#include "Qmdb/Qmdb"
#include "Qmdb/edits/AttributeRecords.h"
#include "Qmdb/edits/Attributes.h"
#include "Qmdb/handle/Internal.h"
#include "Qmdb/handle/TextConvert.h"
#include "Qmdb/objects/Records.h"
#include "Qmdb/store/HeapString.h"

using qmdb::handle::Internal;
using qmdb::handle::textIn;
using qmdb::handle::textOut;
namespace edits = qmdb::edits;
namespace objects = qmdb::objects;
namespace store = qmdb::store;
namespace attributeRecord = qmdb::edits::attributeRecord;

namespace {

// The body record of an object that can carry attributes; 0 otherwise. In
// line: every walk that reads attributes asks it once per node.
[[gnu::always_inline]] inline long carrierBody(Qmdb& db, store::Store& s, long object) {
  long o = objects::handleOf(object);
  if (o == objects::kRoot) return 0;
  if (o == 0) return 0;
  long own = 0;
  QmdbObjectType kind = Internal::kindAndBody(db, s, o, own);
  if (kind != QmdbNode && kind != QmdbEntity && kind != QmdbPi) return 0;
  return own;
}

// Name comparison: byte for byte, or with the ASCII letters A-Z equal to a-z
// and every other byte as it is (whatever the process's locale says).
bool sameName(const char* a, const char* b, bool exact) {
  auto fold = [exact](unsigned char c) {
    return !exact && c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c - 'A' + 'a') : c;
  };
  for (;; ++a, ++b) {
    if (fold(static_cast<unsigned char>(*a)) != fold(static_cast<unsigned char>(*b))) return false;
    if (*a == '\0') return true;
  }
}

// Gives the name and value to a new attribute; the attribute, or 0.
long nameAndValue(store::Store& s, long a, const char* name, const char* value, long type,
                  long cls) {
  if (name != nullptr && !edits::setAttributeName(s, a, name)) return 0;
  if (value == nullptr) {
    edits::setAttributeValue(s, a, nullptr, type, cls);
    return a;
  }
  return edits::setAttributeValue(s, a, value, type, cls) != 0 ? a : 0;
}

}  // namespace

long Qmdb::attribute(long object, const char* name, QmdbAttributeType type, QmdbAttributeClass cls,
                     bool exact) const {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr) return 0;
  long own = carrierBody(*const_cast<Qmdb*>(this), *s, object);
  if (own == 0) return 0;
  long list = objects::body::attributes(*s, own);
  if (list == 0) return 0;
  static thread_local qmdb::handle::HoldingSlot held;
  const char* sought;
  if (!textIn(mp_Encoding, name, held, sought)) return 0;
  long steps = edits::attributeWalkLimit(*s);
  for (long a = edits::attributeList::first(*s, list);
       a != 0 && a != attributeRecord::kFreeMarker && steps-- > 0;
       a = attributeRecord::next(*s, a)) {
    if (type != QmdbNoAttributeType && attributeRecord::type(*s, a) != type) continue;
    if (cls != QmdbNoAttributeClass && attributeRecord::cls(*s, a) != cls) continue;
    if (sought != nullptr) {
      const char* stored = store::readHeapString(*s, attributeRecord::name(*s, a));
      if (stored == nullptr || !sameName(stored, sought, exact)) continue;
    }
    return a;
  }
  return 0;
}

long Qmdb::nextAttribute(long a) const {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr || a == 0) return 0;
  long next = attributeRecord::next(*s, a);
  return next == attributeRecord::kFreeMarker ? 0 : next;
}

long Qmdb::addAttribute(long object, const char* name, const char* value, QmdbAttributeType type,
                        QmdbAttributeClass cls) {
  store::Store* s = Internal::writable(*this);
  if (s == nullptr || type == QmdbNoAttributeType || cls == QmdbNoAttributeClass) return 0;
  static thread_local qmdb::handle::HoldingSlot heldName;
  static thread_local qmdb::handle::HoldingSlot heldValue;
  if (object == 0) {
    // A free attribute is made in the handle's holder list and taken out at once.
    long& holder = Internal::freeAttributes(*this);
    if (holder == 0) holder = edits::makeAttributeList(*s, 0);
    if (holder == 0) return 0;
    const char* n;
    if (!textIn(mp_Encoding, name, heldName, n)) return 0;
    const char* v;
    if (!textIn(mp_Encoding, value, heldValue, v)) return 0;
    long a = edits::makeAttribute(*s, holder);
    if (a == 0 || nameAndValue(*s, a, n, v, type, cls) == 0) return 0;
    edits::unlinkAttribute(*s, holder, a);
    attributeRecord::setNext(*s, a, attributeRecord::kFreeMarker);
    s->changed = true;
    return a;
  }
  long own = carrierBody(*this, *s, object);
  if (own == 0) return 0;
  const char* n;
  if (!textIn(mp_Encoding, name, heldName, n)) return 0;
  const char* v;
  if (!textIn(mp_Encoding, value, heldValue, v)) return 0;
  long result = 0;
  long a = edits::makeBodyAttribute(*s, own);
  if (a != 0) result = nameAndValue(*s, a, n, v, type, cls);
  s->changed = true;
  return result;
}

long Qmdb::addAttr(long object, long a) {
  store::Store* s = Internal::writable(*this);
  if (s == nullptr) return 0;
  long own = carrierBody(*this, *s, object);
  if (own == 0) return 0;
  long list = objects::body::attributes(*s, own);
  if (list == 0) list = edits::makeAttributeList(*s, own);
  return list != 0 ? edits::attachAttribute(*s, list, a) : 0;
}

bool Qmdb::isAttrAttached(long a) const {
  // No test of the failed flag; a number that names no readable record is no
  // attached attribute.
  if (store_ == nullptr || !attributeRecord::readable(*store_, a)) return false;
  return attributeRecord::next(*store_, a) != attributeRecord::kFreeMarker;
}

long Qmdb::setAttrName(long a, const char* name) {
  store::Store* s = Internal::writable(*this);
  if (s == nullptr || a == 0) return 0;
  static thread_local qmdb::handle::HoldingSlot held;
  const char* n;
  if (!textIn(mp_Encoding, name, held, n)) return 0;
  // Clearing the name cannot fail; a name that cannot be stored keeps the old one.
  long result = edits::setAttributeName(*s, a, n) || n == nullptr ? a : 0;
  s->changed = true;
  return result;
}

long Qmdb::setAttrValue(long a, const char* value) {
  store::Store* s = Internal::writable(*this);
  if (s == nullptr || a == 0) return 0;
  QmdbAttributeType type = attrType(a);
  QmdbAttributeClass cls = attrClass(a);
  if (type == QmdbNoAttributeType || cls == QmdbNoAttributeClass) return 0;
  static thread_local qmdb::handle::HoldingSlot held;
  const char* v;
  if (!textIn(mp_Encoding, value, held, v)) return 0;
  long result = a;
  if (v == nullptr) {
    edits::setAttributeValue(*s, a, nullptr, type, cls);
  } else if (edits::setAttributeValue(*s, a, v, type, cls) == 0) {
    result = 0;
  }
  s->changed = true;
  return result;
}

char* Qmdb::attrName(long a) const {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr || a == 0) return nullptr;
  static thread_local qmdb::handle::HoldingSlot held;
  return textOut(mp_Encoding, store::readHeapString(*s, attributeRecord::name(*s, a)), held);
}

char* Qmdb::attrValue(long a) const {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr || a == 0) return nullptr;
  static thread_local qmdb::handle::HoldingSlot held;
  return textOut(mp_Encoding, store::readHeapString(*s, attributeRecord::value(*s, a)), held);
}

QmdbAttributeType Qmdb::attrType(long a) {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr || a == 0) return QmdbNoAttributeType;
  return static_cast<QmdbAttributeType>(attributeRecord::type(*s, a));
}

QmdbAttributeClass Qmdb::attrClass(long a) {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr || a == 0) return QmdbNoAttributeClass;
  return static_cast<QmdbAttributeClass>(attributeRecord::cls(*s, a));
}

bool Qmdb::dropAttribute(long object, long a) {
  store::Store* s = Internal::writable(*this);
  if (s == nullptr || a == 0) return false;
  long own = carrierBody(*this, *s, object);
  long list = own != 0 ? objects::body::attributes(*s, own) : 0;
  if (list == 0 || !edits::unlinkAttribute(*s, list, a)) return false;
  s->changed = true;
  return true;
}

long Qmdb::removeAttribute(long object, long a) {
  store::Store* s = Internal::writable(*this);
  if (s == nullptr || a == 0) return 0;
  long own = carrierBody(*this, *s, object);
  long list = own != 0 ? objects::body::attributes(*s, own) : 0;
  if (list == 0 || !edits::unlinkAttribute(*s, list, a)) return 0;
  attributeRecord::setNext(*s, a, attributeRecord::kFreeMarker);
  s->changed = true;
  return a;
}
