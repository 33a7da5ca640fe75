// Fuzz harness: arbitrary bytes opened as a database file, then every reading
// operation over what can be reached, and the tool's integrity check.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

#include "Exercise.h"
#include "Qmdb/Qmdb"
#include "tools/qmdb/Check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string& path = qmdb::fuzz::scratchFile("open");
  FILE* file = fopen(path.c_str(), "wb");
  if (file == nullptr) return 0;
  if (size > 0) fwrite(data, 1, size, file);
  fclose(file);
  {
    Qmdb db(path.c_str(), QmdbFileRead, 2, 0);
    if (db.isValid()) qmdb::fuzz::readEverything(db, data, size);
  }
  {
    Qmdb db(path.c_str(), QmdbFileRead, 1, 0);
    if (db.isValid()) {
      std::ostringstream problems;
      qmdbtool::checkDatabase(db, path.c_str(), problems);
    }
  }
  remove(path.c_str());
  return 0;
}
