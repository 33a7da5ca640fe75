// Fuzz harness: the input is decoded into a sequence of API calls on two
// databases (a named file and a nameless store): making, editing, moving,
// copying and dropping objects, attributes, links, indexes, saves, reopens
// and flat-interface text calls, with handles that are sometimes real and
// sometimes arbitrary numbers. After each call the invariants are checked:
// every object reached from the root is sound and every walk ends; a save
// and reopen keeps the document and the indexes exactly.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Exercise.h"
#include "Qmdb/Qmdb"

namespace {

// Reads the input a piece at a time; past its end everything is 0.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  bool done() const { return at_ >= size_; }
  uint8_t byte() { return at_ < size_ ? data_[at_++] : 0; }
  int32_t word() {
    int32_t value = 0;
    for (int i = 0; i < 4; ++i) value = value << 8 | byte();
    return value;
  }
  std::string text() {
    size_t length = byte() % 12;
    std::string out;
    for (size_t i = 0; i < length; ++i)
      out.push_back(static_cast<char>(byte() % 4 == 0 ? 'a' + byte() % 3 : byte()));
    return out;
  }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t at_ = 0;
};

constexpr long kMaxSteps = 50000;

// The document and indexes as one string; aborts when a walk does not end
// or, when `trusted`, a reached live object is not sound. (Numbers that are
// no handles, given to modifying operations, may damage the heap: then only
// termination is checked. A dropped object moved back into the tree is a
// dead object in it, which is sound by design.)
std::string snapshot(Qmdb& db, bool trusted) {
  std::string out;
  long steps = 0;
  for (long p = db.next(1, QmdbTree); p != 0; p = db.next(p, QmdbTree)) {
    // A caller's own walk with next() ends only in a sound heap; a damaged one
    // may loop, which is the caller's to bound.
    if (++steps > kMaxSteps) {
      if (trusted) abort();
      break;
    }
    if (p < 0) {
      out += ')';
      continue;
    }
    if (trusted && db.objectType(p) != QmdbNoObject && !db.isObject(p, QmdbNoObject)) abort();
    const char* id = db.getId(p);
    out += std::to_string(db.objectType(p)) + (id != nullptr ? id : "-");
    const char* value = db.getValue(p);
    if (value != nullptr) out += "=" + std::string(value);
    for (long a = db.attribute(p, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true); a != 0;
         a = db.nextAttribute(a)) {
      if (++steps > kMaxSteps) {
        if (trusted) abort();
        break;
      }
      const char* name = db.attrName(a);
      const char* attrValue = db.attrValue(a);
      out += " @" + std::string(name != nullptr ? name : "-") + "=" +
             (attrValue != nullptr ? attrValue : "-");
    }
    out += db.objectType(p) == QmdbNode ? "(" : ";";
  }
  for (long i = db.index(nullptr); i != 0; i = db.nextIndex(i)) {
    if (++steps > kMaxSteps) {
      if (trusted) abort();
      break;
    }
    const char* name = db.indexName(i);
    out += "\n[" + std::string(name != nullptr ? name : "-") + "]";
    QmdbStringList keys;
    db.indexKeys(&keys, i);
    for (char* k = keys.first(); k != nullptr; k = keys.next()) {
      QmdbList entries;
      char* key = k;
      db.getIndex(&entries, i, key, nullptr);
      // Entries naming the other database die at saves after links were made.
      long own = 0;
      for (long e = entries.first(); e != 0; e = entries.next()) own += entries.db() == nullptr;
      out += " " + std::string(key) + ":" + std::to_string(own);
    }
  }
  return out;
}

struct World {
  bool trusted = true;  // no modifying operation got a number that is no handle
  std::unique_ptr<Qmdb> file;
  std::unique_ptr<Qmdb> store;
  std::vector<long> handles[2];
  std::vector<long> attributes[2];
};

long pick(Input& in, const std::vector<long>& known, bool& trusted) {
  uint8_t how = in.byte();
  if (how < 16) {
    trusted = false;
    return in.word();  // any number at all
  }
  if (how < 32 || known.empty()) return how % 2;  // 0 or 1 (the root)
  long h = known[in.byte() % known.size()];
  return how & 1 ? -h : h;
}

