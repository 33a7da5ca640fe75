/* The flat interface from C: build a small document, save it, reopen it
 * read-only and walk it. Texts cross this interface in ISO 8859-1.
 *
 *   qmdb_flat_demo FILE.qmb */
#include <Qmdb/qmdb.h>

#include <stdio.h>

/* Texts come back in ISO 8859-1; the terminal wants UTF-8. */
static void printLatin1(const char* text) {
  for (; *text != '\0'; ++text) {
    unsigned char c = (unsigned char)*text;
    if (c < 0x80) {
      putchar(c);
    } else {
      putchar(0xC0 | c >> 6);
      putchar(0x80 | (c & 0x3F));
    }
  }
}

int main(int argc, char** argv) {
  char gid[64];
  char text[256];
  Qmdb* db;
  long p;
  int depth = 0;

  if (argc != 2) {
    fprintf(stderr, "usage: %s FILE.qmb\n", argv[0]);
    return 2;
  }
  db = Qmdb_new(argv[1], QmdbFileWrite, 0, 0);
  if (db == NULL || !Qmdb_isValid(db)) {
    fprintf(stderr, "%s: cannot create the database\n", argv[1]);
    Qmdb_delete(db);
    return 1;
  }
  {
    long menu = Qmdb_addNode(db, 1, "menu");
    long dish = Qmdb_addNode(db, menu, "dish");
    Qmdb_addAttribute(db, dish, "price", "12", (QmdbAttributeType)1, (QmdbAttributeClass)1);
    /* Qmdb_addString passes its bytes as they are (here UTF-8); every other
       text argument is ISO 8859-1 and converted. */
    Qmdb_addString(db, dish,
                   "Cr\xc3\xa8me br\xc3\xbbl\xc3\xa9"
                   "e");
    dish = Qmdb_addNode(db, menu, "dish");
    Qmdb_insertString(db, Qmdb_addNode(db, dish, "name"), 0, "Caf\xe9 au lait");
  }
  Qmdb_delete(db); /* saves */

  db = Qmdb_new(argv[1], QmdbFileRead, 0, 0);
  if (db == NULL || !Qmdb_isValid(db)) {
    fprintf(stderr, "%s: cannot reopen the database\n", argv[1]);
    Qmdb_delete(db);
    return 1;
  }
  for (p = Qmdb_next(db, 1, QmdbTree); p != 0; p = Qmdb_next(db, p, QmdbTree)) {
    if (p < 0) {
      --depth;
      continue;
    }
    if (Qmdb_objectType(db, p) == QmdbNode) {
      Qmdb_getGid(gid, sizeof gid, db, p);
      printf("%*s<", depth * 2, "");
      printLatin1(gid);
      printf(">\n");
      if (Qmdb_first(db, p) != 0) ++depth;
    } else {
      Qmdb_getValue(text, sizeof text, db, p);
      printf("%*s\"", depth * 2, "");
      printLatin1(text);
      printf("\"\n");
    }
  }
  Qmdb_delete(db);
  return 0;
}
