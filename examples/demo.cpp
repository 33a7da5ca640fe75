// A first look at Qmdb: build a small document in a named database, save it,
// reopen it read-only and print what it holds by walking the tree.
//
//   qmdb_demo FILE.qmb
#include <Qmdb/Qmdb>

#include <cstdio>
#include <string>

namespace {

void printTree(Qmdb& db) {
  int depth = 0;
  for (long p = db.next(1, QmdbTree); p != 0; p = db.next(p, QmdbTree)) {
    if (p < 0) {
      --depth;
      continue;
    }
    std::string indent(static_cast<size_t>(depth) * 2, ' ');
    switch (db.objectType(p)) {
      case QmdbNode:
        printf("%s<%s>\n", indent.c_str(), db.getGid(p));
        if (db.first(p) != 0) ++depth;
        break;
      case QmdbString:
        printf("%s\"%s\"\n", indent.c_str(), db.getValue(p));
        break;
      case QmdbPi:
        printf("%s<?%s %s?>\n", indent.c_str(), db.getId(p), db.getValue(p));
        break;
      case QmdbEntity:
        printf("%s&%s; = \"%s\"\n", indent.c_str(), db.getId(p), db.getValue(p));
        break;
      default:
        printf("%s(unknown object %ld)\n", indent.c_str(), p);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: %s FILE.qmb\n", argv[0]);
    return 2;
  }
  const char* file = argv[1];
  {
    Qmdb db(file, QmdbFileWrite);
    if (!db.isValid()) {
      fprintf(stderr, "%s: %s: %s\n", file, db.errorCode(), db.errorMessage());
      return 1;
    }
    long book = db.addNode(1, "book");
    db.addPi(book, "render", "style=plain");
    long title = db.addNode(book, "title");
    db.addString(title, "Notes on paged heaps");
    for (int i = 1; i <= 3; ++i) {
      long chapter = db.addNode(book, "chapter");
      db.addString(chapter, ("Chapter " + std::to_string(i) + ": records never move").c_str());
    }
    db.addEntity(book, "copy", "(c) the authors", static_cast<QmdbEntityType>(1));
    printf("built %ld objects in %ld bytes of heap\n", db.count(1, QmdbTree), db.getSize());
  }  // the destructor saves the named database

  Qmdb db(file, QmdbFileRead);
  if (!db.isValid()) {
    fprintf(stderr, "%s: %s: %s\n", file, db.errorCode(), db.errorMessage());
    return 1;
  }
  printf("reopened %s read-only: %ld bytes, page size %ld, updatable %s\n", db.getName(),
         db.getSize(), db.getPageSize(), db.isUpdatable() ? "yes" : "no");
  printTree(db);
  return 0;
}
