// Making the records of new objects.
//
// A new object is made detached: its object record first (kind 0, body 0),
// then its body, which sets the kind. Each record is reserved at the heap top,
// the heap top is moved past it, and then its fields are written. An object
// whose making fails half-way stays in the heap, detached and unreachable.
#ifndef QMDB_OBJECTS_CREATION_H
#define QMDB_OBJECTS_CREATION_H

#include "Qmdb/store/Store.h"

namespace qmdb::objects {

/// A new, detached object record with every field 0; its address, or 0.
long createObjectRecord(store::Store& s);

/// A new, detached node: its object record and its node record, exactly as
/// createObjectRecord and then makeNodeRecord make them (written at once when
/// both fit on the heap top's page), with `gid` (a heap string already stored,
/// or 0) in its gid field. The object, or 0; `record` gets the node record, or
/// 0 when it could not be made or given the gid.
long createNode(store::Store& s, long gid, long& record);

/// A new, detached string holding `text`: its object record and its text,
/// exactly as createObjectRecord and then setStringText make them (written at
/// once when both fit on the heap top's page). The object, or 0; `stored`
/// tells whether the text was stored (an object may be made without it).
long createString(store::Store& s, const char* text, bool& stored);

/// A new node record owned by `object` (which becomes a node); with object 0,
/// the root record. Its address, or 0.
long makeNodeRecord(store::Store& s, long object);

/// A new entity record, the body of `object` (which becomes an entity); or 0.
long makeEntityRecord(store::Store& s, long object);

/// A new pi record, the body of `object` (which becomes a pi); or 0.
long makePiRecord(store::Store& s, long object);

/// Stores a copy of `text` as the body of `object`, which becomes a string;
/// the heap string's address, or 0 with the object unchanged.
long setStringText(store::Store& s, long object, const char* text);

/// Sets the value (a new copy, or 0 for null) and the entity type of entity
/// record `record`; the copy's address, or 0 (null value, or failure with the
/// record unchanged).
long setEntityValue(store::Store& s, long record, long type, const char* value);

}  // namespace qmdb::objects

#endif
