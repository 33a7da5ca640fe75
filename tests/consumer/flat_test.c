/* Calls every one of the 61 functions of the flat interface, compiled as C11
 * against the installed header alone. Argument: a database made by the C++
 * consumer, holding the index "ids" with the key "k1".
 * Exits non-zero on any failure. */
#include <Qmdb/qmdb.h>

#include <string.h>

#include "check.h"

static void checkText(long length, const char* buffer, const char* expected) {
  CHECK(length == (long)strlen(expected));
  CHECK(strcmp(buffer, expected) == 0);
}

int main(int argc, char** argv) {
  char buffer[256];
  Qmdb* db;
  Qmdb* other;
  Qmdb* indexed;
  long top, s, e, p, n, a, free_attribute, copy;

  if (argc < 2) {
    fprintf(stderr, "usage: flat_test INDEXED.qmb\n");
    return 2;
  }

  Qmdb_delete(NULL);
  db = Qmdb_new(NULL, QmdbFileWrite, 0, 4096);
  CHECK(db != NULL && Qmdb_isValid(db));
  CHECK(Qmdb_isUpdatable(db));
  CHECK(Qmdb_getSize(db) == 60);
  CHECK(Qmdb_getPageSize(db) == 4096);
  CHECK(Qmdb_getName(buffer, sizeof buffer, db) == 0);
  checkText(Qmdb_apiVersion(buffer, 16, db), buffer, "3.2d");
  CHECK(Qmdb_apiVersion(NULL, 0, db) == 4);

  /* Texts go in as ISO 8859-1 and come back as ISO 8859-1. */
  top = Qmdb_addNode(db, 1, "caf\xe9");
  CHECK(top != 0 && Qmdb_hasChanged(db) && !Qmdb_hasChanged(db));
  checkText(Qmdb_getGid(buffer, sizeof buffer, db, top), buffer, "caf\xe9");
  checkText(Qmdb_getId(buffer, 4, db, top), buffer, "caf");
  CHECK(Qmdb_getId(NULL, 0, db, top) == 4);
  CHECK(Qmdb_getId(buffer, 1, db, top) == 0 && buffer[0] == '\0');
  s = Qmdb_addString(db, top, "utf-8 \xc3\xa9 passes unconverted");
  checkText(Qmdb_getValue(buffer, sizeof buffer, db, s), buffer, "utf-8 \xe9 passes unconverted");
  n = Qmdb_insertString(db, top, 0, "\xe9");
  checkText(Qmdb_getValue(buffer, sizeof buffer, db, n), buffer, "\xe9");
  e = Qmdb_addEntity(db, top, "ent", "value", (QmdbEntityType)300);
  CHECK(Qmdb_entityType(db, e) == 44);
  CHECK(Qmdb_setNotation(db, e, "gif") == e);
  checkText(Qmdb_getNotation(buffer, sizeof buffer, db, e), buffer, "gif");
  strcpy(buffer, "untouched");
  CHECK(Qmdb_getValue(buffer, sizeof buffer, db, top) == 0);
  CHECK(strcmp(buffer, "untouched") == 0);
  p = Qmdb_addPi(db, top, "target", "data");
  CHECK(Qmdb_objectType(db, p) == QmdbPi);
  CHECK(Qmdb_insertNode(db, top, s, "after-s") != 0);
  CHECK(Qmdb_insertEntity(db, top, 0, "first", NULL, (QmdbEntityType)1) != 0);
  CHECK(Qmdb_insertPi(db, top, p, "last", NULL) == Qmdb_last(db, top));
  CHECK(Qmdb_setId(db, p, "renamed") == p);
  checkText(Qmdb_getId(buffer, sizeof buffer, db, p), buffer, "renamed");
  CHECK(Qmdb_setGid(db, top, "top") == top);
  CHECK(Qmdb_setValue(db, s, "new text") == s);

  /* Walking. */
  CHECK(Qmdb_isObject(db, top, QmdbNode) && !Qmdb_isObject(db, top, QmdbString));
  CHECK(Qmdb_isAttached(db, s));
  CHECK(Qmdb_parent(db, s) == top);
  CHECK(Qmdb_first(db, 1) == top);
  CHECK(Qmdb_next(db, top, QmdbTree) == Qmdb_first(db, top));
  CHECK(Qmdb_previous(db, Qmdb_last(db, top), QmdbSiblings) == p);

  /* Attributes. */
  a = Qmdb_addAttribute(db, top, "name", "v\xe9", (QmdbAttributeType)1, (QmdbAttributeClass)2);
  CHECK(a != 0);
  CHECK(Qmdb_attribute(db, top, "NAME", QmdbNoAttributeType, QmdbNoAttributeClass, false) == a);
  CHECK(Qmdb_attribute(db, top, "NAME", QmdbNoAttributeType, QmdbNoAttributeClass, true) == 0);
  checkText(Qmdb_attrValue(buffer, sizeof buffer, db, a), buffer, "v\xe9");
  CHECK(Qmdb_setAttrName(db, a, "renamed") == a);
  checkText(Qmdb_attrName(buffer, sizeof buffer, db, a), buffer, "renamed");
  CHECK(Qmdb_setAttrValue(db, a, "w") == a);
  CHECK(Qmdb_attrType(db, a) == 1 && Qmdb_attrClass(db, a) == 2);
  free_attribute =
      Qmdb_addAttribute(db, 0, "free", "f", (QmdbAttributeType)1, (QmdbAttributeClass)1);
  CHECK(Qmdb_addAttr(db, top, free_attribute) == free_attribute);
  CHECK(Qmdb_nextAttribute(db, a) == free_attribute);
  CHECK(Qmdb_removeAttribute(db, top, free_attribute) == free_attribute);
  CHECK(Qmdb_nextAttribute(db, a) == 0);
  CHECK(Qmdb_dropAttribute(db, top, a));
  CHECK(Qmdb_attribute(db, top, NULL, QmdbNoAttributeType, QmdbNoAttributeClass, true) == 0);

  /* Copies from another database, with attributes, values and link. */
  other = Qmdb_new(NULL, QmdbFileWrite, 0, 0);
  CHECK(Qmdb_pushCoding(other, "ISO8859-1"));
  CHECK(Qmdb_pushTransparentCoding(other));
  CHECK(Qmdb_popCoding(other));
  copy = Qmdb_addCopy(other, 1, db, s);
  checkText(Qmdb_getValue(buffer, sizeof buffer, other, copy), buffer, "new text");
  copy = Qmdb_addTreeCopy(other, 1, db, top);
  CHECK(Qmdb_objectType(other, copy) == QmdbNode);
  CHECK(Qmdb_insertCopy(other, 1, 0, db, e) == Qmdb_first(other, 1));
  CHECK(Qmdb_insertTreeCopy(other, copy, 0, db, top) == Qmdb_first(other, copy));

  /* Removing, dropping and moving. */
  n = Qmdb_addNode(db, top, "moved");
  CHECK(Qmdb_moveObject(db, top, 0, n) == n && Qmdb_first(db, top) == n);
  CHECK(Qmdb_moveTree(db, 1, 0, n) == n && Qmdb_first(db, 1) == n);
  CHECK(Qmdb_removeObject(db, n) == n && !Qmdb_isAttached(db, n));
  CHECK(Qmdb_removeTree(db, s) == s);
  CHECK(Qmdb_dropObject(db, s) && Qmdb_objectType(db, s) == QmdbNoObject);
  CHECK(Qmdb_dropTree(db, top) && Qmdb_first(db, 1) == 0);
  CHECK(Qmdb_setUpdatable(db, false) && !Qmdb_isUpdatable(db));

  /* An index made by the C++ side. */
  indexed = Qmdb_new(argv[1], QmdbFileRead, 0, 0);
  CHECK(Qmdb_isValid(indexed));
  CHECK(Qmdb_getName(buffer, sizeof buffer, indexed) == (long)strlen(argv[1]));
  CHECK(Qmdb_getIndex(indexed, "ids", "k1") == Qmdb_first(indexed, 1));
  CHECK(Qmdb_getIndex(indexed, "ids", "missing") == 0);

  Qmdb_delete(indexed);
  Qmdb_delete(other);
  Qmdb_delete(db);
  printf("flat_test: %d failed\n", failed);
  return failed == 0 ? 0 : 1;
}
