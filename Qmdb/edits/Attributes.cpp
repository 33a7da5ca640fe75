#include "Qmdb/edits/Attributes.h"

#include <cstring>

#include "Qmdb/edits/AttributeRecords.h"
#include "Qmdb/objects/Records.h"
#include "Qmdb/objects/StoredText.h"
#include "Qmdb/store/HeapString.h"

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

long makeBodyAttribute(store::Store& s, long body) {
  long list = objects::body::attributes(s, body);
  if (list != 0) return makeAttribute(s, list);
  constexpr long kBoth = attributeList::kSize + attributeRecord::kSize;
  if (!store::fitsOnTopPage(s, kBoth)) {
    list = makeAttributeList(s, body);
    return list != 0 ? makeAttribute(s, list) : 0;
  }
  list = store::reserveRecord(s, kBoth);
  uint8_t* p = list != 0 ? store::fieldPointer(s, list, kBoth) : nullptr;
  if (p == nullptr) return 0;
  long a = list + attributeList::kSize;
  store::encodeFixed32(p + attributeList::kFirst, static_cast<int32_t>(a));
  attributeRecord::initAt(p + attributeList::kSize);
  store::markDirty(s);
  objects::body::setAttributes(s, body, list);
  return a;
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
  if (value != nullptr) {
    copy = store::writeHeapString(s, value, strlen(value));
    if (copy == 0) return 0;
  }
  // The value field is written with the type and class: a copy that cannot be
  // pointed to leaves all three as they were.
  if (!attributeRecord::setValueTypeAndClass(s, a, copy, type, cls)) return 0;
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
