#include "Qmdb/edits/Attributes.h"

#include "Qmdb/edits/AttributeRecords.h"
#include "Qmdb/objects/Records.h"
#include "Qmdb/objects/StoredText.h"

namespace qmdb::edits {

namespace {

// Writes `a` into the field that ends the list (the first field when empty).
bool append(store::Store& s, long list, long a) {
  long field = attributeList::firstField(list);
  long steps = attributeWalkLimit(s);
  for (long at = store::get32(s, field); at != 0; at = store::get32(s, field)) {
    if (--steps < 0 || at == attributeRecord::kFreeMarker) return false;
    field = attributeRecord::nextField(at);
  }
  return store::put32(s, field, static_cast<int32_t>(a));
}

}  // namespace

long makeAttributeList(store::Store& s, long body) {
  long l = store::reserveRecord(s, attributeList::kSize);
  if (l == 0) return 0;
  attributeList::setFirst(s, l, 0);
  if (body != 0) objects::body::setAttributes(s, body, l);
  return l;
}

long makeAttribute(store::Store& s, long list) {
  long a = store::reserveRecord(s, attributeRecord::kSize);
  if (a == 0) return 0;
  attributeRecord::init(s, a);
  if (list == 0) return 0;
  return append(s, list, a) ? a : 0;
}

long attachAttribute(store::Store& s, long list, long a) {
  if (a == 0 || attributeRecord::next(s, a) != attributeRecord::kFreeMarker) return 0;
  attributeRecord::setNext(s, a, 0);
  return append(s, list, a) ? a : 0;
}

bool setAttributeName(store::Store& s, long a, const char* name) {
  if (name == nullptr) return attributeRecord::setName(s, a, 0);
  return objects::storeName(s, attributeRecord::nameField(a), name) != 0;
}

long setAttributeValue(store::Store& s, long a, const char* value, long type, long cls) {
  long copy = 0;
  if (value == nullptr) {
    attributeRecord::setValue(s, a, 0);
  } else {
    copy = objects::storeCopy(s, attributeRecord::valueField(a), value);
    if (copy == 0) return 0;
  }
  attributeRecord::setTypeAndClass(s, a, type, cls);
  return copy;
}

bool unlinkAttribute(store::Store& s, long list, long a) {
  long field = attributeList::firstField(list);
  long steps = attributeWalkLimit(s);
  for (long at = store::get32(s, field); at != 0 && at != attributeRecord::kFreeMarker;
       at = store::get32(s, field)) {
    if (--steps < 0) return false;
    if (at == a) return store::put32(s, field, static_cast<int32_t>(attributeRecord::next(s, a)));
    field = attributeRecord::nextField(at);
  }
  return false;
}

}  // namespace qmdb::edits
