/*
 * Qmdb: the flat interface, for callers written in C or any language that can
 * call C functions.
 *
 * Conventions of every Qmdb_* function:
 *  - A database is a `Qmdb*` from Qmdb_new; it must not be null (Qmdb_delete
 *    accepts null). Objects are named by `long` handles; 1 is the database root.
 *  - Text arguments are zero-terminated ISO 8859-1 strings.
 *  - Text results are copied into the caller's (buffer, size): the result is the
 *    number of characters delivered. When 0 < size < length + 1 the text is cut
 *    to size - 1 characters; size 0 or less sets no bound; a null buffer with
 *    size 0 only asks for the length. An absent text writes nothing and gives 0.
 *  - Failures are told by the result: 0, false or an empty text.
 */
#ifndef QMDB_QMDB_H
#define QMDB_QMDB_H

#ifndef __cplusplus
#include <stdbool.h>
#endif

#if defined(__GNUC__)
#define QMDB_API __attribute__((visibility("default")))
#else
#define QMDB_API
#endif

/** How a database is opened. Any other value opens a named file read-only and
 *  makes a nameless working store. */
typedef enum QmdbFileMode {
  QmdbFileDefault = 0,
  QmdbFileRead = 1,   /**< an existing file, read-only */
  QmdbFileUpdate = 2, /**< an existing file, for reading and writing */
  QmdbFileWrite = 3,  /**< a new file (an existing one is emptied) */
  QmdbFileModeMax = 0x7fffffff
} QmdbFileMode;

/** The kind of an object. */
typedef enum QmdbObjectType {
  QmdbNoObject = 0, /**< no object; as a filter: any kind */
  QmdbNode = 1,     /**< an element: gid, attributes, children */
  QmdbString = 2,   /**< character data */
  QmdbEntity = 3,   /**< an entity: name, value, notation, type, attributes */
  QmdbPi = 4,       /**< a processing instruction: target, data, attributes */
  QmdbObjectTypeMax = 0x7fffffff
} QmdbObjectType;

/** The caller's own entity type codes; 0 means none. Only the low 8 bits are stored. */
typedef enum QmdbEntityType { QmdbNoEntityType = 0, QmdbEntityTypeMax = 0x7fffffff } QmdbEntityType;

/** How next and previous move. */
typedef enum QmdbTraverseMode {
  QmdbSiblings = 0, /**< to the next or previous sibling */
  QmdbTree = 1,     /**< through the whole tree in document order, with end positions */
  QmdbTraverseModeMax = 0x7fffffff
} QmdbTraverseMode;

/** The caller's own attribute type codes; 0 means none. Only the low 8 bits are stored. */
typedef enum QmdbAttributeType {
  QmdbNoAttributeType = 0,
  QmdbAttributeTypeMax = 0x7fffffff
} QmdbAttributeType;

/** The caller's own attribute class codes; 0 means none. Only the low 8 bits are stored. */
typedef enum QmdbAttributeClass {
  QmdbNoAttributeClass = 0,
  QmdbAttributeClassMax = 0x7fffffff
} QmdbAttributeClass;

#ifdef __cplusplus
class Qmdb;
#else
typedef struct Qmdb Qmdb;
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* --- creation, state and version --- */
/** A new database (see the class's constructor); null when memory runs out. */
QMDB_API Qmdb* Qmdb_new(const char* name, QmdbFileMode mode, long pages, long pageSize);
/** Closes and frees the database, whatever its reference count; null is ignored. */
QMDB_API void Qmdb_delete(Qmdb* db);
/** Pushes the coding system `name` (unconverted) for the class interface. */
QMDB_API bool Qmdb_pushCoding(Qmdb* db, const char* name);
/** Pushes the transparent coding. */
QMDB_API bool Qmdb_pushTransparentCoding(Qmdb* db);
/** Pops the top coding system. */
QMDB_API bool Qmdb_popCoding(Qmdb* db);
/** True while the database is usable. */
QMDB_API bool Qmdb_isValid(Qmdb* db);
/** Whether the database changed since the last call; clears the flag. */
QMDB_API bool Qmdb_hasChanged(Qmdb* db);
/** Makes the database read-only (false, after a save) or updatable (true). */
QMDB_API bool Qmdb_setUpdatable(Qmdb* db, bool updatable);
/** True when usable and not read-only. */
QMDB_API bool Qmdb_isUpdatable(Qmdb* db);
/** The bytes of heap in use. */
QMDB_API long Qmdb_getSize(Qmdb* db);
/** The file name, into the buffer. */
QMDB_API long Qmdb_getName(char* buffer, long size, Qmdb* db);
/** The page size in bytes. */
QMDB_API long Qmdb_getPageSize(Qmdb* db);
/** The interface version "3.2d", into the buffer; db is not used. */
QMDB_API long Qmdb_apiVersion(char* buffer, long size, Qmdb* db);

