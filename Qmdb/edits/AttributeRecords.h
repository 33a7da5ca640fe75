// The records of attributes, one accessor each.
//
// An attribute is an attribute record; the attributes of a node, entity or pi
// are a singly linked list of them, reached from the attribute list record
// that the body's attributes field names. A free attribute belongs to no
// list: its next field holds the free marker 1.
#ifndef QMDB_EDITS_ATTRIBUTERECORDS_H
#define QMDB_EDITS_ATTRIBUTERECORDS_H

#include <cstdint>
#include <cstring>

#include "Qmdb/store/PageCache.h"

namespace qmdb::edits {

using store::Store;

// Attribute record (16 bytes)
//   OFFSET  SIZE  MEANING
//        0     4  next: the next attribute record of the list; 0 for the last; 1 when free
//        4     4  name: heap string, pooled; 0 for none
//        8     4  value: heap string, an own copy; 0 for none
//       12     1  type: low 8 bits of the QmdbAttributeType
//       13     1  class: low 8 bits of the QmdbAttributeClass
//       14     2  padding, never written or read
namespace attributeRecord {
constexpr long kNext = 0;
constexpr long kName = 4;
constexpr long kValue = 4 + 4;
constexpr long kType = 4 + 4 + 4;
constexpr long kClass = 4 + 4 + 4 + 1;
constexpr long kSize = 4 + 4 + 4 + 1 + 1 + 2;
/// The next field of a free attribute.
constexpr long kFreeMarker = 1;

/// Whether a whole record at `a` lies below the heap top within one page (0 never does).
inline bool readable(Store& s, long a) {
  return a != 0 && store::fieldPointer(s, a, kSize) != nullptr;
}
inline long next(Store& s, long a) {
  return get32(s, a + kNext);
}
inline long name(Store& s, long a) {
  return get32(s, a + kName);
}
inline long value(Store& s, long a) {
  return get32(s, a + kValue);
}
inline int type(Store& s, long a) {
  return get8(s, a + kType);
}
inline int cls(Store& s, long a) {
  return get8(s, a + kClass);
}
inline bool setNext(Store& s, long a, long v) {
  return put32(s, a + kNext, static_cast<int32_t>(v));
}
inline bool setName(Store& s, long a, long v) {
  return put32(s, a + kName, static_cast<int32_t>(v));
}
inline bool setValue(Store& s, long a, long v) {
  return put32(s, a + kValue, static_cast<int32_t>(v));
}
inline bool setType(Store& s, long a, long t) {
  return put8(s, a + kType, static_cast<uint8_t>(t & 0xff));
}
inline bool setClass(Store& s, long a, long c) {
  return put8(s, a + kClass, static_cast<uint8_t>(c & 0xff));
}
/// Sets the value, the type and the class of `a` through one pointer.
inline bool setValueTypeAndClass(Store& s, long a, long v, long t, long c) {
  uint8_t* p = store::fieldPointer(s, a + kValue, kClass - kValue + 1);
  if (p == nullptr) return false;
  store::encodeFixed32(p, static_cast<int32_t>(v));
  p[kType - kValue] = static_cast<uint8_t>(t & 0xff);
  p[kClass - kValue] = static_cast<uint8_t>(c & 0xff);
  store::markDirty(s);
  return true;
}
/// Sets the type and the class of `a` through one pointer.
inline bool setTypeAndClass(Store& s, long a, long t, long c) {
  uint8_t* p = store::fieldPointer(s, a + kType, kClass - kType + 1);
  if (p == nullptr) return false;
  p[0] = static_cast<uint8_t>(t & 0xff);
  p[kClass - kType] = static_cast<uint8_t>(c & 0xff);
  store::markDirty(s);
  return true;
}
/// Writes a new attribute record at `p`, in a frame: last of its list, with
/// no name, value or type (class and padding are not written).
inline void initAt(uint8_t* p) {
  memset(p, 0, kType + 1);
}
/// Writes a new attribute record at `a`, through one pointer.
inline bool init(Store& s, long a) {
  uint8_t* p = store::fieldPointer(s, a, kType + 1);
  if (p == nullptr) return false;
  initAt(p);
  store::markDirty(s);
  return true;
}
/// The addresses of the fields that are followed or stored into.
inline long nextField(long a) {
  return a + kNext;
}
inline long nameField(long a) {
  return a + kName;
}
inline long valueField(long a) {
  return a + kValue;
}
}  // namespace attributeRecord

// Attribute list record (4 bytes)
//   OFFSET  SIZE  MEANING
//        0     4  first attribute: the first attribute record; 0 when the list is empty
namespace attributeList {
constexpr long kFirst = 0;
constexpr long kSize = 4;

inline long first(Store& s, long l) {
  return get32(s, l + kFirst);
}
inline bool setFirst(Store& s, long l, long v) {
  return put32(s, l + kFirst, static_cast<int32_t>(v));
}
/// The address of the first-attribute field.
inline long firstField(long l) {
  return l + kFirst;
}
}  // namespace attributeList

}  // namespace qmdb::edits

#endif
