// Builds against the installed headers and library alone: makes a database,
// saves it, reopens it and checks what it reads back.
#include <Qmdb/Qmdb>

#include <cstdio>
#include <cstring>
#include <string>

int main(int argc, char** argv) {
  std::string file = argc > 1 ? argv[1] : "consumer.qmb";
  if (argc > 2) {
    // The database the C test reads: one node under the key "k1" of index "ids".
    Qmdb db(argv[2], QmdbFileWrite);
    long node = db.addNode(1, "indexed");
    long ids = db.addIndex("ids");
    if (db.putIndex(ids, node, "k1", false) != node) return 1;
  }
  {
    Qmdb db(file.c_str(), QmdbFileWrite, 2, 1024);
    long root = db.addNode(1, "root");
    for (int i = 0; i < 100; ++i) db.addString(root, ("text " + std::to_string(i)).c_str());
    if (!db.isValid() || db.count(root, QmdbSiblings) != 100) return 1;
  }
  Qmdb db(file.c_str(), QmdbFileRead);
  long root = db.first(1);
  const char* last = db.getValue(db.last(root));
  bool ok = db.isValid() && strcmp(db.getGid(root), "root") == 0 &&
            db.count(root, QmdbSiblings) == 100 && last != nullptr &&
            strcmp(last, "text 99") == 0 && strcmp(Qmdb::apiVersion(), "3.2d") == 0;
  printf("installed package %s: %s\n", Qmdb::apiVersion(), ok ? "ok" : "FAILED");
  remove(file.c_str());
  return ok ? 0 : 1;
}
