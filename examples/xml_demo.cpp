// The XML component on a document: loads an XML file into a new database,
// tells what it made, and writes the document back in Latin-1, where every
// character that Latin-1 lacks becomes a character reference.
//
//   qmdb_xml_demo DOC.xml DB.qmb OUT.xml
#include <Qmdb/Qmdb>
#include <Qmdb/QmdbXml>

#include <cstdio>

int main(int argc, char** argv) {
  if (argc != 4) {
    fprintf(stderr, "usage: %s DOC.xml DB.qmb OUT.xml\n", argv[0]);
    return 2;
  }
  Qmdb db(argv[2], QmdbFileWrite);
  if (!db.isValid()) {
    fprintf(stderr, "%s: cannot create the database\n", argv[2]);
    return 1;
  }
  QmdbXml::LoadOptions load;
  load.comments = true;
  QmdbXml::Result loaded = QmdbXml::loadFile(db, argv[1], load);
  for (const std::string& warning : loaded.warnings)
    fprintf(stderr, "warning: %s\n", warning.c_str());
  if (!loaded) {
    fprintf(stderr, "%s\n", loaded.message.c_str());
    return 1;
  }
  const QmdbXml::Counts& c = loaded.counts;
  printf("%s: %ld elements, %ld texts, %ld attributes, %ld pis, %ld comments, %ld entities\n",
         argv[1], c.elements, c.texts, c.attributes, c.pis, c.comments, c.entities);

  // The entity objects keep what the document referenced.
  for (long p = db.next(1, QmdbTree); p != 0; p = db.next(p, QmdbTree)) {
    if (p > 0 && db.objectType(p) == QmdbEntity) {
      const char* value = db.getValue(p);
      printf("entity &%s; = \"%s\"\n", db.getId(p), value != nullptr ? value : "(unresolved)");
    }
  }

  QmdbXml::SaveOptions latin1;
  latin1.encoding = "ISO-8859-1";
  QmdbXml::Result saved = QmdbXml::saveFile(db, argv[3], latin1);
  if (!saved) {
    fprintf(stderr, "%s\n", saved.message.c_str());
    return 1;
  }
  printf("%s: written in ISO-8859-1\n", argv[3]);
  return 0;
}
