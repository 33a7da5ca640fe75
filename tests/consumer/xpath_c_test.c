/* The XPath C function from C11, against the installed headers alone; what it
 * returns is tested in depth by the XPath unit tests. Argument: the database
 * made by the C++ consumer, whose root holds the node "indexed". Exits
 * non-zero on any failure. */
#include <Qmdb/qmdbxpath.h>

#include <string.h>

#include "check.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  Qmdb* db = Qmdb_new(argv[1], QmdbFileRead, 0, 0);
  CHECK(db != NULL && Qmdb_isValid(db));
  QmdbXPathResult r;
  const char* names[] = {"n"};
  const char* values[] = {"indexed"};
  CHECK(QmdbXPath_evaluate(db, "/*[name() = $n]", 1, names, values, 1, &r) == 1);
  CHECK(r.kind == QmdbXPathNodeSet && r.count == 1 && r.nodes[0].object == Qmdb_first(db, 1));
  QmdbXPath_free(&r);
  CHECK(QmdbXPath_evaluate(db, "/*[", 1, NULL, NULL, 0, &r) == 0);
  CHECK(!r.ok && r.offset == 3 && r.string != NULL);
  QmdbXPath_free(&r);
  Qmdb_delete(db);
  printf("XPath from C: %s\n", failed == 0 ? "ok" : "FAILED");
  return failed == 0 ? 0 : 1;
}