/* --- handles, kinds and flags only --- */
/** Attaches a free attribute at the end of the object's list; the attribute or 0. */
QMDB_API long Qmdb_addAttr(Qmdb* db, long object, long attribute);
/** Takes the attribute out of the object's list and makes it free; the attribute or 0. */
QMDB_API long Qmdb_removeAttribute(Qmdb* db, long object, long attribute);
/** Takes the attribute out of the object's list for good. */
QMDB_API bool Qmdb_dropAttribute(Qmdb* db, long object, long attribute);
/** The next attribute of the same list, or 0. */
QMDB_API long Qmdb_nextAttribute(Qmdb* db, long attribute);
/** The attribute's type code. */
QMDB_API QmdbAttributeType Qmdb_attrType(Qmdb* db, long attribute);
/** The attribute's class code. */
QMDB_API QmdbAttributeClass Qmdb_attrClass(Qmdb* db, long attribute);
/** True when `object` is a sound object of the kind (any kind for QmdbNoObject). */
QMDB_API bool Qmdb_isObject(Qmdb* db, long object, QmdbObjectType type);
/** The kind of the object. */
QMDB_API QmdbObjectType Qmdb_objectType(Qmdb* db, long object);
/** The entity type of an entity. */
QMDB_API QmdbEntityType Qmdb_entityType(Qmdb* db, long object);
/** True when the object is in a child list. */
QMDB_API bool Qmdb_isAttached(Qmdb* db, long object);
/** The parent node, or 0. */
QMDB_API long Qmdb_parent(Qmdb* db, long object);
/** The first child, or 0. */
QMDB_API long Qmdb_first(Qmdb* db, long object);
/** The last child, or 0. */
QMDB_API long Qmdb_last(Qmdb* db, long object);
/** The next sibling or tree position, or 0. */
QMDB_API long Qmdb_next(Qmdb* db, long position, QmdbTraverseMode mode);
/** The previous sibling or tree position, or 0. */
QMDB_API long Qmdb_previous(Qmdb* db, long position, QmdbTraverseMode mode);
/** Detaches the object alone (its children take its place); the object or 0. */
QMDB_API long Qmdb_removeObject(Qmdb* db, long object);
/** Detaches the object with its subtree; the object or 0. */
QMDB_API long Qmdb_removeTree(Qmdb* db, long object);
/** Detaches the object alone and marks it dead. */
QMDB_API bool Qmdb_dropObject(Qmdb* db, long object);
/** Detaches the subtree and marks all of it dead. */
QMDB_API bool Qmdb_dropTree(Qmdb* db, long object);
/** Moves the object alone after child `after` of `parent`; the object or 0. */
QMDB_API long Qmdb_moveObject(Qmdb* db, long parent, long after, long object);
/** Moves the object with its subtree after child `after` of `parent`; the object or 0. */
QMDB_API long Qmdb_moveTree(Qmdb* db, long parent, long after, long object);

/* --- text arguments (ISO 8859-1) --- */
/** The first attribute of the object matching name, type and class (0: any). */
QMDB_API long Qmdb_attribute(Qmdb* db, long object, const char* name, QmdbAttributeType type,
                             QmdbAttributeClass cls, bool exact);
/** A new attribute of the object (a free one for object 0); its handle or 0. */
QMDB_API long Qmdb_addAttribute(Qmdb* db, long object, const char* name, const char* value,
                                QmdbAttributeType type, QmdbAttributeClass cls);
