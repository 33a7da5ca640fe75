// The flat interface: each Qmdb_* function forwards to the method of the same
// name. Text arguments are converted from ISO 8859-1 into temporaries that
// live for the call; text results are converted to ISO 8859-1 and copied into
// the caller's buffer. Nothing else happens here.
#include <cstring>
#include <new>

#include "Qmdb/Qmdb"
#include "Qmencoding/QmCEncoding.h"

namespace {

// An ISO 8859-1 argument in the internal form, for the length of one call.
// When memory runs out it is not ok(), and the call fails with 0.
class Latin1Arg {
 public:
  explicit Latin1Arg(const char* text) : absent_(text == nullptr) {
    if (!absent_) internal_ = fcodingSystem_ISO8859_1().Decoder()(text, -1);
  }
  bool ok() const { return absent_ || !internal_.Failed(); }
  const char* get() const { return absent_ ? nullptr : internal_.Data(); }

 private:
  bool absent_;
  QmCString internal_;
};

// Delivers `text` into (buffer, size) in ISO 8859-1; the number of characters
// delivered (0, with an empty text, when memory runs out).
long deliver(const char* text, char* buffer, long size) {
  if (text == nullptr) return 0;
  QmCExternString external = fcodingSystem_ISO8859_1().Encoder()(text, -1);
  if (external.Failed()) {
    if (buffer != nullptr) buffer[0] = '\0';
    return 0;
  }
  long length = external.Size();
  if (size > 0 && size < length + 1) length = size - 1;
  if (buffer != nullptr) {
    memcpy(buffer, external.Data(), static_cast<size_t>(length));
    buffer[length] = '\0';
  }
  return length;
}

}  // namespace

