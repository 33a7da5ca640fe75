#include "support/TestSupport.h"

#include "Qmdb/Qmdb"
#include "Qmencoding/QmCFile.h"

#include <dirent.h>
#include <ftw.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <cstdlib>
#include <stdexcept>

namespace qmdb::test {

std::string renderTree(::Qmdb& db, long object) {
  // Texts are copied at once: with a small cache the next call may reuse their frame.
  auto copy = [](const char* text, const char* absent) {
    return std::string(text != nullptr ? text : absent);
  };
  switch (db.objectType(object)) {
    case QmdbNode: {
      std::string out = copy(db.getId(object), "#");
      if (db.first(object) != 0) out += "(" + renderChildren(db, object) + ")";
      return out;
    }
    case QmdbString:
      return "'" + copy(db.getValue(object), "") + "'";
    case QmdbEntity:
      return "&" + copy(db.getId(object), "");
    case QmdbPi:
      return "?" + copy(db.getId(object), "");
    default:
      return "<dead>";
  }
}

std::string renderChildren(::Qmdb& db, long parent) {
  std::string out;
  for (long c = db.first(parent); c != 0; c = db.next(c, QmdbSiblings)) {
    if (!out.empty()) out += ",";
    out += renderTree(db, c);
  }
  return out;
}

std::string crashWithJournal(const std::string& name, const char* text, long pageSize) {
  ::Qmdb db(name.c_str(), QmdbFileWrite, 1, pageSize);
  long top = db.addNode(1, text);
  for (int i = 0; i < 30; ++i) db.addString(top, text);
  db.flush(false);
  std::string saved = renderChildren(db, 1);
  for (int i = 0; i < 100; ++i) db.addString(top, "lost");  // overwrites saved pages
  QmCFileFailAfter(1, true);                                // the process dies before its next save
  db.flush(false);
  QmCFileFailAfter(0);
  return saved;
}

TempDir::TempDir() {
  const char* base = getenv("TMPDIR");
  std::string pattern =
      std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/qmdb_test_XXXXXX";
  std::vector<char> buffer(pattern.begin(), pattern.end());
  buffer.push_back('\0');
  if (mkdtemp(buffer.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = buffer.data();
}

TempDir::~TempDir() {
  nftw(
      path_.c_str(), [](const char* path, const struct stat*, int, FTW*) { return ::remove(path); },
      16, FTW_DEPTH | FTW_PHYS);
}

std::vector<std::string> TempDir::list() const {
  std::vector<std::string> names;
  dirent** entries = nullptr;
  int count = scandir(path_.c_str(), &entries, nullptr, alphasort);
  for (int i = 0; i < count; ++i) {
    std::string name = entries[i]->d_name;
    if (name != "." && name != "..") names.push_back(name);
    free(entries[i]);
  }
  free(entries);
  return names;
}

std::vector<uint8_t> readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  std::vector<uint8_t> bytes(in ? static_cast<size_t>(in.tellg()) : 0);
  in.seekg(0).read(reinterpret_cast<char*>(bytes.data()), static_cast<long>(bytes.size()));
  return bytes;
}

void writeFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<long>(bytes.size()))) {
    throw std::runtime_error("cannot write " + path);
  }
}

int32_t word(const std::vector<uint8_t>& bytes, size_t offset) {
  if (offset + 4 > bytes.size()) throw std::out_of_range("word past the end");
  uint32_t value = static_cast<uint32_t>(bytes[offset]) |
                   static_cast<uint32_t>(bytes[offset + 1]) << 8 |
                   static_cast<uint32_t>(bytes[offset + 2]) << 16 |
                   static_cast<uint32_t>(bytes[offset + 3]) << 24;
  return static_cast<int32_t>(value);
}

bool exists(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0;
}

namespace {
void setOrUnset(const char* name, const char* value) {
  value != nullptr ? setenv(name, value, 1) : unsetenv(name);
}
}  // namespace

ScopedEnv::ScopedEnv(const char* name, const char* value) : name_(name) {
  const char* old = getenv(name);
  hadOld_ = old != nullptr;
  if (hadOld_) old_ = old;
  setOrUnset(name, value);
}

ScopedEnv::~ScopedEnv() {
  setOrUnset(name_.c_str(), hadOld_ ? old_.c_str() : nullptr);
}

std::string renderList(::Qmdb& db, QmdbList& list) {
  std::string out;
  for (long h = list.first(); h != 0; h = list.next()) {
    bool string = db.objectType(h) == QmdbString;
    const char* text = string ? db.getValue(h) : db.getId(h);
    std::string copy = text != nullptr ? text : "#";  // before the next call reuses the frame
    out += (out.empty() ? "" : ",") + (string ? "'" + copy + "'" : copy);
  }
  return out;
}

std::vector<long> handles(QmdbList& list) {
  std::vector<long> out;
  for (long h = list.first(); h != 0; h = list.next()) out.push_back(h);
  return out;
}

std::string renderAttributes(::Qmdb& db, long object) {
  auto text = [](const char* t) { return std::string(t != nullptr ? t : "-"); };
  std::string out;
  for (long a = db.attribute(object, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true);
       a != 0; a = db.nextAttribute(a)) {
    out += (out.empty() ? "" : ",") + text(db.attrName(a));
    out += "=" + text(db.attrValue(a)) + ":" + std::to_string(db.attrType(a)) + "." +
           std::to_string(db.attrClass(a));
  }
  return out;
}

std::string words(const std::vector<uint8_t>& bytes, size_t offset, int count) {
  std::string out = std::to_string(word(bytes, offset));
  while (--count > 0) out += " " + std::to_string(word(bytes, offset += 4));
  return out;
}

}  // namespace qmdb::test
