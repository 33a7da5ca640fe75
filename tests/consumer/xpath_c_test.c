/* The XPath C function from C11, against the installed headers alone.
 * Argument: the database made by the C++ consumer, whose root holds the node
 * "indexed". Exits non-zero on any failure. */
#include <Qmdb/qmdbxpath.h>

#include <stdio.h>
#include <string.h>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  Qmdb* db = Qmdb_new(argv[1], QmdbFileRead, 0, 0);
  if (db == NULL || !Qmdb_isValid(db)) return 1;
  int failures = 0;
  QmdbXPathResult r;
  const char* names[] = {"n"};
  const char* values[] = {"indexed"};
  if (!QmdbXPath_evaluate(db, "/*[name() = $n]", 1, names, values, 1, &r) ||
      r.kind != QmdbXPathNodeSet || r.count != 1 || r.nodes[0].attribute != 0) {
    ++failures;
  }
  QmdbXPath_free(&r);
  if (!QmdbXPath_evaluate(db, "concat(name(/*), '!')", 1, NULL, NULL, 0, &r) ||
      r.kind != QmdbXPathString || strcmp(r.string, "indexed!") != 0) {
    ++failures;
  }
  QmdbXPath_free(&r);
  if (QmdbXPath_evaluate(db, "/*[", 1, NULL, NULL, 0, &r) || r.ok || r.offset != 3 ||
      r.string == NULL) {
    ++failures;
  }
  QmdbXPath_free(&r);
  Qmdb_delete(db);
  printf("XPath from C: %s\n", failures == 0 ? "ok" : "FAILED");
  return failures == 0 ? 0 : 1;
}