extern "C" {

Qmdb* Qmdb_new(const char* name, QmdbFileMode mode, long pages, long pageSize) {
  return new (std::nothrow) Qmdb(name, mode, pages, pageSize);
}
void Qmdb_delete(Qmdb* db) {
  delete db;
}
bool Qmdb_pushCoding(Qmdb* db, const char* name) {
  return db->pushCoding(name);
}
bool Qmdb_pushTransparentCoding(Qmdb* db) {
  return db->pushTransparentCoding();
}
bool Qmdb_popCoding(Qmdb* db) {
  return db->popCoding();
}
bool Qmdb_isValid(Qmdb* db) {
  return db->isValid();
}
bool Qmdb_hasChanged(Qmdb* db) {
  return db->hasChanged();
}
bool Qmdb_setUpdatable(Qmdb* db, bool updatable) {
  return db->setUpdatable(updatable);
}
bool Qmdb_isUpdatable(Qmdb* db) {
  return db->isUpdatable();
}
long Qmdb_getSize(Qmdb* db) {
  return db->getSize();
}
long Qmdb_getName(char* buffer, long size, Qmdb* db) {
  return deliver(db->getName(), buffer, size);
}
long Qmdb_getPageSize(Qmdb* db) {
  return db->getPageSize();
}
long Qmdb_apiVersion(char* buffer, long size, Qmdb*) {
  return deliver(Qmdb::apiVersion(), buffer, size);
}

long Qmdb_addAttr(Qmdb* db, long object, long attribute) {
  return db->addAttr(object, attribute);
}
long Qmdb_removeAttribute(Qmdb* db, long object, long attribute) {
  return db->removeAttribute(object, attribute);
}
bool Qmdb_dropAttribute(Qmdb* db, long object, long attribute) {
  return db->dropAttribute(object, attribute);
}
long Qmdb_nextAttribute(Qmdb* db, long attribute) {
  return db->nextAttribute(attribute);
}
QmdbAttributeType Qmdb_attrType(Qmdb* db, long attribute) {
  return db->attrType(attribute);
}
QmdbAttributeClass Qmdb_attrClass(Qmdb* db, long attribute) {
  return db->attrClass(attribute);
}
bool Qmdb_isObject(Qmdb* db, long object, QmdbObjectType type) {
  return db->isObject(object, type);
}
QmdbObjectType Qmdb_objectType(Qmdb* db, long object) {
  return db->objectType(object);
}
QmdbEntityType Qmdb_entityType(Qmdb* db, long object) {
  return db->entityType(object);
}
bool Qmdb_isAttached(Qmdb* db, long object) {
  return db->isAttached(object);
}
long Qmdb_parent(Qmdb* db, long object) {
  return db->parent(object);
}
long Qmdb_first(Qmdb* db, long object) {
  return db->first(object);
}
long Qmdb_last(Qmdb* db, long object) {
  return db->last(object);
}
long Qmdb_next(Qmdb* db, long position, QmdbTraverseMode mode) {
  return db->next(position, mode);
}
long Qmdb_previous(Qmdb* db, long position, QmdbTraverseMode mode) {
  return db->previous(position, mode);
}
long Qmdb_removeObject(Qmdb* db, long object) {
  return db->removeObject(object);
}
long Qmdb_removeTree(Qmdb* db, long object) {
  return db->removeTree(object);
}
bool Qmdb_dropObject(Qmdb* db, long object) {
  return db->dropObject(object);
}
bool Qmdb_dropTree(Qmdb* db, long object) {
  return db->dropTree(object);
}
long Qmdb_moveObject(Qmdb* db, long parent, long after, long object) {
  return db->moveObject(parent, after, object);
}
long Qmdb_moveTree(Qmdb* db, long parent, long after, long object) {
  return db->moveTree(parent, after, object);
}

long Qmdb_attribute(Qmdb* db, long object, const char* name, QmdbAttributeType type,
                    QmdbAttributeClass cls, bool exact) {
  Latin1Arg nameArg(name);
  return nameArg.ok() ? db->attribute(object, nameArg.get(), type, cls, exact) : 0;
}
long Qmdb_addAttribute(Qmdb* db, long object, const char* name, const char* value,
                       QmdbAttributeType type, QmdbAttributeClass cls) {
  Latin1Arg nameArg(name);
  Latin1Arg valueArg(value);
  return nameArg.ok() && valueArg.ok()
             ? db->addAttribute(object, nameArg.get(), valueArg.get(), type, cls)
             : 0;
}
long Qmdb_setAttrName(Qmdb* db, long attribute, const char* name) {
  Latin1Arg nameArg(name);
  return nameArg.ok() ? db->setAttrName(attribute, nameArg.get()) : 0;
}
long Qmdb_setAttrValue(Qmdb* db, long attribute, const char* value) {
  Latin1Arg valueArg(value);
  return valueArg.ok() ? db->setAttrValue(attribute, valueArg.get()) : 0;
}
long Qmdb_addNode(Qmdb* db, long parent, const char* gid) {
  Latin1Arg gidArg(gid);
  return gidArg.ok() ? db->addNode(parent, gidArg.get()) : 0;
}
long Qmdb_addString(Qmdb* db, long parent, const char* text) {
  return db->addString(parent, text);
}
long Qmdb_addEntity(Qmdb* db, long parent, const char* name, const char* value,
                    QmdbEntityType type) {
  Latin1Arg nameArg(name);
  Latin1Arg valueArg(value);
  return nameArg.ok() && valueArg.ok() ? db->addEntity(parent, nameArg.get(), valueArg.get(), type)
                                       : 0;
}
long Qmdb_addPi(Qmdb* db, long parent, const char* target, const char* data) {
  Latin1Arg targetArg(target);
  Latin1Arg dataArg(data);
  return targetArg.ok() && dataArg.ok() ? db->addPi(parent, targetArg.get(), dataArg.get()) : 0;
}
long Qmdb_insertNode(Qmdb* db, long parent, long after, const char* gid) {
  Latin1Arg gidArg(gid);
  return gidArg.ok() ? db->insertNode(parent, after, gidArg.get()) : 0;
}
long Qmdb_insertString(Qmdb* db, long parent, long after, const char* text) {
  Latin1Arg textArg(text);
  return textArg.ok() ? db->insertString(parent, after, textArg.get()) : 0;
}
long Qmdb_insertEntity(Qmdb* db, long parent, long after, const char* name, const char* value,
                       QmdbEntityType type) {
  Latin1Arg nameArg(name);
  Latin1Arg valueArg(value);
  return nameArg.ok() && valueArg.ok()
             ? db->insertEntity(parent, after, nameArg.get(), valueArg.get(), type)
             : 0;
}
long Qmdb_insertPi(Qmdb* db, long parent, long after, const char* target, const char* data) {
  Latin1Arg targetArg(target);
  Latin1Arg dataArg(data);
  return targetArg.ok() && dataArg.ok()
             ? db->insertPi(parent, after, targetArg.get(), dataArg.get())
             : 0;
}
long Qmdb_setId(Qmdb* db, long object, const char* id) {
  Latin1Arg idArg(id);
  return idArg.ok() ? db->setId(object, idArg.get()) : 0;
}
long Qmdb_setGid(Qmdb* db, long object, const char* gid) {
  Latin1Arg gidArg(gid);
  return gidArg.ok() ? db->setGid(object, gidArg.get()) : 0;
}
long Qmdb_setValue(Qmdb* db, long object, const char* value) {
  Latin1Arg valueArg(value);
  return valueArg.ok() ? db->setValue(object, valueArg.get()) : 0;
}
long Qmdb_setNotation(Qmdb* db, long object, const char* notation) {
  Latin1Arg notationArg(notation);
  return notationArg.ok() ? db->setNotation(object, notationArg.get()) : 0;
}

long Qmdb_attrName(char* buffer, long size, Qmdb* db, long attribute) {
  return deliver(db->attrName(attribute), buffer, size);
}
long Qmdb_attrValue(char* buffer, long size, Qmdb* db, long attribute) {
  return deliver(db->attrValue(attribute), buffer, size);
}
long Qmdb_getId(char* buffer, long size, Qmdb* db, long object) {
  return deliver(db->getId(object), buffer, size);
}
long Qmdb_getGid(char* buffer, long size, Qmdb* db, long object) {
  return deliver(db->getGid(object), buffer, size);
}
long Qmdb_getValue(char* buffer, long size, Qmdb* db, long object) {
  return deliver(db->getValue(object), buffer, size);
}
long Qmdb_getNotation(char* buffer, long size, Qmdb* db, long object) {
  return deliver(db->getNotation(object), buffer, size);
}

long Qmdb_getIndex(Qmdb* db, const char* indexName, const char* key) {
  Latin1Arg name(indexName);
  Latin1Arg internalKey(key);
  if (!name.ok() || !internalKey.ok()) return 0;
  QmdbList list;
  long found =
      db->getIndex(&list, db->index(name.get()), const_cast<char*>(internalKey.get()), nullptr);
  return found > 0 ? list.first() : found;
}
long Qmdb_addCopy(Qmdb* db, long parent, const Qmdb* source, long object) {
  return db->addCopy(parent, source, object, true, true, true, false);
}
long Qmdb_addTreeCopy(Qmdb* db, long parent, const Qmdb* source, long object) {
  return db->addTreeCopy(parent, source, object, true, true, true, false);
}
long Qmdb_insertCopy(Qmdb* db, long parent, long after, const Qmdb* source, long object) {
  return db->insertCopy(parent, after, source, object, true, true, true, false);
}
long Qmdb_insertTreeCopy(Qmdb* db, long parent, long after, const Qmdb* source, long object) {
  return db->insertTreeCopy(parent, after, source, object, true, true, true, false);
}

}  // extern "C"