/** Renames the attribute; the attribute or 0. */
QMDB_API long Qmdb_setAttrName(Qmdb* db, long attribute, const char* name);
/** Sets the attribute's value; the attribute or 0. */
QMDB_API long Qmdb_setAttrValue(Qmdb* db, long attribute, const char* value);
/** A new node appended under `parent`; its handle or 0. */
QMDB_API long Qmdb_addNode(Qmdb* db, long parent, const char* gid);
/** A new string appended under `parent`, its bytes passed unconverted; its handle or 0. */
QMDB_API long Qmdb_addString(Qmdb* db, long parent, const char* text);
/** A new entity appended under `parent`; its handle or 0. */
QMDB_API long Qmdb_addEntity(Qmdb* db, long parent, const char* name, const char* value,
                             QmdbEntityType type);
/** A new pi appended under `parent`; its handle or 0. */
QMDB_API long Qmdb_addPi(Qmdb* db, long parent, const char* target, const char* data);
/** A new node after child `after` of `parent`; its handle or 0. */
QMDB_API long Qmdb_insertNode(Qmdb* db, long parent, long after, const char* gid);
/** A new string after child `after` of `parent`; its handle or 0. */
QMDB_API long Qmdb_insertString(Qmdb* db, long parent, long after, const char* text);
/** A new entity after child `after` of `parent`; its handle or 0. */
QMDB_API long Qmdb_insertEntity(Qmdb* db, long parent, long after, const char* name,
                                const char* value, QmdbEntityType type);
/** A new pi after child `after` of `parent`; its handle or 0. */
QMDB_API long Qmdb_insertPi(Qmdb* db, long parent, long after, const char* target,
                            const char* data);
/** Sets the id; the object or 0. */
QMDB_API long Qmdb_setId(Qmdb* db, long object, const char* id);
/** Sets the gid; the object or 0. */
QMDB_API long Qmdb_setGid(Qmdb* db, long object, const char* gid);
/** Sets the value; the object or 0. */
QMDB_API long Qmdb_setValue(Qmdb* db, long object, const char* value);
/** Sets the notation of an entity; the object or 0. */
QMDB_API long Qmdb_setNotation(Qmdb* db, long object, const char* notation);

/* --- text results (ISO 8859-1, into the caller's buffer) --- */
/** The attribute's name. */
QMDB_API long Qmdb_attrName(char* buffer, long size, Qmdb* db, long attribute);
/** The attribute's value. */
QMDB_API long Qmdb_attrValue(char* buffer, long size, Qmdb* db, long attribute);
/** The object's id. */
QMDB_API long Qmdb_getId(char* buffer, long size, Qmdb* db, long object);
/** The object's gid. */
QMDB_API long Qmdb_getGid(char* buffer, long size, Qmdb* db, long object);
/** The object's value. */
QMDB_API long Qmdb_getValue(char* buffer, long size, Qmdb* db, long object);
/** The entity's notation. */
QMDB_API long Qmdb_getNotation(char* buffer, long size, Qmdb* db, long object);

/* --- composed --- */
/** The first object stored under `key` in the index `indexName`; 0 when none. */
QMDB_API long Qmdb_getIndex(Qmdb* db, const char* indexName, const char* key);
/** Copies `object` of `source` (attributes, values and link) as the last child of `parent`. */
QMDB_API long Qmdb_addCopy(Qmdb* db, long parent, const Qmdb* source, long object);
/** Copies the subtree of `object` of `source` as the last child of `parent`. */
QMDB_API long Qmdb_addTreeCopy(Qmdb* db, long parent, const Qmdb* source, long object);
/** Copies `object` of `source` after child `after` of `parent`. */
QMDB_API long Qmdb_insertCopy(Qmdb* db, long parent, long after, const Qmdb* source, long object);
/** Copies the subtree of `object` of `source` after child `after` of `parent`. */
QMDB_API long Qmdb_insertTreeCopy(Qmdb* db, long parent, long after, const Qmdb* source,
                                  long object);

#ifdef __cplusplus
}
#endif

#endif
