/* QmdbXml_load and QmdbXml_save from C11, against the installed headers
 * alone: loads a small document, checks what was made, saves it in Latin-1
 * and reads the bytes back. Arguments: a scratch folder.
 * Exits non-zero on any failure. */
#include <Qmdb/qmdb.h>
#include <Qmdb/qmdbxml.h>

#include <string.h>

#include "check.h"

int main(int argc, char** argv) {
  char path[1024], db_path[1024], out_path[1024], message[256], buffer[256];
  QmdbXmlLoadOptions load;
  QmdbXmlSaveOptions save;
  Qmdb* db;
  FILE* file;
  size_t n;
  long root;
  const char* expected =
      "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n"
      "<!DOCTYPE r [\n<!ENTITY e \"\xe9t\xe9\">\n]>\n"
      "<r a=\"1\">&e; &#8364;</r>\n";

  if (argc < 2) {
    fprintf(stderr, "usage: xml_flat_test FOLDER\n");
    return 2;
  }
  snprintf(path, sizeof path, "%s/in.xml", argv[1]);
  snprintf(db_path, sizeof db_path, "%s/in.qmb", argv[1]);
  snprintf(out_path, sizeof out_path, "%s/out.xml", argv[1]);
  file = fopen(path, "wb");
  if (file == NULL) return 1;
  fputs("<!DOCTYPE r [<!ENTITY e \"\xc3\xa9t\xc3\xa9\">]><r a='1'>&e; \xe2\x82\xac<!--c--></r>",
        file);
  fclose(file);

  QmdbXml_loadDefaults(&load);
  CHECK(load.comments == 1 && load.loadDtd == 1 && load.unresolvedEntityIsError == 0);
  QmdbXml_saveDefaults(&save);
  CHECK(save.encoding == NULL && save.declaration == 1);

  db = Qmdb_new(db_path, QmdbFileWrite, 0, 0);
  load.comments = 0; /* the comment is dropped, so the output below has none */
  CHECK(QmdbXml_load(db, path, &load, 1, message, sizeof message) == 1);
  CHECK(strcmp(message, "") == 0);
  root = Qmdb_last(db, 1);
  CHECK(Qmdb_objectType(db, Qmdb_first(db, root)) == QmdbEntity);
  CHECK(Qmdb_entityType(db, Qmdb_first(db, root)) == 1);

  save.encoding = "ISO-8859-1";
  CHECK(QmdbXml_save(db, out_path, &save, 1, message, sizeof message) == 1);
  file = fopen(out_path, "rb");
  CHECK(file != NULL);
  if (file != NULL) {
    n = fread(buffer, 1, sizeof buffer - 1, file);
    buffer[n] = '\0';
    fclose(file);
    /* The euro sign has no Latin-1 byte: it becomes a character reference. */
    CHECK(strcmp(buffer, expected) == 0);
  }

  CHECK(QmdbXml_load(db, "/no/such/file.xml", NULL, 1, message, sizeof message) == 0);
  CHECK(strcmp(message, "/no/such/file.xml:0:0: No such file or directory") == 0);
  CHECK(QmdbXml_load(db, "/no/such/file.xml", NULL, 1, message, 9) == 0);
  CHECK(strcmp(message, "/no/such") == 0); /* cut to the buffer, terminated */
  save.encoding = "NO-SUCH-ENCODING";
  CHECK(QmdbXml_save(db, out_path, &save, 1, NULL, 0) == 0);
  Qmdb_delete(db);
  if (failed == 0) printf("xml_flat_test: ok\n");
  return failed == 0 ? 0 : 1;
}
