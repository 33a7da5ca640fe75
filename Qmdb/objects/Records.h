// The records of document objects, one accessor each.
//
// Every object is an object record (tree links, link, body, kind) and a body:
// a node record, entity record or pi record, or for a string its text (a heap
// string). The database root (handle 1) has no object record; its child list
// is the root record, a node record at heap address 40 whose owner is 0.
// All fields are little-endian 32-bit words unless said otherwise; the
// offsets are the file format. Fields are read and written only through the
// functions below, which go through get32/put32 of the page cache and so
// never touch a byte at or above the heap top.
#ifndef QMDB_OBJECTS_RECORDS_H
#define QMDB_OBJECTS_RECORDS_H

#include <cstdint>
#include <cstring>

#include "Qmdb/store/PageCache.h"

namespace qmdb::objects {

using store::Store;

/// The handle of the database root.
constexpr long kRoot = 1;
/// The heap address of the root record, the child list of the database root.
constexpr long kRootRecord = store::kHeaderSize;
/// The smallest handle an object can have: the first address after the root record.
constexpr long kFirstObject = store::kEmptyHeapTop;

// Object record (24 bytes)
//   OFFSET  SIZE  MEANING
//        0     4  previous sibling: handle, 0 if first or detached
//        4     4  next sibling: handle, 0 if last or detached
//        8     4  parent content: the node record (or root record) holding it; 0 if detached
//       12     4  link: the link record, 0 for none
//       16     4  body: node/entity/pi record, or the string's text; 0 while being made
//       20     1  kind: QmdbObjectType 1-4; 0 while being made and once dropped
//       21     3  padding, never written or read
namespace object {
constexpr long kPrevious = 0;
constexpr long kNext = 4;
constexpr long kParent = 4 + 4;
constexpr long kLink = 4 + 4 + 4;
constexpr long kBody = 4 + 4 + 4 + 4;
constexpr long kKind = 4 + 4 + 4 + 4 + 4;
constexpr long kSize = 4 + 4 + 4 + 4 + 4 + 1 + 3;

inline long previous(Store& s, long o) {
  return get32(s, o + kPrevious);
}
inline long next(Store& s, long o) {
  return get32(s, o + kNext);
}
inline long parent(Store& s, long o) {
  return get32(s, o + kParent);
}
inline long link(Store& s, long o) {
  return get32(s, o + kLink);
}
inline long body(Store& s, long o) {
  return get32(s, o + kBody);
}
inline int kind(Store& s, long o) {
  return get8(s, o + kKind);
}

inline bool setPrevious(Store& s, long o, long v) {
  return put32(s, o + kPrevious, static_cast<int32_t>(v));
}
inline bool setNext(Store& s, long o, long v) {
  return put32(s, o + kNext, static_cast<int32_t>(v));
}
inline bool setParent(Store& s, long o, long v) {
  return put32(s, o + kParent, static_cast<int32_t>(v));
}
inline bool setLink(Store& s, long o, long v) {
  return put32(s, o + kLink, static_cast<int32_t>(v));
}
inline bool setBody(Store& s, long o, long v) {
  return put32(s, o + kBody, static_cast<int32_t>(v));
}
inline bool setKind(Store& s, long o, int v) {
  return put8(s, o + kKind, static_cast<uint8_t>(v));
}
/// Writes the kind and the body of the object record at `p`, in a frame.
inline void writeKindAndBody(uint8_t* p, int kind, long body) {
  store::encodeFixed32(p + kBody, static_cast<int32_t>(body));
  p[kKind] = static_cast<uint8_t>(kind);
}
/// Sets the kind and the body of `o` through one pointer; false when its page
/// cannot be had.
inline bool setKindAndBody(Store& s, long o, int kind, long body) {
  uint8_t* p = fieldPointer(s, o, kKind + 1);
  if (p == nullptr) return false;
  writeKindAndBody(p, kind, body);
  markDirty(s);
  return true;
}
/// Sets the next sibling of `o` to `v` and gives the one it replaces, through
/// one pointer; 0 (nothing written) when the field is not there.
inline long exchangeNext(Store& s, long o, long v) {
  return store::exchange32(s, o + kNext, static_cast<int32_t>(v));
}
/// Writes the three tree links of `o` through one pointer; false when its page
/// cannot be had.
inline bool setLinks(Store& s, long o, long previous, long next, long parent) {
  uint8_t* p = fieldPointer(s, o, kParent + 4);
  if (p == nullptr) return false;
  store::encodeFixed32(p + kPrevious, static_cast<int32_t>(previous));
  store::encodeFixed32(p + kNext, static_cast<int32_t>(next));
  store::encodeFixed32(p + kParent, static_cast<int32_t>(parent));
  markDirty(s);
  return true;
}
/// Writes a new, detached object record with every field 0 at `p`, in a
/// frame (the padding is not written).
inline void initAt(uint8_t* p) {
  memset(p, 0, kKind + 1);
}
/// Writes a new, detached object record at `o` with every field 0, through one
/// pointer; false when its page cannot be had.
inline bool init(Store& s, long o) {
  uint8_t* p = fieldPointer(s, o, kKind + 1);
  if (p == nullptr) return false;
  initAt(p);
  markDirty(s);
  return true;
}
/// The address of the body field, where a string's text is stored.
inline long bodyField(long o) {
  return o + kBody;
}

/// The tree fields of an object record, for readers that need several at once.
struct Fields {
  long previous = 0;
  long next = 0;
  long parent = 0;
  long body = 0;
  int kind = 0;
};
/// The fields of the object record at `o`, read through one pointer when the
/// record lies wholly below the heap top within one page, else one by one (0
/// for each field that is not there), so the values equal those of the single
/// field readers above.
[[gnu::noinline]] inline Fields fieldsOneByOne(Store& s, long o) {
  return {previous(s, o), next(s, o), parent(s, o), body(s, o), kind(s, o)};
}
inline Fields fields(Store& s, long o) {
  const uint8_t* p = fieldPointer(s, o, kKind + 1);
  if (p == nullptr) return fieldsOneByOne(s, o);  // rare: kept out of line
  return {store::decodeFixed32(p + kPrevious), store::decodeFixed32(p + kNext),
          store::decodeFixed32(p + kParent), store::decodeFixed32(p + kBody), p[kKind]};
}
}  // namespace object

// The three bodies begin alike, so names and attribute lists are read the same way:
//   OFFSET  SIZE  MEANING
//        0     4  name: gid, entity name or pi target (heap string, pooled); 0 for none
//        4     4  attributes: the attribute list record; 0 until the first attribute
namespace body {
constexpr long kName = 0;
constexpr long kAttributes = 4;

inline long name(Store& s, long b) {
  return get32(s, b + kName);
}
inline long attributes(Store& s, long b) {
  return get32(s, b + kAttributes);
}
inline bool setAttributes(Store& s, long b, long v) {
  return put32(s, b + kAttributes, static_cast<int32_t>(v));
}
/// The address of the name field, where names are stored.
inline long nameField(long b) {
  return b + kName;
}
}  // namespace body

// Node record (20 bytes): the body of a node, and the form of the root record
//   OFFSET  SIZE  MEANING
//        0     4  gid: heap string, pooled; 0 for none
//        4     4  attributes: attribute list record; 0 for none
//        8     4  first child: handle; 0 when empty
//       12     4  last child: handle; 0 when empty
//       16     4  owner: the node whose body this is; 0 in the root record
namespace nodeRecord {
constexpr long kGid = 0;
constexpr long kAttributes = 4;
constexpr long kFirstChild = 4 + 4;
constexpr long kLastChild = 4 + 4 + 4;
constexpr long kOwner = 4 + 4 + 4 + 4;
constexpr long kSize = 4 + 4 + 4 + 4 + 4;
static_assert(kSize == store::kRootRecordSize, "the root record is a node record");

inline long firstChild(Store& s, long r) {
  return get32(s, r + kFirstChild);
}
inline long lastChild(Store& s, long r) {
  return get32(s, r + kLastChild);
}
inline long owner(Store& s, long r) {
  return get32(s, r + kOwner);
}
inline bool setFirstChild(Store& s, long r, long v) {
  return put32(s, r + kFirstChild, static_cast<int32_t>(v));
}
inline bool setLastChild(Store& s, long r, long v) {
  return put32(s, r + kLastChild, static_cast<int32_t>(v));
}
/// Sets the first child of `r` to `v` and gives the one it replaces, through
/// one pointer; 0 (nothing written) when the field is not there.
inline long exchangeFirstChild(Store& s, long r, long v) {
  return store::exchange32(s, r + kFirstChild, static_cast<int32_t>(v));
}
/// Writes a new node record owned by `owner`, named `gid` (0 for none), its
/// other fields 0, at `p`, in a frame.
inline void initAt(uint8_t* p, long owner, long gid = 0) {
  memset(p, 0, kOwner);
  store::encodeFixed32(p + kOwner, static_cast<int32_t>(owner));
  store::encodeFixed32(p + kGid, static_cast<int32_t>(gid));
}
/// Writes a new node record at `r` owned by `owner`, its other fields 0.
inline bool init(Store& s, long r, long owner) {
  uint8_t* p = fieldPointer(s, r, kSize);
  if (p == nullptr) return false;
  initAt(p, owner);
  markDirty(s);
  return true;
}
/// The address of the gid field.
inline long gidField(long r) {
  return r + kGid;
}
/// The gid and first child of a node record, for readers that need both.
struct Head {
  long gid = 0;
  long firstChild = 0;
};
/// The gid and first child of node record `r`, read through one pointer when
/// they lie wholly below the heap top within one page, else one by one (0 for
/// each that is not there), so the values equal those of the single readers.
[[gnu::always_inline]] inline Head head(Store& s, long r) {
  const uint8_t* p = fieldPointer(s, r, kFirstChild + 4);
  if (p == nullptr) return {get32(s, r + kGid), firstChild(s, r)};
  return {store::decodeFixed32(p + kGid), store::decodeFixed32(p + kFirstChild)};
}
}  // namespace nodeRecord

// Entity record (20 bytes)
//   OFFSET  SIZE  MEANING
//        0     4  name: heap string, pooled; 0 for none
//        4     4  attributes: attribute list record; 0 for none
//        8     4  value: heap string, an own copy; 0 for none
//       12     4  notation: heap string, pooled; 0 for none
//       16     1  entity type: low 8 bits of the QmdbEntityType
//       17     3  padding, never written or read
namespace entityRecord {
constexpr long kName = 0;
constexpr long kAttributes = 4;
constexpr long kValue = 4 + 4;
constexpr long kNotation = 4 + 4 + 4;
constexpr long kType = 4 + 4 + 4 + 4;
constexpr long kSize = 4 + 4 + 4 + 4 + 1 + 3;

inline long value(Store& s, long r) {
  return get32(s, r + kValue);
}
inline long notation(Store& s, long r) {
  return get32(s, r + kNotation);
}
inline int type(Store& s, long r) {
  return get8(s, r + kType);
}
inline bool setType(Store& s, long r, long t) {
  return put8(s, r + kType, static_cast<uint8_t>(t & 0xff));
}
/// The addresses of the text fields, where texts are stored.
inline long nameField(long r) {
  return r + kName;
}
inline long valueField(long r) {
  return r + kValue;
}
inline long notationField(long r) {
  return r + kNotation;
}
/// Writes a new entity record at `r` with no name, attributes, value, notation
/// or type (the padding is not written).
inline bool init(Store& s, long r) {
  uint8_t* p = fieldPointer(s, r, kType + 1);
  if (p == nullptr) return false;
  memset(p, 0, kType + 1);
  markDirty(s);
  return true;
}
}  // namespace entityRecord

// Pi record (12 bytes)
//   OFFSET  SIZE  MEANING
//        0     4  target: heap string, pooled; 0 for none
//        4     4  attributes: attribute list record; 0 for none
//        8     4  data: heap string, an own copy; 0 for none
namespace piRecord {
constexpr long kTarget = 0;
constexpr long kAttributes = 4;
constexpr long kData = 4 + 4;
constexpr long kSize = 4 + 4 + 4;

inline long data(Store& s, long r) {
  return get32(s, r + kData);
}
/// The addresses of the text fields, where texts are stored.
inline long targetField(long r) {
  return r + kTarget;
}
inline long dataField(long r) {
  return r + kData;
}
/// Writes a new pi record at `r` with no target, attributes or data.
inline bool init(Store& s, long r) {
  uint8_t* p = fieldPointer(s, r, kSize);
  if (p == nullptr) return false;
  memset(p, 0, kSize);
  markDirty(s);
  return true;
}
}  // namespace piRecord

/// The object a handle names: its absolute value, or 0 for a number that no heap
/// address can be (more than 31 bits), so that no caller's number overflows.
inline long handleOf(long handle) {
  if (handle < 0) return handle < -store::kHeapLimit ? 0 : -handle;
  return handle > store::kHeapLimit ? 0 : handle;
}

/// The node record that holds the children of `parent` (a node, or 1 for the
/// database root): the root record or the node's body.
inline long childList(Store& s, long parent) {
  return parent == kRoot ? kRootRecord : object::body(s, parent);
}

}  // namespace qmdb::objects

#endif