void step(World& w, Input& in) {
  int which = in.byte() & 1;
  Qmdb& db = which == 0 ? *w.file : *w.store;
  Qmdb& other = which == 0 ? *w.store : *w.file;
  std::vector<long>& known = w.handles[which];
  std::vector<long>& attrs = w.attributes[which];
  auto keep = [&](long h) {
    if (h != 0 && known.size() < 4096) known.push_back(h);
  };
  std::string a = in.text();
  std::string b = in.text();
  long p = pick(in, known, w.trusted);
  long q = pick(in, known, w.trusted);
  long r = pick(in, known, w.trusted);
  bool f1 = in.byte() & 1, f2 = in.byte() & 1, f3 = in.byte() & 1, f4 = in.byte() & 1;
  int op = in.byte() % 24;
  static const bool trace = getenv("QMDB_FUZZ_TRACE") != nullptr;
  if (trace) {
    fprintf(stderr, "db%d op %d p=%ld q=%ld r=%ld flags=%d%d%d%d a='%s'\n", which, op, p, q, r, f1,
            f2, f3, f4, a.c_str());
  }
  switch (op) {
    case 0:
      keep(db.addNode(p, a.c_str()));
      break;
    case 1:
      keep(db.addString(p, a.c_str()));
      break;
    case 2:
      keep(db.addEntity(p, a.c_str(), f1 ? b.c_str() : nullptr,
                        static_cast<QmdbEntityType>(in.byte())));
      break;
    case 3:
      keep(db.addPi(p, f1 ? a.c_str() : nullptr, b.c_str()));
      break;
    case 4:
      keep(db.insertNode(p, q, a.c_str()));
      break;
    case 5:
      keep(db.insertString(p, q, a.c_str()));
      break;
    case 6:
      db.setId(p, f1 ? a.c_str() : nullptr);
      db.setValue(q, f2 ? b.c_str() : nullptr);
      db.setNotation(r, a.c_str());
      break;
    case 7: {
      long attribute = db.addAttribute(f1 ? p : 0, a.c_str(), f2 ? b.c_str() : nullptr,
                                       static_cast<QmdbAttributeType>(in.byte()),
                                       static_cast<QmdbAttributeClass>(in.byte()));
      if (attribute != 0 && attrs.size() < 1024) attrs.push_back(attribute);
      break;
    }
    case 8: {
      long attribute = 0;
      if (attrs.empty()) {
        attribute = in.word();
        w.trusted = false;
      } else {
        attribute = attrs[in.byte() % attrs.size()];
      }
      switch (in.byte() % 5) {
        case 0:
          db.addAttr(p, attribute);
          break;
        case 1:
          db.removeAttribute(p, attribute);
          break;
        case 2:
          db.dropAttribute(p, attribute);
          break;
        case 3:
          db.setAttrName(attribute, f1 ? a.c_str() : nullptr);
          break;
        default:
          db.setAttrValue(attribute, f1 ? b.c_str() : nullptr);
          break;
      }
      break;
    }
    case 9:
      db.removeObject(p);
      break;
    case 10:
      db.removeTree(p);
      break;
    case 11:
      db.dropObject(p);
      break;
    case 12:
      db.dropTree(p);
      break;
    case 13:
      db.moveObject(p, q, r);
      break;
    case 14:
      db.moveTree(p, q, r);
      break;
    case 15:
      keep(db.addTreeCopy(p, f1 ? &other : &db, q, f2, f3, f4, f1));
      break;
    case 16:
      keep(db.insertCopy(p, q, &other, r, f1, f2, f3, f4));
      break;
    case 17:
      keep(db.moveTree(p, q, &other, r));
      break;
    case 18:
      db.linkToObject(p, f1 ? &other : nullptr, q);
      break;
    case 19: {
      long index = db.index(a.c_str());
      if (index == 0) index = db.addIndex(a.c_str());
      db.putIndex(index, f1 ? &other : nullptr, p, f2 ? b.c_str() : nullptr, f3);
      break;
    }
    case 20: {
      QmdbList found;
      std::string from = a, to = b;
      db.pullIndex(&found, db.index(nullptr), f1 ? from.data() : nullptr, f2 ? to.data() : nullptr);
      break;
    }
    case 21: {
      char buffer[8];
      Qmdb_getId(buffer, 1 + static_cast<long>(in.byte() % 8), &db, p);  // 0 would set no bound
      Qmdb_getValue(nullptr, 0, &db, q);
      Qmdb_insertString(&db, p, q, a.c_str());
      Qmdb_setAttrValue(&db, r, b.c_str());
      Qmdb_getIndex(&db, a.c_str(), b.c_str());
      break;
    }
    case 22: {
      // Save and reopen the named database: nothing may change.
      std::string before = snapshot(*w.file, w.trusted);
      w.file->flush(f1);
      w.file.reset();
      w.file.reset(new Qmdb(qmdb::fuzz::scratchFile("api").c_str(), QmdbFileUpdate, 2, 0));
      if (!w.file->isValid()) abort();
      // A save and reopen must change nothing (in a heap damaged through numbers
      // that are no handles, the header that a save rewrites may have been hit).
      if (snapshot(*w.file, w.trusted) != before && w.trusted) abort();
      w.handles[0].clear();
      w.attributes[0].clear();
      break;
    }
    default: {
      uint8_t numbers[64];
      for (uint8_t& n : numbers) n = in.byte();
      qmdb::fuzz::readEverything(db, numbers, sizeof numbers);
      break;
    }
  }
  snapshot(which == 0 ? *w.file : *w.store, w.trusted);  // the file may have been reopened
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  World w;
  remove(qmdb::fuzz::scratchFile("api").c_str());
  remove((qmdb::fuzz::scratchFile("api") + "-journal").c_str());
  w.file.reset(new Qmdb(qmdb::fuzz::scratchFile("api").c_str(), QmdbFileWrite, 2, 256));
  w.store.reset(new Qmdb(nullptr, QmdbFileWrite, 1, 128));
  if (size > 0 && data[0] % 2 == 1) w.store->pushCoding("ISO8859-1");
  Input in(data, size);
  for (int i = 0; i < 200 && !in.done(); ++i) step(w, in);
  w.file.reset();
  w.store.reset();
  remove(qmdb::fuzz::scratchFile("api").c_str());
  remove((qmdb::fuzz::scratchFile("api") + "-journal").c_str());
  return 0;
}
