// Qmdb methods that read and set the texts of objects: the id (gid), the
// value and the notation. Getters return the stored text itself with a
// transparent coding, else a conversion held per getter.
#include <cstdlib>

#include "Qmdb/Qmdb"
#include "Qmdb/handle/Internal.h"
#include "Qmdb/handle/TextConvert.h"
#include "Qmdb/objects/Creation.h"
#include "Qmdb/objects/Records.h"
#include "Qmdb/objects/StoredText.h"
#include "Qmdb/store/HeapString.h"

using qmdb::handle::Internal;
using qmdb::handle::textIn;
using qmdb::handle::textOut;
namespace objects = qmdb::objects;
namespace object = qmdb::objects::object;
namespace store = qmdb::store;

namespace {

bool hasName(QmdbObjectType kind) {
  return kind == QmdbNode || kind == QmdbEntity || kind == QmdbPi;
}

// The heap address of the text of one property of `o`, or 0.
enum class Property { kId, kValue, kNotation };

[[gnu::always_inline]] inline long propertyText(Qmdb& db, store::Store& s, long o,
                                                Property property) {
  long h = qmdb::objects::handleOf(o);
  if (h == 0 || h == objects::kRoot) return 0;
  long own = 0;
  QmdbObjectType kind = Internal::kindAndBody(db, s, h, own);
  switch (property) {
    case Property::kId:
      return hasName(kind) && own != 0 ? objects::body::name(s, own) : 0;
    case Property::kValue:
      if (kind == QmdbString) return own;
      if (own == 0) return 0;
      if (kind == QmdbEntity) return objects::entityRecord::value(s, own);
      if (kind == QmdbPi) return objects::piRecord::data(s, own);
      return 0;
    case Property::kNotation:
      return kind == QmdbEntity && own != 0 ? objects::entityRecord::notation(s, own) : 0;
  }
  return 0;
}

}  // namespace

char* Qmdb::getId(long o) const {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr) return nullptr;
  long text = propertyText(*const_cast<Qmdb*>(this), *s, o, Property::kId);
  static thread_local qmdb::handle::HoldingSlot held;
  return textOut(mp_Encoding, store::readHeapString(*s, text), held);
}

char* Qmdb::getGid(long o) const {
  return getId(o);
}

char* Qmdb::getValue(long o) const {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr) return nullptr;
  long text = propertyText(*const_cast<Qmdb*>(this), *s, o, Property::kValue);
  static thread_local qmdb::handle::HoldingSlot held;
  return textOut(mp_Encoding, store::readHeapString(*s, text), held);
}

char* Qmdb::getNotation(long o) const {
  store::Store* s = Internal::usable(*this);
  if (s == nullptr) return nullptr;
  long text = propertyText(*const_cast<Qmdb*>(this), *s, o, Property::kNotation);
  static thread_local qmdb::handle::HoldingSlot held;
  return textOut(mp_Encoding, store::readHeapString(*s, text), held);
}

long Qmdb::setId(long o, const char* id) {
  store::Store* s = Internal::writable(*this);
  long h = qmdb::objects::handleOf(o);
  if (s == nullptr || h == 0 || h == objects::kRoot || !hasName(objectType(h))) return 0;
  static thread_local qmdb::handle::HoldingSlot held;
  const char* text;
  if (!textIn(mp_Encoding, id, held, text)) return 0;
  long own = object::body(*s, h);
  if (own == 0) return 0;
  long field = objects::body::nameField(own);
  long result = objects::storeName(*s, field, text);
  if (text == nullptr) result = h;
  if (result == 0) return 0;
  s->changed = true;
  return h;
}

long Qmdb::setGid(long o, const char* gid) {
  return setId(o, gid);
}

long Qmdb::setValue(long o, const char* value) {
  store::Store* s = Internal::writable(*this);
  long h = qmdb::objects::handleOf(o);
  if (s == nullptr || h == 0 || h == objects::kRoot) return 0;
  static thread_local qmdb::handle::HoldingSlot held;
  const char* text;
  if (!textIn(mp_Encoding, value, held, text)) return 0;
  long own = object::body(*s, h);
  if (own == 0) return 0;
  long result = 0;
  switch (objectType(h)) {
    case QmdbString:
      if (text != nullptr) result = objects::setStringText(*s, h, text);
      break;
    case QmdbEntity: {
      long type = entityType(h);
      result = objects::setEntityValue(*s, own, type, text);
      if (text == nullptr) result = h;
      break;
    }
    case QmdbPi:
      result = objects::storeCopy(*s, objects::piRecord::dataField(own), text);
      if (text == nullptr) result = h;
      break;
    default:
      break;
  }
  if (result == 0) return 0;
  s->changed = true;
  return h;
}

long Qmdb::setNotation(long o, const char* notation) {
  store::Store* s = Internal::writable(*this);
  long h = qmdb::objects::handleOf(o);
  if (s == nullptr || objectType(h) != QmdbEntity) return 0;
  static thread_local qmdb::handle::HoldingSlot held;
  const char* text;
  if (!textIn(mp_Encoding, notation, held, text)) return 0;
  long own = object::body(*s, h);
  if (own == 0) return 0;
  long field = objects::entityRecord::notationField(own);
  long result = objects::storeName(*s, field, text);
  if (text == nullptr) result = h;
  if (result == 0) return 0;
  s->changed = true;
  return h;
}
